// libFuzzer: single frames through every dissector.
#include "Targets/Decode.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::decode({data, size});
    return 0;
}
