// Runs the command `netrondo` as a user or a script would, and tells how it ended and what it said.
//
//     const auto run = netrondo({"analyze", file.path().string()});
//     EXPECT_EQ(run.status, 0) << run.errors;
#pragma once

#include "Base/Bytes.h"

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace netrondo::test {

/// Where the command runs. Colour, width and time zone never come from whoever runs the tests.
struct Surroundings {
    std::vector<std::string> environment = {}; ///< "NAME=VALUE", on top of those of the test
    std::filesystem::path output = {};         ///< standard output goes here instead of to the test
    bool onTerminal = false;                   ///< all streams are one terminal
    unsigned terminalWidth = 80;
    bool withoutPrivileges = false; ///< root's right to open any file is gone
    std::size_t fileSizeLimit = 0;  ///< no file grows beyond it, where it is not 0
};

/// How a command ended.
struct Ended {
    int status = 0; ///< the exit status; the negative signal number for a command that a signal ended
    std::string output;
    std::string errors;
};

/// A command that runs beside the test.
class Process {
public:
    explicit Process(const std::vector<std::string>& arguments, const Surroundings& surroundings = {});
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void write(Bytes input); ///< to its standard input
    void closeInput();
    /// Waits until the output so far holds `text`, and returns that output; throws when it takes too long.
    const std::string& waitFor(std::string_view text);
    /// Stops reading its output, as `head` does.
    void closeOutput();
    void signal(int number);
    pid_t id() const { return id_; }
    /// Reads all output and waits for the end.
    Ended end();

private:
    /// Reads what there is; false at the end of all output.
    bool readSome(std::chrono::milliseconds patience);

    pid_t id_ = -1;
    int input_ = -1;
    int output_ = -1;
    int errors_ = -1;
    Ended ended_;
};

/// Runs the command to its end, with `input` on its standard input.
Ended netrondo(const std::vector<std::string>& arguments, const Surroundings& surroundings = {}, Bytes input = {});

} // namespace netrondo::test
