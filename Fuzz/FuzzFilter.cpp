// libFuzzer: the display filter's compiler.
#include "Targets/Filter.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::filter({data, size});
    return 0;
}
