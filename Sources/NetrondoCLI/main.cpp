// The command `netrondo`: reads the command line and hands over to a subcommand.
#include "Application.h"
#include "Subcommands.h"
#include "TextWidth.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

namespace netrondo::cli {
namespace {

constexpr auto description =
    "Netrondo reads network captures (pcap, pcapng, gzip-compressed or not) and tells who talked "
    "to whom.\nWithout a subcommand it opens the desktop window, on FILE if given.\n";
constexpr auto footer =
    "\nExit status: 0 done; 1 a capture could not be read or an output not written; 2 the command line "
    "is wrong;\n3 `expert --fail-on` met such a finding.\nExamples:\n  netrondo analyze office.pcapng\n  tcpdump -w - "
    "| netrondo analyze -\n"
    "See also: man netrondo";

bool hasDisplay()
{
    const auto set = [](const char* name) {
        const char* value = std::getenv(name);
        return value && *value;
    };
    // Who names a platform for Qt knows what the window is to be opened on.
    return set("DISPLAY") || set("WAYLAND_DISPLAY") || set("QT_QPA_PLATFORM");
}

/// `netrondo` and `netrondo FILE` are for the window.
int openWindow(const std::string& file)
{
    std::error_code ignored;
    if (!file.empty() && file != "-" && !std::filesystem::exists(file, ignored)) {
        fmt::print(stderr, "netrondo: “{}” is neither a subcommand nor a file\nTry: netrondo --help\n",
                   printable(file));
        return Exit::usage;
    }
    if (hasDisplay())
        return becomeWindow(file);
    fmt::print(stderr,
               "netrondo: there is no display to open a window on; the analysis as text needs none: netrondo analyze "
               "{}\n",
               file.empty() ? "FILE" : printable(file));
    return Exit::failed;
}

int usage(const CLI::App& app, const CLI::ParseError& error)
{
    const CLI::App* deepest = &app;
    std::string command = "netrondo";
    while (!deepest->get_subcommands().empty()) {
        deepest = deepest->get_subcommands().front();
        command += " " + deepest->get_name();
    }
    fmt::print(stderr, "netrondo: {}\nTry: {} --help\n", printable(error.what()), command);
    return Exit::usage;
}

int run(int argc, char** argv)
{
    CLI::App app(description, "netrondo");
    app.footer(footer);
    app.set_version_flag("--version", "netrondo " NETRONDO_VERSION, "Show the version and end");
    app.set_help_flag("-h,--help", "Show this help and end");
    std::string file;
    app.add_option("FILE", file, "The capture to open in the window")->type_name("");

    std::vector<std::pair<CLI::App*, Action>> actions;
#define NR_SUBCOMMAND(name, summary)                                                                                   \
    auto* const name = app.add_subcommand(#name, summary);                                                             \
    actions.emplace_back(name, subcommand::name(*name));
#include "Subcommands.def"
#undef NR_SUBCOMMAND
    app.require_subcommand(0, 1);

    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& asked) { // --help or --version
        app.exit(asked);
        std::cout.flush();
        return Exit::done;
    } catch (const CLI::ParseError& error) {
        return usage(app, error);
    }
    for (const auto& [part, action] : actions)
        if (part->parsed())
            return action();
    return openWindow(file);
}

} // namespace
} // namespace netrondo::cli

int main(int argc, char** argv)
{
    // A reader that closes the pipe shows as a failed write, which the output remembers.
    std::signal(SIGPIPE, SIG_IGN);
    return netrondo::cli::run(argc, argv);
}
