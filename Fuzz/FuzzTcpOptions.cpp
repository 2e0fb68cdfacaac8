// libFuzzer: TCP options.
#include "Targets/TcpOptions.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::tcpOptions({data, size});
    return 0;
}
