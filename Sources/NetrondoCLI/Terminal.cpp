// Asks the environment and the terminal driver.
#include "Terminal.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace netrondo::cli {
namespace {
/// Below the first, columns would be all ellipsis; beyond the second, lines are longer than eyes can follow.
constexpr std::size_t narrowest = 40, widest = 240;

std::string_view environment(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}
} // namespace

bool isTerminal(int descriptor)
{
    return isatty(descriptor) == 1;
}

std::size_t screenWidth(int descriptor)
{
    std::size_t width = 0;
    const auto set = environment("COLUMNS");
    std::from_chars(set.data(), set.data() + set.size(), width);
    if (width == 0) {
        winsize size{};
        width = ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
    }
    return std::clamp(width, narrowest, widest);
}

bool wantsColour(int descriptor)
{
    return isTerminal(descriptor) && environment("NO_COLOR").empty() && environment("TERM") != "dumb";
}

} // namespace netrondo::cli
