// The option and its message.
#include "FilterOption.h"

#include "Subcommands.h"
#include "TextWidth.h"

#include <fmt/format.h>

namespace netrondo::cli {

void addFilter(CLI::App& app, std::string& text)
{
    app.add_option("--filter", text, "Only the frames that this display filter selects")->type_name("EXPR");
}

int fail(const DisplayFilter::CompileError& error)
{
    // The message alone, so that a script can show it as it is.
    fmt::print(stderr, "{}\n", printable(error.description()));
    return Exit::usage;
}

} // namespace netrondo::cli
