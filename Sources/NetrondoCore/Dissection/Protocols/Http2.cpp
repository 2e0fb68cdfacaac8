// HTTP/2 (RFC 9113), its headers unpacked through libnghttp2 (RFC 7541).
#include "Dissection/Protocols/MadeText.h"
#include "Dissection/Protocols/Protocols.h"

#include <memory>
#include <nghttp2/nghttp2.h>
#include <vector>

namespace netrondo::http2 {
namespace {
constexpr NamedValue types[] = {
    {0, "DATA"},         {1, "HEADERS"}, {2, "PRIORITY"},        {3, "RST_STREAM"},    {4, "SETTINGS"},
    {5, "PUSH_PROMISE"}, {6, "PING"},    {7, "GOAWAY"},          {8, "WINDOW_UPDATE"}, {9, "CONTINUATION"},
    {10, "ALTSVC"},      {12, "ORIGIN"}, {16, "PRIORITY_UPDATE"}};
constexpr NamedValue errors[] = {{0, "no error"},
                                 {1, "protocol error"},
                                 {2, "internal error"},
                                 {3, "flow control error"},
                                 {4, "settings timeout"},
                                 {5, "stream closed"},
                                 {6, "frame size error"},
                                 {7, "refused stream"},
                                 {8, "cancel"},
                                 {9, "compression error"},
                                 {10, "connect error"},
                                 {11, "enhance your calm"},
                                 {12, "inadequate security"},
                                 {13, "HTTP/1.1 required"}};
constexpr NamedValue settings[] = {
    {1, "header table size"},   {2, "enable push"},        {3, "maximum concurrent streams"},
    {4, "initial window size"}, {5, "maximum frame size"}, {6, "maximum header list size"},
    {8, "enable connect"}};
constexpr std::string_view preface = "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n";

constexpr Field magic{"http2.preface", "Connection preface", Wire::text};
constexpr Field frame{"http2.frame", "Frame", Wire::number, types};
constexpr Field length{"http2.length", "Length", Wire::u24};
constexpr Field type{"http2.type", "Type", Wire::u8, types};
constexpr Field flags{"http2.flags", "Flags", Wire::hex8};
constexpr Field stream{"http2.stream", "Stream", Wire::u32};
constexpr Field padLength{"http2.pad_len", "Padding length", Wire::u8};
constexpr Field dependency{"http2.dependency", "Stream dependency", Wire::hex32};
constexpr Field weight{"http2.weight", "Weight", Wire::u8};
constexpr Field header{"http2.header", "Header", Wire::madeText};
constexpr Field headerBlock{"http2.header_block", "Header block", Wire::bytes};
constexpr Field unknownHeader{"http2.header_unknown", "Header named in an earlier frame", Wire::none};
constexpr Field method{"http2.method", "Method", Wire::madeText};
constexpr Field path{"http2.path", "Path", Wire::madeText};
constexpr Field status{"http2.status", "Status", Wire::madeText};
constexpr Field authority{"http2.authority", "Authority", Wire::madeText};
constexpr Field setting{"http2.setting", "Setting", Wire::number, settings};
constexpr Field settingId{"http2.setting_id", "Setting", Wire::u16, settings};
constexpr Field settingValue{"http2.setting_value", "Value", Wire::u32};
constexpr Field error{"http2.error", "Error", Wire::u32, errors};
constexpr Field lastStream{"http2.last_stream", "Last stream", Wire::u32};
constexpr Field increment{"http2.increment", "Window increment", Wire::u32};
constexpr Field ping{"http2.ping", "Opaque data", Wire::bytes};
constexpr Field data{"http2.data", "Data", Wire::bytes};
constexpr Field continuation{"http2.continuation", "Continuation of a frame", Wire::bytes};

const Field* fieldOf(std::string_view name)
{
    if (name == ":method")
        return &method;
    if (name == ":path")
        return &path;
    if (name == ":status")
        return &status;
    return name == ":authority" ? &authority : nullptr;
}

std::string_view view(const std::uint8_t* bytes, std::size_t size)
{
    return asText({bytes, size});
}

/// What one way of a connection has told about its headers so far (RFC 7541, 2.3).
struct HeaderTable : ProtocolMemory {
    bool isFromStart = false; ///< false when the capture began in the middle: then nothing before a frame is known
    std::unique_ptr<nghttp2_hd_inflater, void (*)(nghttp2_hd_inflater*)> inflater = newInflater();

