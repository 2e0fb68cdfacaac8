// libFuzzer: the dissectors of plants, meters and of those who measure networks, frame after frame.
#include "Targets/Families.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::decodeIndustry({data, size});
    return 0;
}
