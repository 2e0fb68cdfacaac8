// Running the application: to have something drawn, or for its window.
#include "Application.h"

#include "Subcommands.h"
#include "TextWidth.h"

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

/// What the system's calls take: pointers into `texts`, and null at the end.
std::vector<char*> argumentsOf(std::vector<std::string>& texts)
{
    std::vector<char*> arguments;
    for (auto& text : texts)
        arguments.push_back(text.data());
    arguments.push_back(nullptr);
    return arguments;
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
    const auto arguments = argumentsOf(texts);
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

int becomeWindow(const std::string& file)
{
    const auto path = pathOfApplication();
    std::vector<std::string> texts{path};
    if (!file.empty()) // behind the dashes a name that begins with one is still a file
        texts.insert(texts.end(), {"--", file});
    ::execvp(path.c_str(), argumentsOf(texts).data());
    if (errno == ENOENT)
        fmt::print(stderr,
                   "netrondo: the window is the application’s, and {} is not installed (it comes with the package "
                   "netrondo-app); the analysis as text needs none: netrondo analyze {}\n",
                   application, file.empty() ? "FILE" : printable(file));
    else
        fmt::print(stderr, "netrondo: {} does not start: {}\n", path, std::strerror(errno));
    return Exit::failed;
}

} // namespace netrondo::cli
