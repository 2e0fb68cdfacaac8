// libFuzzer: whole captures through the analysis.
#include "Targets/Analysis.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::aggregate({data, size});
    return 0;
}
