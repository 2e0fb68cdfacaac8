// Mail as SMTP, POP3 and IMAP carry it (RFC 5322): whom it is from, whom it is for, what it is about.
#pragma once

#include "Dissection/Decode/Layer.h"
#include "Dissection/Decode/LayerView.h"

#include <cstddef>
#include <cstdint>

namespace netrondo::mail {

/// How much of the end of a message (CR LF, dot, CR LF; RFC 5321, 4.1.1.4) stood before. A message begins with a line.
inline constexpr std::uint8_t atLineStart = 2;

/// How many bytes of the message follow: up to and with the line of a dot, or all of them. `matched` is as above, and
/// `isEnd` says whether the dot was there.
struct Extent {
    std::size_t size;
    std::uint8_t matched;
    bool isEnd;
};
Extent untilDot(Bytes bytes, std::uint8_t matched);

/// Reads so many bytes of a message as a node of the field; where it begins with them, its headers become children.
void read(Layer& layer, const Field& data, std::size_t size, bool isBeginning);
/// ", from …, to …, subject …" of the first message that begins here.
void describe(const LayerView& view, TextSink& out);

} // namespace netrondo::mail
