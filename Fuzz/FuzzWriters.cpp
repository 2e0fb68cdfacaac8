// libFuzzer: captures written and read again.
#include "Targets/Writers.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::writers({data, size});
    return 0;
}
