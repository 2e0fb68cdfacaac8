// libFuzzer: the dissectors of networks and tunnels, frame after frame.
#include "Targets/Families.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::decodeNetwork({data, size});
    return 0;
}
