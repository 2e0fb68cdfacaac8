// How many columns a text takes on a terminal, and texts cut to a number of columns.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace netrondo::cli {

/// Columns that UTF-8 text takes: two for the wide characters of East Asia, none for combining marks.
std::size_t textWidth(std::string_view text);

/// The text itself when it fits into `width` columns, else as much of its start as fits before an "…".
std::string fitted(std::string_view text, std::size_t width);

/// The text with control characters (which would command the terminal) and what is not UTF-8 replaced by "�".
std::string printable(std::string_view text);

} // namespace netrondo::cli
