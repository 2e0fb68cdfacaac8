// Other programs of the machine, for tests that ask them.
#pragma once

#include <array>
#include <cstdio>
#include <string>

namespace netrondo::test {

/// What a shell command prints; that it failed, where it does.
inline std::string printed(const std::string& command)
{
    std::string text;
    FILE* const pipe = ::popen((command + " 2>&1").c_str(), "r");
    if (!pipe)
        return command + " cannot be run";
    std::array<char, 4096> piece;
    for (std::size_t got; (got = std::fread(piece.data(), 1, piece.size(), pipe)) > 0;)
        text.append(piece.data(), got);
    const int status = ::pclose(pipe);
    return status == 0 ? text : command + " failed: " + text;
}

inline bool isInstalled(const std::string& program)
{
    return !printed("command -v " + program + " || true").empty();
}

} // namespace netrondo::test
