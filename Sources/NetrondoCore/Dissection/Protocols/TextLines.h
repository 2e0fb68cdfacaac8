// Lines of the text protocols: a verb or a code first, then the rest.
#pragma once

#include "Base/Bytes.h"

#include <string_view>
#include <utility>

namespace netrondo::textLines {

/// The first word and what follows it, blanks between them left out.
std::pair<std::string_view, std::string_view> firstWord(std::string_view line);
/// The first line, without its end.
std::string_view firstLine(Bytes payload);
/// True when the first line holds nothing but printable characters and tabs, and is not empty.
bool isText(Bytes payload);
/// True for three digits at the start, followed by a blank, a hyphen or the end: the replies of FTP, SMTP and others.
bool isReply(std::string_view line);
bool equalsIgnoringCase(std::string_view a, std::string_view b);
bool startsIgnoringCase(std::string_view text, std::string_view start);
/// Blanks and tabs taken off both ends.
std::string_view trimmed(std::string_view text);

} // namespace netrondo::textLines
