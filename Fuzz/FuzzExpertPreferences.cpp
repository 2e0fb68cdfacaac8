// libFuzzer: texts as expert preferences.
#include "Targets/ExpertPreferences.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    netrondo::fuzz::expertPreferences({data, size});
    return 0;
}
