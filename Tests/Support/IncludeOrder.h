// The order of the rooms, and which `#include` lines point against it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo::test {

/// One `#include` line: the file it stands in, relative to the directory of the rooms, and what it names.
struct Include {
    std::string file;
    int line = 0;
    std::string target;
};

/// Why the line is against the order of the rooms, or nothing when it is fine.
std::optional<std::string> objection(const Include& include);

/// The `#include` lines of a text.
std::vector<Include> includesOf(std::string_view file, std::string_view text);

} // namespace netrondo::test
