// A bar that redraws its line, some times a second, and takes it away at the end or when the user interrupts.
#include "Progress.h"

#include "Base/Units.h"
#include "Capture/CaptureFile.h"
#include "Terminal.h"

#include <algorithm>
#include <csignal>
#include <fmt/format.h>
#include <string>
#include <unistd.h>

namespace netrondo::cli {
namespace {

using namespace units;
constexpr std::string_view eraseLine = "\r\033[K";
constexpr auto patience = std::chrono::milliseconds(300), interval = std::chrono::milliseconds(100);

/// True while the bar's line is on the screen; the interrupt handler reads it.
volatile std::sig_atomic_t drawn = 0;

void put(std::string_view text)
{
    // A terminal that takes no text is no reason to stop reading the capture.
    [[maybe_unused]] const auto written = write(STDERR_FILENO, text.data(), text.size());
}

void erase()
{
    if (drawn)
        put(eraseLine);
    drawn = 0;
}

/// Ends as an interrupted program ends, so that a shell loop around it ends too, but takes the bar away first.
void interrupted(int number)
{
    erase();
    std::signal(number, SIG_DFL);
    std::raise(number);
}
} // namespace

Progress::Progress() : terminal_(isTerminal(STDERR_FILENO)), due_(Clock::now() + patience)
{
    if (terminal_)
        std::signal(SIGINT, interrupted);
}

Progress::~Progress()
{
    erase();
    if (terminal_)
        std::signal(SIGINT, SIG_DFL);
}

void Progress::show(std::uint64_t frames, CaptureReading::Position position)
{
    draw(fmt::format("{} frames", grouped(frames)), position);
}

void Progress::showInflating(CaptureReading::Position position)
{
    draw("inflating", position);
}

void Progress::draw(std::string line, CaptureReading::Position position)
{
    if (!terminal_ || Clock::now() < due_)
        return;
    due_ = Clock::now() + interval;
    if (position.size > 0) {
        const auto done = std::min(1.0, static_cast<double>(position.offset) / static_cast<double>(position.size));
        const auto width = std::min<std::size_t>(40, screenWidth(STDERR_FILENO) / 2);
        const auto full = static_cast<std::size_t>(done * static_cast<double>(width));
        line = fmt::format("[{}{}] {:3.0f} %  {}", std::string(full, '#'), std::string(width - full, '.'), done * 100,
                           line);
    }
    put(fmt::format("{}{}", eraseLine, line));
    drawn = 1;
}

CaptureResult<std::unique_ptr<CaptureReading>> openCapture(const std::string& file)
{
    Progress progress;
    return CaptureFile::open(file, [&](CaptureReading::Position position) {
        progress.showInflating(position);
        return true;
    });
}

} // namespace netrondo::cli
