// libFuzzer: captures that arrive in pieces.
#include "Targets/Stream.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::stream({data, size});
    return 0;
}
