// Lines of commands and three-digit replies, as FTP and SMTP exchange them.
#pragma once

#include "Dissection/Decode/Layer.h"
#include "Dissection/Decode/LayerView.h"

#include <string_view>

namespace netrondo::commandLines {

/// The fields of one of these protocols.
struct Fields {
    const Field& line;
    const Field& command;
    const Field& argument;
    const Field& code;
    const Field& text;
    const Field& data;
};

/// Reads lines up to the first that is neither a reply nor starts with a command; the rest is message or file data.
void read(Layer& layer, const Fields& fields, bool isCommand(std::string_view));
void describe(const LayerView& view, TextSink& out, const Fields& fields);

/// Adds a node for a word of a line that began at the offset `at`; none for an empty word.
void addWord(Layer& layer, const Field& field, std::string_view line, std::uint32_t at, std::string_view word);
/// True for a word of `low` to `high` letters.
bool isVerb(std::string_view word, std::size_t low, std::size_t high);

} // namespace netrondo::commandLines
