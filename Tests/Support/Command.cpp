// A child process with pipes, or a pseudo-terminal, for its streams.
#include "Support/Command.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include <linux/securebits.h>

namespace netrondo::test {
namespace {
constexpr std::chrono::seconds longest{60}; // a sanitizer on a busy machine takes its time

void check(bool fine, const char* what)
{
    if (!fine)
        throw std::system_error(errno, std::generic_category(), what);
}

void closeOnce(int& descriptor)
{
    if (descriptor >= 0)
        ::close(descriptor);
    descriptor = -1;
}

struct Pipe {
    int read = -1, write = -1;
    Pipe()
    {
        int ends[2];
        check(::pipe2(ends, O_CLOEXEC) == 0, "pipe");
        read = ends[0];
        write = ends[1];
    }
};

/// Between fork and exec: nothing here allocates.
[[noreturn]] void become(const std::vector<char*>& arguments, const std::vector<char*>& environment,
                         const Surroundings& surroundings, int input, int output, int errors)
{
    ::dup2(input, STDIN_FILENO);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(errors, STDERR_FILENO);
    std::signal(SIGPIPE, SIG_DFL);
    std::signal(SIGINT, SIG_DFL);
    if (surroundings.fileSizeLimit > 0) {
        const rlimit limit{surroundings.fileSizeLimit, surroundings.fileSizeLimit};
        ::setrlimit(RLIMIT_FSIZE, &limit);
        std::signal(SIGXFSZ, SIG_IGN); // the write fails instead, as on a full disk
    }
    if (surroundings.withoutPrivileges)
        ::prctl(PR_SET_SECUREBITS, SECBIT_NOROOT); // whoever is not root has nothing to lose
    ::execve(arguments.front(), arguments.data(), environment.data());
    ::_exit(127);
}

std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> found;
    for (auto& text : texts)
        found.push_back(text.data());
    found.push_back(nullptr);
    return found;
}

std::vector<std::string> environmentOf(const Surroundings& surroundings)
{
    std::vector<std::string> found = {"TZ=UTC", "TERM=xterm", "LC_ALL=C.UTF-8"};
    const auto isOurs = [](std::string_view variable) {
        for (const auto* name : {"TZ=", "TERM=", "LC_ALL=", "COLUMNS=", "NO_COLOR=", "DISPLAY=", "WAYLAND_DISPLAY="})
            if (variable.starts_with(name))
                return true;
        return false;
    };
    for (char** variable = environ; *variable; ++variable)
        if (!isOurs(*variable))
            found.emplace_back(*variable);
    found.insert(found.begin(), surroundings.environment.begin(), surroundings.environment.end());
    return found;
}

} // namespace

Process::Process(const std::vector<std::string>& arguments, const Surroundings& surroundings)
{
    std::vector<std::string> words = {NETRONDO_COMMAND};
    words.insert(words.end(), arguments.begin(), arguments.end());
    auto variables = environmentOf(surroundings);
    const auto wordPointers = pointers(words), variablePointers = pointers(variables);

    int childInput = -1, childOutput = -1, childErrors = -1;
    if (surroundings.onTerminal) {
        winsize size{};
        size.ws_row = 50;
        size.ws_col = static_cast<unsigned short>(surroundings.terminalWidth);
        check(::openpty(&output_, &childOutput, nullptr, nullptr, &size) == 0, "openpty");
        ::fcntl(output_, F_SETFD, FD_CLOEXEC);
        ::fcntl(childOutput, F_SETFD, FD_CLOEXEC);
        childInput = childErrors = childOutput;
    } else {
        const Pipe in, out, err;
        childInput = in.read;
        childOutput = out.write;
        childErrors = err.write;
        input_ = in.write;
        output_ = out.read;
        errors_ = err.read;
    }
    if (!surroundings.output.empty()) {
        closeOnce(childOutput);
        childOutput = ::open(surroundings.output.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
        check(childOutput >= 0, surroundings.output.c_str());
    }

    id_ = ::fork();
    check(id_ >= 0, "fork");
    if (id_ == 0)
        become(wordPointers, variablePointers, surroundings, childInput, childOutput, childErrors);
    if (childInput != childOutput)
        ::close(childInput);
    if (childErrors != childOutput)
        ::close(childErrors);
    ::close(childOutput);
}

Process::~Process()
{
    if (id_ > 0) {
        ::kill(id_, SIGKILL);
        ::waitpid(id_, nullptr, 0);
    }
    closeInput();
    closeOnce(output_);
    closeOnce(errors_);
}

void Process::write(Bytes input)
{
    // The command may end before it has read everything.
    const auto before = std::signal(SIGPIPE, SIG_IGN);
    while (!input.empty()) {
        const auto written = ::write(input_, input.data(), input.size());
        if (written < 0)
            break;
        input = input.subspan(static_cast<std::size_t>(written));
    }
    std::signal(SIGPIPE, before);
}

void Process::closeInput()
{
    closeOnce(input_);
}

void Process::closeOutput()
{
    closeOnce(output_);
}

void Process::signal(int number)
{
    check(::kill(id_, number) == 0, "kill");
}

bool Process::readSome(std::chrono::milliseconds patience)
{
    std::array<pollfd, 2> waiting = {pollfd{output_, POLLIN, 0}, pollfd{errors_, POLLIN, 0}};
    if (output_ < 0 && errors_ < 0)
        return false;
    const auto ready = ::poll(waiting.data(), waiting.size(), static_cast<int>(patience.count()));
    check(ready >= 0, "poll");
    if (ready == 0)
        throw std::runtime_error("the command takes too long; so far it said: " + ended_.output + ended_.errors);
    for (std::size_t i = 0; i < waiting.size(); ++i) {
        if (waiting[i].revents == 0)
            continue;
        std::array<char, 65536> buffer;
        const auto count = ::read(waiting[i].fd, buffer.data(), buffer.size());
        // A terminal whose other side has gone reads as an error.
        if (count <= 0)
            closeOnce(i == 0 ? output_ : errors_);
        else
            (i == 0 ? ended_.output : ended_.errors).append(buffer.data(), static_cast<std::size_t>(count));
    }
    return true;
}

const std::string& Process::waitFor(std::string_view text)
{
    while (ended_.output.find(text) == std::string::npos)
        if (!readSome(longest))
            throw std::runtime_error("the command ended without the text; it said: " + ended_.output + ended_.errors);
    return ended_.output;
}

Ended Process::end()
{
    closeInput();
    while (readSome(longest)) { }
    int status = 0;
    check(::waitpid(std::exchange(id_, -1), &status, 0) > 0, "waitpid");
    ended_.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    return std::move(ended_);
}

Ended netrondo(const std::vector<std::string>& arguments, const Surroundings& surroundings, Bytes input)
{
    Process process(arguments, surroundings);
    process.write(input);
    return process.end();
}

} // namespace netrondo::test
