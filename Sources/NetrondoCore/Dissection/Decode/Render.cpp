// Numbers and bytes into text, on demand.
#include "Dissection/Decode/Render.h"

#include "Dissection/Decode/Protocol.h"
#include "Dissection/Decode/RenderTypes.h"
#include "Dissection/Decode/StopFields.h"

#include <rapidjson/internal/itoa.h>
#include <utility>

namespace netrondo {
namespace {

/// The most bytes that a value spells out in hexadecimal; the bytes pane shows the rest.
constexpr std::size_t maxHexBytes = 4096;

void hexBytes(Bytes bytes, TextSink& out)
{
    char digits[256]; // put in pieces: payloads are most of what a tree spells out
    for (auto rest = bytes.first(std::min(bytes.size(), maxHexBytes)); !rest.empty();) {
        const auto piece = rest.first(std::min(rest.size(), sizeof digits / 2));
        auto* to = digits;
        for (const auto byte : piece) {
            *to++ = "0123456789abcdef"[byte >> 4];
            *to++ = "0123456789abcdef"[byte & 0xf];
        }
        out.put(std::string_view(digits, to));
        rest = rest.subspan(piece.size());
    }
    if (bytes.size() > maxHexBytes)
        out.put("…");
}

void namedBits(const Node& node, TextSink& out)
{
    bool first = true;
    for (const auto& flag : node.field->names) {
        if ((node.number & flag.value) != flag.value || !flag.value)
            continue;
        if (!std::exchange(first, false))
            out.put(", ");
        out.put(flag.name);
    }
}

bool checksumName(const Node& node, TextSink& out)
{
    switch (static_cast<ChecksumOutcome>(node.number >> 32)) {
    case ChecksumOutcome::unchecked: return false;
    case ChecksumOutcome::correct: out.put("correct"); break;
    case ChecksumOutcome::offloaded: out.put("left to the network card"); break;
    case ChecksumOutcome::absent: out.put("not used"); break;
    case ChecksumOutcome::wrong:
        out.put("wrong");
        if (node.field->wire == Wire::checksum32)
            break;
        out.put(", should be 0x");
        out.putHex(node.number >> 16 & 0xffff, 4);
    }
    return true;
}

template <int count> void putDigits(char* to, std::uint32_t number)
{
    for (int i = count; i-- > 0; number /= 10)
        to[i] = static_cast<char>('0' + number % 10);
}

bool isStop(const Node& node)
{
    return node.field == &stop::cut || node.field == &stop::malformed || node.field == &stop::continues
        || node.field == &stop::quoteEnds;
}

void stopReason(const Node& node, TextSink& out)
{
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a node has room for one number, and here it is a field's address
    const auto& missing = *reinterpret_cast<const Field*>(static_cast<std::uintptr_t>(node.number));
    out("at byte {}: {}", node.offset, missing.summary);
}

} // namespace

void writeValue(TextSink& out, const Value& value)
{
    if (!value)
        return;
    if (!Render::name(value.tree(), *value.node(), out))
        Render::value(value.tree(), *value.node(), out);
}

namespace Render {

bool value(const DecodeTree& tree, const Node& node, TextSink& out)
{
    switch (node.field->wire) {
    case Wire::layer:
    case Wire::group:
    case Wire::none: return false;
    case Wire::i8:
    case Wire::i32: out.putSigned(static_cast<std::int64_t>(node.number)); return true;
    case Wire::hex8:
    case Wire::flags8: out.put("0x"), out.putHex(node.number, 2); return true;
    case Wire::hex16:
    case Wire::leHex16:
    case Wire::flags16: out.put("0x"), out.putHex(node.number, 4); return true;
    case Wire::checksum16: out.put("0x"), out.putHex(node.number & 0xffff, 4); return true;
    case Wire::checksum32: out.put("0x"), out.putHex(node.number & 0xffff'ffff, 8); return true;
    case Wire::hex24: out.put("0x"), out.putHex(node.number, 6); return true;
    case Wire::hex32:
    case Wire::leHex32: out.put("0x"), out.putHex(node.number, 8); return true;
    case Wire::hex64:
    case Wire::leHex64: out.put("0x"), out.putHex(node.number, 16); return true;
    case Wire::hex:
    case Wire::flags: out.put("0x"), out.putHex(node.number, 2); return true;
    case Wire::mac: out.put(Address::mac(node.number)); return true;
    case Wire::ipv4: out.put(Address::ipv4(static_cast<std::uint32_t>(node.number))); return true;
    case Wire::ipv6: {
        const auto bytes = tree.bytesOf(node);
        if (bytes.size() == 16)
            out.put(Address::ipv6(bytes.data()));
        return true;
    }
    case Wire::bytes: hexBytes(tree.bytesOf(node), out); return node.length;
    case Wire::text: out.putForeign(asText(tree.bytesOf(node))); return true;
    case Wire::utf16: RenderTypes::utf16(tree.bytesOf(node), out); return true;
    case Wire::madeText:
        if (isStop(node))
            stopReason(node, out);
        else
            out.putForeign(tree.madeText(node));
        return true;
    case Wire::oid: RenderTypes::oid(tree.bytesOf(node), out); return true;
    case Wire::guid: RenderTypes::guid(tree.bytesOf(node), out); return true;
    case Wire::seconds: RenderTypes::seconds(node.number, 0, out); return true;
    case Wire::ntpTime: RenderTypes::ntpTime(node.number, out); return true;
    case Wire::fileTime: RenderTypes::fileTime(node.number, out); return true;
    case Wire::elapsed: time(static_cast<std::int64_t>(node.number), out); return true;
    default: out.put(node.number); return true;
    }
}

bool name(const DecodeTree&, const Node& node, TextSink& out)
{
    const auto& field = *node.field;
    if (field.wire == Wire::checksum16)
        return checksumName(node, out);
    if (field.names.empty())
        return false;
    if (field.wire == Wire::flags8 || field.wire == Wire::flags16 || field.wire == Wire::flags) {
        const auto before = out.size();
        namedBits(node, out);
        return out.size() > before;
    }
    const auto found = nameIn(field.names, node.number);
    out.put(found);
    return !found.empty();
}

void row(const DecodedFrame& frame, std::uint32_t index, TextSink& out)
{
    const auto& node = frame.tree[index];
    out.put(node.field->summary);
    if (node.field->wire == Wire::layer) {
        for (const auto& layer : frame.tree.layers()) {
            if (layer.node == index && layer.protocol->describe) {
                out.put(", ");
                const auto before = out.size();
                layer.protocol->describe(LayerView(frame.tree, index), out);
                if (out.size() == before)
                    out.truncate(before - 2);
            }
        }
        return;
    }
    const auto bare = out.size();
    out.put(": ");
    const auto before = out.size();
    const bool named = name(frame.tree, node, out);
    if (named)
        out.put(" (");
    const auto opened = out.size();
    const bool valued = value(frame.tree, node, out);
    if (named && out.size() == opened) // a name alone
        out.truncate(opened - 2);
    else if (named)
        out.put(')');
    if (!named && (!valued || out.size() == before))
        out.truncate(bare);
}

std::size_t time(std::int64_t nanoseconds, char* out)
{
    auto* to = out;
    auto rest = static_cast<std::uint64_t>(nanoseconds);
    if (nanoseconds < 0) {
        *to++ = '-';
        rest = 0 - rest;
    }
    to = rapidjson::internal::u64toa(rest / 1'000'000'000, to);
    // Microseconds, and what is finer only where there is something: most captures have no more.
    const auto nanoseconds9 = static_cast<std::uint32_t>(rest % 1'000'000'000);
    *to++ = '.';
    putDigits<6>(to, nanoseconds9 / 1000);
    to += 6;
    if (const auto fine = nanoseconds9 % 1000) {
        putDigits<3>(to, fine);
        to += 3;
    }
    return static_cast<std::size_t>(to - out);
}

void time(std::int64_t nanoseconds, TextSink& out)
{
    char text[maxTime];
    out.put(std::string_view(text, time(nanoseconds, text)));
}

std::string_view protocol(const FrameSummary& summary)
{
    return summary.protocol ? summary.protocol->field.summary : "";
}

void info(const DecodedFrame& frame, TextSink& out)
{
    const auto layers = frame.tree.layers();
    const auto before = out.size();
    const auto say = [&](const LayerEntry& layer) {
        if (!layer.protocol->describe || layer.quoted)
            return;
        const LayerView view(frame.tree, layer.node);
        const auto nodes = view.nodes();
        if (!nodes.empty() && nodes[0].field == &stop::continuation) {
            out("Continuation, {} bytes", nodes[0].length);
            if (nodes.size() == 1)
                return;
            out.put(", ");
        }
        const auto start = out.size();
        layer.protocol->describe(view, out);
        if (out.size() == start && start > before + 2)
            out.truncate(start - 2);
    };
    const auto isEmbedded = [&](const LayerEntry& layer) { return frame.tree[layer.node].flags & Node::embedded; };
    for (auto i = layers.size(); i-- > 0 && out.size() == before;) {
        if (!isEmbedded(layers[i]))
            say(layers[i]);
    }
    for (const auto& layer : layers) {
        if (!isEmbedded(layer))
            continue;
        const auto end = out.size();
        out.put(", ");
        say(layer);
        if (out.size() == end + 2)
            out.truncate(end);
    }
}

} // namespace Render

std::string_view transportKey(Transport transport)
{
    constexpr std::string_view keys[] = {"", "tcp", "udp", "sctp", "dccp", "udplite"};
    return keys[static_cast<std::size_t>(transport)];
}

} // namespace netrondo
