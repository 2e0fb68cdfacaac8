// Ctrl-C for commands that have something to put in order before they end.
#pragma once

namespace netrondo::cli {

/// While it lives, SIGINT and SIGTERM only raise a flag, and end a system call that waits. There is one at a time.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    bool isWanted() const;
    /// Ends the program as the signal that came would have, so that a shell loop around it ends too. Returns when none
    /// came.
    static void obey();
};

} // namespace netrondo::cli
