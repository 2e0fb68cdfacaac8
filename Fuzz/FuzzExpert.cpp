// libFuzzer: whole captures through the expert scan, with thresholds of every size.
#include "Targets/Expert.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::expert({data, size});
    return 0;
}
