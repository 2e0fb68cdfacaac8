// Expected texts that are too long for a test's source: files in Tests/Golden.
#pragma once

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <string_view>

namespace netrondo::test {

/// Compares with Tests/Golden/`name`. With NETRONDO_REWRITE_GOLDEN set it writes the file instead; the difference is
/// then read in the commit.
inline void expectGolden(const std::string& name, std::string_view actual)
{
    const auto path = std::string(NETRONDO_SOURCE_DIR "/Tests/Golden/") + name;
    if (std::getenv("NETRONDO_REWRITE_GOLDEN")) {
        std::ofstream(path, std::ios::binary) << actual;
        return;
    }
    std::ostringstream expected;
    expected << std::ifstream(path, std::ios::binary).rdbuf();
    if (actual == expected.str())
        return;
    // Both texts whole would hide where they part.
    std::istringstream ours{std::string(actual)}, theirs(expected.str());
    std::string our, their;
    int line = 0;
    do {
        ++line;
        our = their = "(the end)";
        std::getline(ours, our);
        std::getline(theirs, their);
    } while (our == their && (ours || theirs));
    ADD_FAILURE() << "Tests/Golden/" << name << ", line " << line << "\n  expected: " << their
                  << "\n  actual:   " << our;
}

} // namespace netrondo::test
