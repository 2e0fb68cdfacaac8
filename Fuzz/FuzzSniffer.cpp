// libFuzzer: NetXRay and Windows Sniffer captures.
#include "Targets/Readers.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::sniffer({data, size});
    return 0;
}
