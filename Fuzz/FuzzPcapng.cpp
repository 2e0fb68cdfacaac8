// libFuzzer: pcapng files.
#include "Targets/Readers.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::pcapng({data, size});
    return 0;
}
