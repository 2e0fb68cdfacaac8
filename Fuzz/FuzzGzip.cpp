// libFuzzer: gzip files.
#include "Targets/Gzip.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::gzip({data, size});
    return 0;
}
