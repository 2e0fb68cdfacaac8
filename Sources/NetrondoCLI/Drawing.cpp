// Running the application to have something drawn.
#include "Drawing.h"

#include "Subcommands.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace netrondo::cli {
namespace {

constexpr auto application = "netrondo-app";

/// Where the application is: beside this program as installed, or where the build puts it; else its bare name, to be
/// found where programs are.
std::string pathOfApplication()
{
    namespace fs = std::filesystem;
    std::error_code unknown;
    const auto self = fs::read_symlink("/proc/self/exe", unknown);
    if (!unknown)
        for (const auto& candidate :
             {self.parent_path() / application, self.parent_path().parent_path() / "NetrondoApp" / application}) {
            if (::access(candidate.c_str(), X_OK) == 0)
                return candidate.string();
        }
    return application;
}

int statusOf(pid_t child)
{
    int status = 0;
    while (::waitpid(child, &status, 0) < 0)
        if (errno != EINTR)
            return Exit::failed;
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    fmt::print(stderr, "netrondo: circle: the drawing was ended by signal {}\n", WTERMSIG(status));
    return Exit::failed;
}

} // namespace

int draw(const std::vector<std::string>& words)
{
    const auto path = pathOfApplication();
    std::vector<std::string> texts{path, "--render"};
    texts.insert(texts.end(), words.begin(), words.end());
    std::vector<char*> arguments;
    for (auto& text : texts)
        arguments.push_back(text.data());
    arguments.push_back(nullptr);

    pid_t child = 0;
    const int error = ::posix_spawnp(&child, path.c_str(), nullptr, nullptr, arguments.data(), environ);
    if (error == 0)
        return statusOf(child);
    if (error == ENOENT)
        fmt::print(stderr,
                   "netrondo: circle: drawing is the application’s, and {} is not installed (it comes with the package "
                   "netrondo-app); --json works without it\n",
                   application);
    else
        fmt::print(stderr, "netrondo: circle: {} does not start: {}\n", path, std::strerror(error));
    return Exit::failed;
}

} // namespace netrondo::cli
