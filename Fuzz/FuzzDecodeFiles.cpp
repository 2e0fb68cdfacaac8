// libFuzzer: the dissectors of files, directories and databases, frame after frame.
#include "Targets/Families.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::decodeFiles({data, size});
    return 0;
}
