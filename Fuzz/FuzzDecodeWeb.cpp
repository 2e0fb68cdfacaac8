// libFuzzer: the dissectors of the web: HTTP, TLS, QUIC, frame after frame.
#include "Targets/Families.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::decodeWeb({data, size});
    return 0;
}
