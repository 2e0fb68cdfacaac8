// libFuzzer: messages that tell host names.
#include "Targets/HostNames.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::hostNames({data, size});
    return 0;
}
