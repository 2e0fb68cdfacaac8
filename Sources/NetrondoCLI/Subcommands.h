// What a subcommand is: options on its own part of the command line, and what to do once they are read.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

namespace netrondo::cli {

/// Does the work; returns the exit status.
using Action = std::function<int()>;

/// The exit statuses, as scripts rely on them.
struct Exit {
    static constexpr int done = 0;
    static constexpr int failed = 1;        ///< a capture could not be read or an output not written
    static constexpr int usage = 2;         ///< the command line is wrong
    static constexpr int found = 3;         ///< `expert --fail-on` met such a finding
    static constexpr int interrupted = 130; ///< where a signal is to end it: what a shell makes of SIGINT
};

/// Each declares its options on `app` and returns the action that runs with what they were given.
namespace subcommand {
#define NR_SUBCOMMAND(name, summary) Action name(CLI::App& app);
#include "Subcommands.def"
#undef NR_SUBCOMMAND
} // namespace subcommand

} // namespace netrondo::cli
