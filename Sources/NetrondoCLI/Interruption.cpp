// The handlers raise a flag; whoever works looks at it between two frames.
#include "Interruption.h"

#include <array>
#include <csignal>

namespace netrondo::cli {
namespace {
constexpr std::array signals = {SIGINT, SIGTERM};
volatile std::sig_atomic_t came = 0; ///< the number of the signal

void remember(int number)
{
    came = number;
}
} // namespace

Interruption::Interruption()
{
    came = 0;
    struct sigaction action = {};
    action.sa_handler = remember;
    // Whoever asks a second time means it; and without SA_RESTART a wait is cut short.
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int number : signals)
        ::sigaction(number, &action, nullptr);
}

Interruption::~Interruption()
{
    for (const int number : signals)
        std::signal(number, SIG_DFL);
}

bool Interruption::isWanted() const
{
    return came != 0;
}

void Interruption::obey()
{
    if (came == 0)
        return;
    std::signal(came, SIG_DFL);
    std::raise(came);
}

} // namespace netrondo::cli
