// Running a piece of a test in a process of its own, where limits, identity and standard input may change.
#pragma once

#include <fstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace netrondo::test {

/// Runs `body` in a child process and gives the text it returns; how the child ended instead, if it did not get there.
template <typename Body> std::string inChild(Body&& body)
{
    int ends[2];
    if (::pipe(ends) < 0)
        return "no pipe";
    const auto child = ::fork();
    if (child < 0)
        return "no child";
    if (child == 0) {
        ::close(ends[0]);
        std::string text;
        try {
            text = body();
        } catch (const std::exception& error) {
            text = std::string("exception: ") + error.what();
        }
        const auto written = ::write(ends[1], text.data(), text.size());
        ::_exit(written == static_cast<ssize_t>(text.size()) ? 0 : 1);
    }
    ::close(ends[1]);
    std::string text;
    char piece[4096];
    for (ssize_t got; (got = ::read(ends[0], piece, sizeof piece)) > 0;)
        text.append(piece, static_cast<std::size_t>(got));
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFSIGNALED(status))
        return "killed by signal " + std::to_string(WTERMSIG(status));
    return WEXITSTATUS(status) == 0 ? text : "exit " + std::to_string(WEXITSTATUS(status)) + ": " + text;
}

/// Gives up root's rights for those of nobody, so that permissions hold; a user without them stays who it is.
inline bool becomeNobody()
{
    constexpr unsigned nobody = 65534;
    return ::geteuid() != 0 || (::setgid(nobody) == 0 && ::setuid(nobody) == 0);
}

/// The first child that the main thread of a process has; -1 for none.
inline pid_t childOf(pid_t process)
{
    std::ifstream children("/proc/" + std::to_string(process) + "/task/" + std::to_string(process) + "/children");
    pid_t child = -1;
    return children >> child ? child : -1;
}

/// False once it has ended, whether or not somebody has asked how.
inline bool isRunning(pid_t process)
{
    std::ifstream words("/proc/" + std::to_string(process) + "/cmdline");
    return words.get() != std::ifstream::traits_type::eof();
}

} // namespace netrondo::test
