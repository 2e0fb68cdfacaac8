// libFuzzer: the dissectors of LANs without IP and NetBIOS, frame after frame.
#include "Targets/Families.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::decodeLegacy({data, size});
    return 0;
}
