// Handing over to the application: this command has no graphics of its own.
#pragma once

#include <string>
#include <vector>

namespace netrondo::cli {

/// Runs the application with `--render` and these words and waits for it; returns the exit status. The application is
/// looked for beside this program, then where programs are installed.
int draw(const std::vector<std::string>& words);

/// Becomes the application with its window, on `file` unless that is empty. Returns only where that fails, with the
/// exit status, after saying why.
int becomeWindow(const std::string& file);

} // namespace netrondo::cli
