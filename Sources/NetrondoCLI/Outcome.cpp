// Messages on standard error, and the exit statuses that go with them.
#include "Outcome.h"

#include "Subcommands.h"
#include "TextWidth.h"

#include <cerrno>
#include <cstdio>
#include <fmt/format.h>

namespace netrondo::cli {

int fail(std::string_view file, const CaptureError& error)
{
    fmt::print(stderr, "netrondo: {}: {}\n", printable(file), error.errorDescription());
    return Exit::failed;
}

int finish(TextOutput& out)
{
    out.flush();
    if (out.error() == 0 || out.error() == EPIPE)
        return Exit::done;
    return fail("standard output", CaptureError::system(out.error()));
}

} // namespace netrondo::cli
