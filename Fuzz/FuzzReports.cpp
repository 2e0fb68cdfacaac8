// libFuzzer: what a capture program, or one that pretends to be one, says.
#include "Targets/Reports.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::reports({data, size});
    return 0;
}
