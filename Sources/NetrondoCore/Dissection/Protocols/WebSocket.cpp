// The WebSocket protocol (RFC 6455), which begins when HTTP has been switched to it.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::websocket {
namespace {
constexpr NamedValue opcodes[] = {{0, "Continuation"}, {1, "Text"}, {2, "Binary"},
                                  {8, "Close"},        {9, "Ping"}, {10, "Pong"}};
// RFC 6455, 7.4.1, and IANA's registry of close codes.
constexpr NamedValue reasons[] = {
    {1000, "normal"},          {1001, "going away"},        {1002, "protocol error"}, {1003, "unsupported data"},
    {1005, "no code"},         {1006, "closed abnormally"}, {1007, "invalid text"},   {1008, "policy violation"},
    {1009, "message too big"}, {1010, "extension missing"}, {1011, "internal error"}, {1012, "service restart"},
    {1013, "try again later"}, {1014, "bad gateway"}};

constexpr std::uint64_t textual = 1, closing = 8;

constexpr Field frame{"websocket.frame", "Frame", Wire::number, opcodes};
constexpr Field head{"websocket.head", "Flags and opcode", Wire::hex8};
constexpr Field isFinal{"websocket.fin", "Last of the message", Wire::bit, {}, 0x80};
constexpr Field isCompressed{"websocket.compressed", "Compressed", Wire::bit, {}, 0x40};
constexpr Field opcode{"websocket.opcode", "Opcode", Wire::bits, opcodes, 0x0f};
constexpr Field sizes{"websocket.sizes", "Mask and length", Wire::hex8};
constexpr Field isMasked{"websocket.masked", "Masked", Wire::bit, {}, 0x80};
constexpr Field shortLength{"websocket.short_length", "Length", Wire::bits, {}, 0x7f};
constexpr Field length16{"websocket.length", "Length", Wire::u16};
constexpr Field length64{"websocket.length", "Length", Wire::u64};
constexpr Field mask{"websocket.mask", "Masking key", Wire::hex32};
constexpr Field text{"websocket.text", "Text", Wire::madeText};
constexpr Field code{"websocket.close_code", "Close code", Wire::number, reasons};
constexpr Field payload{"websocket.payload", "Payload", Wire::bytes};
constexpr Field data{"websocket.data", "Data", Wire::bytes};

/// What was masked (RFC 6455, 5.3); nothing when the tree has no room for it.
std::string_view unmasked(Layer& socket, Bytes bytes, std::uint32_t key)
{
    const auto clear = socket.tree().makeBytes(bytes.size());
    for (std::size_t i = 0; i < clear.size(); ++i)
        clear[i] = static_cast<std::uint8_t>(bytes[i] ^ (key >> (24 - i % 4 * 8)));
    return asText(clear);
}

void readPayload(Layer& socket, std::uint64_t kind, bool isPacked, std::uint32_t key)
{
    if (!socket.more())
        return;
    const auto at = socket.offset();
    const auto bytes = socket.readRest(payload);
    if (isPacked || (kind != closing && kind != textual))
        return;
    auto clear = key ? unmasked(socket, bytes, key) : asText(bytes);
    const auto size = clear.size();
    if (kind == closing && size >= 2) {
        socket.add(code, load::be16(asBytes(clear).data()), at, 2);
        clear.remove_prefix(2);
    }
    if (!clear.empty())
        socket.addText(text, clear, at + size - clear.size(), clear.size());
}

/// Of the kinds that there are, and a control frame no longer than it may be (RFC 6455, 5.5).
bool isFrame(const Layer& socket)
{
    const unsigned first = socket.peek8(), kind = first & 0x0f;
    return !(first & 0x30) && !nameIn(opcodes, kind).empty() && (kind < 8 || (socket.peek8(1) & 0x7f) < 126);
}

void decode(Layer& socket)
{
    while (socket.more()) {
        if (!isFrame(socket)) {
            socket.readRest(data);
            return;
        }
        socket.beginMessage();
        const Layer::Group group(socket, frame, socket.peek8() & 0x0fu);
        const auto first = socket.readParts(head, isFinal, isCompressed, opcode);
        const auto second = socket.readParts(sizes, isMasked, shortLength);
        auto size = second & 0x7f;
        if (size == 126)
            size = socket.read(length16);
        else if (size == 127)
            size = socket.read(length64);
        const auto key = second & 0x80 ? static_cast<std::uint32_t>(socket.read(mask)) : 0;
        socket.expect(size);
        const Layer::Window content(socket, size);
        readPayload(socket, first & 0x0f, first & 0x40, key);
    }
}

void describe(const LayerView& socket, TextSink& out)
{
    const auto first = socket[frame];
    if (!first)
        return out("Data, {} bytes", socket.bytes().size());
    out("{}", first);
    if (!socket[isFinal].number())
        out(", goes on");
    if (const auto why = socket[code])
        out(", {}", why);
    if (const auto words = socket[text]) {
        out(" “");
        out.putForeign(words.text());
        out("”");
    } else if (const auto bytes = socket[payload]; bytes && !socket.has(code)) {
        out(", {} bytes", bytes.node()->length);
    }
    if (const auto frames = socket.count(frame); frames > 1)
        out(" (and {} more frames)", frames - 1);
}
} // namespace

constexpr Protocol protocol{{"websocket", "WebSocket", Wire::layer}, {}, {}, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::websocket
