// Mail as SMTP, POP3 and IMAP carry it (RFC 5322): whom it is from, whom it is for, what it is about.
#pragma once

#include "Dissection/Decode/Layer.h"
#include "Dissection/Decode/LayerView.h"

#include <cstddef>
#include <cstdint>

namespace netrondo::mail {

/// How far a message has come that ends with the line of a dot: CR LF, dot, CR LF (RFC 5321, 4.1.1.4).
struct Progress {
    std::uint8_t matched = 2; ///< how much of that end has been met; a message begins with a line
    bool isBegun = false;

    friend bool operator==(const Progress&, const Progress&) = default;
};

/// Reads what there is of the message, up to and with its dot, of which `end` tells. True where that was there; then
/// the next message may follow.
bool readUntilDot(Layer& layer, const Field& data, const Field& end, Progress& progress);
/// Reads so many bytes of a message as a node of the field; where it begins with them, its headers become children.
void read(Layer& layer, const Field& data, std::size_t size, bool isBeginning);
/// ", from …, to …, subject …" of the first message that begins here.
void describe(const LayerView& view, TextSink& out);

} // namespace netrondo::mail
