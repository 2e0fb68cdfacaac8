// Handing drawing over to the application: this command has no graphics of its own.
#pragma once

#include <string>
#include <vector>

namespace netrondo::cli {

/// Runs the application with `--render` and these words and waits for it; returns the exit status. The application is
/// looked for beside this program, then where programs are installed.
int draw(const std::vector<std::string>& words);

} // namespace netrondo::cli
