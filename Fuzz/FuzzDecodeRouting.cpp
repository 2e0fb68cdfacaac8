// libFuzzer: the dissectors of routing protocols, frame after frame.
#include "Targets/Families.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::decodeRouting({data, size});
    return 0;
}
