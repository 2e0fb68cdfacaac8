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

struct Line {
    enum class Kind {
        command,
        reply,
        part, ///< its end is in another segment; the layer has stopped
        other ///< nothing was read
    };
    Kind kind;
    std::uint64_t code = 0;          ///< of a reply
    std::string_view verb, argument; ///< of a command
};

/// Reads a line that is a reply or starts with a command.
Line readLine(Layer& layer, const Fields& fields, bool isCommand(std::string_view));
/// Reads lines up to the first that is neither; the rest is message or file data.
void read(Layer& layer, const Fields& fields, bool isCommand(std::string_view));
void describe(const LayerView& view, TextSink& out, const Fields& fields);

/// Begins a line. True when its end is not here and may come: then the layer waits for it. Of a line that the capture
/// cut, and of one that is too long for a command, what is here is all there is.
bool awaitsEnd(Layer& layer, const Field& line);
/// " (and N more lines)" behind the one that was told.
void describeMore(std::size_t lines, TextSink& out);

/// What is told where nothing but the beginning of a line is here.
void describePart(const LayerView& view, TextSink& out);

/// Adds a node for a word of a line that began at the offset `at`; none for an empty word.
void addWord(Layer& layer, const Field& field, std::string_view line, std::uint32_t at, std::string_view word);
/// True for a word of `low` to `high` letters.
bool isVerb(std::string_view word, std::size_t low, std::size_t high);

} // namespace netrondo::commandLines
