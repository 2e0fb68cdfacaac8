// libFuzzer: the display filter's evaluation.
#include "Targets/Filter.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::filterEvaluate({data, size});
    return 0;
}