    static std::unique_ptr<nghttp2_hd_inflater, void (*)(nghttp2_hd_inflater*)> newInflater()
    {
        nghttp2_hd_inflater* raw = nullptr;
        nghttp2_hd_inflate_new(&raw);
        return {raw, nghttp2_hd_inflate_del};
    }
};

void addHeader(Layer& http2, std::string_view name, std::string_view value, std::uint32_t at, std::size_t size)
{
    const auto node = http2.tree().size();
    MadeText text;
    text.add("{}: {}", name, value);
    http2.addText(header, text, at, size);
    if (const auto* known = fieldOf(name))
        http2.addText(*known, value, at, size);
    http2.tree().close(node);
}

/// Headers as they are kept for a frame that is decoded again: how many bytes each took, then its name and value.
class UnpackedHeaders {
public:
    void add(std::size_t size, std::string_view name, std::string_view value)
    {
        for (const auto number : {size, name.size(), value.size()})
            for (int shift = 0; shift < 32; shift += 8)
                bytes_.push_back(static_cast<std::uint8_t>(number >> shift));
        bytes_.insert(bytes_.end(), name.begin(), name.end());
        bytes_.insert(bytes_.end(), value.begin(), value.end());
    }
    Bytes bytes() const { return bytes_; }

    static void show(Layer& http2, Bytes bytes, std::uint32_t at)
    {
        while (bytes.size() >= 12) {
            const std::size_t size = load::le32(&bytes[0]), name = load::le32(&bytes[4]), value = load::le32(&bytes[8]);
            if (name == 0) {
                http2.add(unknownHeader, 0, at, size);
            } else {
                addHeader(http2, asText(bytes.subspan(12, name)), asText(bytes.subspan(12 + name, value)), at, size);
                at += static_cast<std::uint32_t>(size);
            }
            bytes = bytes.subspan(12 + name + value);
        }
    }

private:
    std::vector<std::uint8_t> bytes_;
};

/// A block by itself cannot tell a header that stands for an entry of an earlier one; that ends the list.
void unpack(Layer& http2, nghttp2_hd_inflater* inflater, Bytes block, std::uint32_t at, bool isLast,
            UnpackedHeaders& kept)
{
    while (inflater && !http2.tree().full()) {
        nghttp2_nv pair{};
        int outcome = 0;
        const auto used = nghttp2_hd_inflate_hd2(inflater, &pair, &outcome, block.data(), block.size(), isLast);
        if (used < 0) {
            http2.add(unknownHeader, 0, at, block.size());
            kept.add(block.size(), {}, {});
            return;
        }
        const auto size = static_cast<std::size_t>(used);
        if (outcome & NGHTTP2_HD_INFLATE_EMIT) {
            const auto name = view(pair.name, pair.namelen), value = view(pair.value, pair.valuelen);
            addHeader(http2, name, value, at, size);
            kept.add(size, name, value);
        }
        block = block.subspan(size);
        at += static_cast<std::uint32_t>(used);
        if (outcome & NGHTTP2_HD_INFLATE_FINAL)
            nghttp2_hd_inflate_end_headers(inflater);
        if (outcome & NGHTTP2_HD_INFLATE_FINAL || (used == 0 && !(outcome & NGHTTP2_HD_INFLATE_EMIT)))
            return;
    }
}

void unpackBlock(Layer& http2, Bytes block, std::uint32_t at, bool isFirst, bool isLast)
{
    if (const auto kept = http2.kept())
        return UnpackedHeaders::show(http2, *kept, at);
    UnpackedHeaders unpacked;
    auto* const table = http2.memory<HeaderTable>(Transport::tcp, Layer::Ways::one);
    if (table && table->isFromStart) {
        unpack(http2, table->inflater.get(), block, at, isLast, unpacked);
        http2.keep(unpacked.bytes());
    } else if (isFirst) {
        unpack(http2, HeaderTable::newInflater().get(), block, at, true, unpacked);
    }
}

void readHeaders(Layer& http2, std::uint64_t kind, std::uint64_t bits)
{
    const auto padding = bits & 0x08 && kind != 9 ? http2.read(padLength) : 0;
    if (kind == 1 && bits & 0x20)
        http2.read(dependency, weight);
    if (kind == 5)
        http2.read(stream);
    const bool complete = http2.left() == http2.leftOnWire() && padding <= http2.left();
    const auto at = http2.offset();
    const auto block = http2.readBytes(headerBlock, http2.left() - (complete ? padding : 0));
    if (complete)
        unpackBlock(http2, block, at, kind != 9, bits & 0x04);
}

/// A connection's first frame each way says so (RFC 9113, 3.4); headers before it were not captured.
void noteStart(Layer& http2, std::uint64_t kind, std::uint64_t bits)
{
    if (kind != 4 || bits & 1)
        return;
    auto* const table = http2.memory<HeaderTable>(Transport::tcp, Layer::Ways::one);
    if (table)
        table->isFromStart = true;
}

void readBody(Layer& http2, std::uint64_t kind, std::uint64_t bits)
{
    switch (kind) {
    case 1:
    case 5:
    case 9: readHeaders(http2, kind, bits); break;
    case 2: http2.read(dependency, weight); break;
    case 3: http2.read(error); break;
    case 4:
        while (http2.more(6)) {
            const Layer::Group group(http2, setting, http2.peek16());
            http2.read(settingId, settingValue);
        }
        break;
    case 6: http2.readBytes(ping, 8); break;
    case 7: http2.read(lastStream, error); break;
    case 8: http2.read(increment); break;
    default: break;
    }
    if (http2.more())
        http2.readRest(data);
}

bool isFrame(Bytes bytes)
{
    return bytes.size() >= 9 && load::be16(&bytes[0]) <= 0x00ff && bytes[3] <= 16 && !(bytes[5] & 0x80)
        && (bytes[3] != 4 || (load::be32(&bytes[5]) == 0 && bytes[2] % 6 == 0));
}

void decode(Layer& http2)
{
    if (asText(http2.rest()).starts_with(preface))
        http2.readText(magic, preface.size());
    while (http2.more()) {
        if (!isFrame(http2.rest())) {
            http2.readRest(continuation);
            return;
        }
        http2.beginMessage();
        const Layer::Group group(http2, frame, http2.peek8(3));
        const auto size = http2.read(length), kind = http2.read(type), bits = http2.read(flags);
        http2.read(stream);
        if (kind == 0 && size > http2.leftOnWire()) // contents are not looked into
            http2.goesOn(size - http2.leftOnWire());
        const Layer::Window content(http2, size);
        noteStart(http2, kind, bits);
        readBody(http2, kind, bits);
    }
}

void describe(const LayerView& http2, TextSink& out)
{
    const auto before = out.size();
    if (http2.has(magic))
        out("Magic");
    for (const auto& node : http2.nodes()) {
        const Value value(http2.tree(), &node);
        if (node.field == &type)
            out("{}{}", out.size() > before ? ", " : "", value);
        else if (node.field == &stream && node.number)
            out("[{}]", node.number);
        else if (node.field == &method || node.field == &path || node.field == &status)
            out(" {}", value);
    }
    if (const auto rest = http2[continuation])
        out("{}Continuation, {} bytes", out.size() > before ? ", " : "", rest.node()->length);
}

/// Whether the head of a frame has the length, the flags and the stream that its type may have (RFC 9113, 6): zeros of
/// other protocols look like empty frames.
bool isSound(Bytes bytes)
{
    struct Rule {
        std::uint32_t least, most;
        std::uint8_t flags;
        bool hasStream;
    };
    constexpr std::uint32_t any = 0xffffff;
    constexpr Rule rules[] = {{0, any, 0x09, true},  {1, any, 0x2d, true}, {5, 5, 0, true},  {4, 4, 0, true},
                              {0, any, 0x01, false}, {5, any, 0x0c, true}, {8, 8, 1, false}, {8, any, 0, false},
                              {4, 4, 0, true},       {0, any, 0x04, true}};
    if (!isFrame(bytes) || bytes[3] >= std::size(rules))
        return false;
    const auto& rule = rules[bytes[3]];
    const auto size = load::be32(&bytes[0]) >> 8;
    const bool isWindow = bytes[3] == 8; // of a stream or of the whole connection
    return size >= rule.least && size <= rule.most && !(bytes[4] & ~rule.flags)
        && (isWindow || (load::be32(&bytes[5]) != 0) == rule.hasStream);
}

Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp)
        return Likeness::none;
    if (asText(payload).starts_with(preface))
        return Likeness::certain;
    // Frames on streams: the segment ends with a frame, or there is a settings frame to begin with.
    std::size_t at = 0;
    while (at + 9 <= payload.size() && isSound(payload.subspan(at)))
        at += 9u + (std::size_t{payload[at]} << 16 | load::be16(&payload[at + 1]));
    return at > 0 && at == payload.size() ? Likeness::certain : Likeness::none;
}
} // namespace

constexpr Protocol protocol{{"http2", "HTTP/2", Wire::layer},          {}, {}, decode, describe, guess,
                            opensWith({Transport::tcp}, 0).orByte('P')};
static_assert(wellFormed(protocol));
} // namespace netrondo::http2
