// The messages of an X11 connection: what its dissectors share.
#pragma once

#include "Dissection/Decode/Layer.h"
#include "Dissection/Protocols/X11Names.h"
#include "Dissection/Protocols/X11Waiting.h"

#include <span>

namespace netrondo::x11 {

inline constexpr Field order{"x11.order", "Byte order", Wire::u8, orders};
inline constexpr Field setup{"x11.setup", "Connection setup", Wire::group};
inline constexpr Field answer{"x11.setup_answer", "Answer to the connection setup", Wire::group};
inline constexpr Field state{"x11.state", "Connection", Wire::u8, states};
inline constexpr Field reason{"x11.reason", "Reason", Wire::text};
inline constexpr Field major{"x11.major", "Major version", Wire::number};
inline constexpr Field minor{"x11.minor", "Minor version", Wire::number};
inline constexpr Field auth{"x11.auth", "Authorization", Wire::text};
inline constexpr Field vendor{"x11.vendor", "Vendor", Wire::text};
inline constexpr Field request{"x11.request", "Request", Wire::number, opcodes};
inline constexpr Field reply{"x11.reply", "Reply to request number", Wire::number};
inline constexpr Field replyTo{"x11.reply_to", "Reply to", Wire::number, opcodes};
inline constexpr Field event{"x11.event", "Event", Wire::number, events};
inline constexpr Field error{"x11.error", "Error", Wire::number, errors};
inline constexpr Field opcode{"x11.opcode", "Opcode", Wire::u8, opcodes};
inline constexpr Field detail{"x11.detail", "Detail", Wire::u8};
inline constexpr Field length{"x11.length", "Length (4 bytes)", Wire::number};
inline constexpr Field window{"x11.window", "Window", Wire::hex};
inline constexpr Field parent{"x11.parent", "Parent", Wire::hex};
inline constexpr Field property{"x11.property", "Property (atom)", Wire::number};
inline constexpr Field type{"x11.type", "Type (atom)", Wire::number};
inline constexpr Field time{"x11.time", "Server time (ms)", Wire::number};
inline constexpr Field x{"x11.x", "X", Wire::number};
inline constexpr Field y{"x11.y", "Y", Wire::number};
inline constexpr Field width{"x11.width", "Width", Wire::number};
inline constexpr Field height{"x11.height", "Height", Wire::number};
inline constexpr Field name{"x11.name", "Name", Wire::text};
inline constexpr Field data{"x11.data", "Data", Wire::bytes};

/// Numbers in the order of bytes that the client chose for the connection.
class Numbers {
public:
    Numbers(Layer& layer, bool isLittle) : layer_(layer), isLittle_(isLittle) { }

    std::uint32_t half(std::size_t ahead = 0) const { return half(layer_.rest(), ahead); }
    std::uint32_t word(std::size_t ahead = 0) const { return word(layer_.rest(), ahead); }
    std::uint32_t half(Bytes bytes, std::size_t at) const
    {
        if (bytes.size() < at + 2)
            return 0;
        return isLittle_ ? load::le16(bytes.data() + at) : load::be16(bytes.data() + at);
    }
    std::uint32_t word(Bytes bytes, std::size_t at) const
    {
        if (bytes.size() < at + 4)
            return 0;
        return isLittle_ ? load::le32(bytes.data() + at) : load::be32(bytes.data() + at);
    }
    std::uint32_t readHalf(const Field& field) const { return read(field, half(), 2); }
    std::uint32_t readWord(const Field& field) const { return read(field, word(), 4); }
    void readWords(std::span<const Field* const> fields) const
    {
        for (const auto* field : fields) {
            if (field)
                readWord(*field);
        }
    }

private:
    std::uint32_t read(const Field& field, std::uint32_t number, std::size_t size) const
    {
        if (!layer_.stopped() && layer_.left() >= size)
            layer_.add(field, number, layer_.offset(), size);
        layer_.skip(size);
        return number;
    }

    Layer& layer_;
    bool isLittle_;
};

/// Names and images are filled up to words.
constexpr std::size_t padded(std::size_t size)
{
    return (size + 3) & ~std::size_t{3};
}

/// A client's first bytes: version 11.0, with an authorization that fills the rest.
bool isSetup(Bytes bytes);
/// The server's first bytes.
bool isAnswer(Bytes bytes);

void readSetup(Layer& x11);
void readAnswer(Layer& x11, const Numbers& numbers);
/// Requests up to the end of the layer; each is noted in `waiting`, if there is one, for its reply.
void readRequests(Layer& x11, const Numbers& numbers, WaitingRequests* waiting);
/// Replies, errors and events up to the end of the layer.
void readServer(Layer& x11, const Numbers& numbers, WaitingRequests* waiting);

} // namespace netrondo::x11
