// libFuzzer: the dissectors of names and management, frame after frame.
#include "Targets/Families.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::decodeNames({data, size});
    return 0;
}
