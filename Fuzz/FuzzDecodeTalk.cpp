// libFuzzer: the dissectors of mail, terminals and telephones, frame after frame.
#include "Targets/Families.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::decodeTalk({data, size});
    return 0;
}
