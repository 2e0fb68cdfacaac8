// From the tokens of a display filter to its tree.
#pragma once

#include "Dissection/Filter/DisplayFilter.h"

#include <cstddef>
#include <span>
#include <vector>

namespace netrondo {

/// Parentheses and "not"s within one another beyond this count are taken for an accident or an attack.
constexpr std::size_t maxFilterNesting = 4096;

/// The tree's nodes, children before parents; the root is the last. Takes time and memory in proportion to the tokens
/// and no stack; field names are not looked up.
Result<std::vector<DisplayFilter::Node>, DisplayFilter::CompileError> parse(std::span<const FilterToken> tokens);

} // namespace netrondo
