// Completion for the filter box and the command line: which names could be meant by what has been typed so far.
#pragma once

#include "Base/Json.h"

#include <string>
#include <string_view>
#include <vector>

namespace netrondo {

struct DisplayFilterSuggestion {
    std::string_view insertText; ///< what takes the place of the typed piece: the field's name
    std::string_view title;      ///< the field's name
    std::string_view subtitle;   ///< its summary

    friend bool operator==(const DisplayFilterSuggestion&, const DisplayFilterSuggestion&) = default;
};

namespace DisplayFilterCompleter {

/// The fields whose name or alias begins with the name being typed at the end of the text, the likeliest first, at
/// most `limit`.
std::vector<DisplayFilterSuggestion> suggestions(std::string_view text, int limit);

/// True when the end of the text stands where a value belongs: right behind a comparison, behind its blanks, or within
/// the value itself (within quotes too).
bool isInValuePosition(std::string_view text);

/// The text with the name being typed at its end replaced by the suggestion's.
std::string applying(const DisplayFilterSuggestion& suggestion, std::string_view text);

} // namespace DisplayFilterCompleter

/// The suggestion as JSON: `insertText`, `title`, `subtitle`.
void write(JsonWriter& json, const DisplayFilterSuggestion& suggestion);

} // namespace netrondo
