// libFuzzer: single frames through the classifier.
#include "Targets/Analysis.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::classify({data, size});
    return 0;
}
