// What the two output streams are: a terminal of some width, with colour or without, or a file or pipe.
#pragma once

#include <cstddef>

namespace netrondo::cli {

bool isTerminal(int descriptor);

/// Columns to lay text out for: `COLUMNS` if it is set, else the terminal's width, else 80.
std::size_t screenWidth(int descriptor);

/// Colour is for terminals that can, unless the user has set `NO_COLOR`.
bool wantsColour(int descriptor);

} // namespace netrondo::cli
