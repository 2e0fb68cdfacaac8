// BitTorrent's distributed table of peers (BEP 5; IPv6 BEP 32, indices BEP 51): queries and their answers between
// nodes.
#include "Dissection/Protocols/Bencode.h"
#include "Dissection/Protocols/Protocols.h"

#include <charconv>

namespace netrondo::dht {
namespace {
constexpr NamedValue types[] = {{'q', "Query"}, {'r', "Reply"}, {'e', "Error"}};

constexpr Field type{"dht.type", "Message", Wire::u8, types};
constexpr Field transaction{"dht.transaction", "Transaction", Wire::bytes};
constexpr Field version{"dht.version", "Version", Wire::bytes};
constexpr Field query{"dht.query", "Query", Wire::text};
constexpr Field arguments{"dht.arguments", "Arguments", Wire::group};
constexpr Field results{"dht.results", "Results", Wire::group};
constexpr Field id{"dht.id", "Node ID", Wire::bytes};
constexpr Field target{"dht.target", "Target", Wire::bytes};
constexpr Field infoHash{"dht.info_hash", "Torrent", Wire::bytes};
constexpr Field token{"dht.token", "Token", Wire::bytes};
constexpr Field port{"dht.port", "Port", Wire::number};
constexpr Field impliedPort{"dht.implied_port", "Port is that of the datagram", Wire::number};
constexpr Field readOnly{"dht.read_only", "Read-only node", Wire::number};
constexpr Field seed{"dht.seed", "Seed", Wire::number};
constexpr Field noSeed{"dht.no_seed", "Without seeds", Wire::number};
constexpr Field sampleCount{"dht.samples_count", "Torrents there", Wire::number};
constexpr Field interval{"dht.interval", "Interval (s)", Wire::number};
constexpr Field ownAddress{"dht.own_address", "Address of the asking node", Wire::bytes};
constexpr Field want{"dht.want", "Wanted kinds of nodes", Wire::group};
constexpr Field kind{"dht.want_kind", "Kind", Wire::text};
constexpr Field nodes{"dht.nodes", "Nodes", Wire::group};
constexpr Field node{"dht.node", "Node", Wire::group};
constexpr Field address{"dht.ip", "Address", Wire::ipv4};
constexpr Field address6{"dht.ip", "Address", Wire::ipv6};
constexpr Field peers{"dht.peers", "Peers", Wire::group};
constexpr Field peer{"dht.peer", "Peer", Wire::group};
constexpr Field peerPort{"dht.peer_port", "Port", Wire::u16};
constexpr Field samples{"dht.samples", "Torrents", Wire::group};
constexpr Field error{"dht.error", "Error", Wire::group};
constexpr Field errorCode{"dht.error_code", "Error code", Wire::number};
constexpr Field errorText{"dht.error_text", "Error text", Wire::text};
constexpr Field entry{"dht.entry", "Entry", Wire::group};
constexpr Field key{"dht.key", "Key", Wire::text};
constexpr Field text{"dht.value", "Value", Wire::bytes};
constexpr Field number{"dht.number", "Number", Wire::text};
constexpr Field elements{"dht.elements", "Elements", Wire::group};

constexpr std::size_t idSize = 20;

/// Keys whose values have a field of their own; the others are shown as they stand.
struct Known {
    std::string_view key;
    const Field* field;
};
constexpr Known knownKeys[] = {{"a", &arguments},
                               {"e", &error},
                               {"id", &id},
                               {"implied_port", &impliedPort},
                               {"info_hash", &infoHash},
                               {"interval", &interval},
                               {"ip", &ownAddress},
                               {"nodes", &nodes},
                               {"nodes6", &nodes},
                               {"noseed", &noSeed},
                               {"num", &sampleCount},
                               {"port", &port},
                               {"q", &query},
                               {"r", &results},
                               {"ro", &readOnly},
                               {"samples", &samples},
                               {"seed", &seed},
                               {"t", &transaction},
                               {"target", &target},
                               {"token", &token},
                               {"v", &version},
                               {"values", &peers},
                               {"want", &want},
                               {"y", &type}};

const Field* fieldOf(std::string_view name)
{
    for (const auto& known : knownKeys) {
        if (known.key == name)
            return known.field;
    }
    return nullptr;
}

/// Steps over a string's length; nothing where there is none.
std::optional<std::size_t> enterString(Layer& dht)
{
    const auto head = bencode::stringHead(dht.rest());
    if (!head) {
        if (dht.isCut() && dht.left() < 6)
            dht.skip(dht.left() + 1);
        else
            dht.reject(text);
        return {};
    }
    dht.skip(head->size);
    return head->length;
}

void readNumber(Layer& dht, const Field& field)
{
    const auto digits = bencode::number(dht.rest());
    if (digits.empty())
        return dht.isCut() ? dht.skip(dht.left() + 1) : dht.reject(field);
    dht.skip(1);
    std::uint64_t value = 0;
    const auto end = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    const bool isPlain = field.wire == Wire::number && end.ec == std::errc();
    if (isPlain)
        dht.add(field, value, dht.offset(), digits.size());
    else
        dht.add(number, 0, dht.offset(), digits.size()); // below zero, or too large
    dht.skip(digits.size() + 1);
}

void readEndpoint(Layer& dht, std::size_t size)
{
    dht.read(size == 18 ? address6 : address, peerPort);
}

/// Nodes or torrents side by side, with nothing between them.
void readPacked(Layer& dht, std::size_t size, const Field& whole, const Field& one, std::size_t endpoint)
{
    const Layer::Group group(dht, whole);
    const Layer::Window window(dht, size);
    while (dht.more(idSize + endpoint)) {
        if (!endpoint) {
            dht.readBytes(one, idSize);
            continue;
        }
        const Layer::Group each(dht, one);
        dht.readBytes(id, idSize);
        readEndpoint(dht, endpoint);
    }
    if (dht.more())
        dht.readRest(text);
}

void readString(Layer& dht, std::string_view name, const Field& field)
{
    const auto size = enterString(dht);
    if (!size)
        return;
    if (&field == &nodes)
        return readPacked(dht, *size, nodes, node, name == "nodes6" ? 18 : 6);
    if (&field == &samples)
        return readPacked(dht, *size, samples, infoHash, 0);
    if (&field == &type && *size == 1) {
        dht.read(type);
        return;
    }
    if (&field == &peers && (*size == 6 || *size == 18)) {
        const Layer::Group each(dht, peer);
        return readEndpoint(dht, *size);
    }
    const bool isBytes = field.wire == Wire::bytes || field.wire == Wire::text;
    dht.readBytes(isBytes ? field : text, *size);
}

void readValue(Layer& dht, std::string_view name, const Field* field, unsigned depth);

void readList(Layer& dht, std::string_view name, const Field* field, unsigned depth)
{
    const bool isNamed = field && field->wire == Wire::group;
    const Layer::Group group(dht, isNamed ? *field : elements);
    const auto* const inner = field == &want ? &kind : field;
    dht.skip(1);
    while (dht.more() && dht.peek8() != 'e') {
        if (field == &error)
            readValue(dht, name, dht.peek8() == 'i' ? &errorCode : &errorText, depth + 1);
        else
            readValue(dht, name, inner, depth + 1);
    }
    dht.skip(1);
}

void readDictionary(Layer& dht, unsigned depth)
{
    dht.skip(1);
    while (dht.more() && dht.peek8() != 'e') {
        const auto at = dht.offset();
        const auto size = enterString(dht);
        if (!size)
            return;
        const auto name = asText(slice(dht.rest(), 0, *size));
        if (const auto* const field = fieldOf(name); field && name.size() == *size) {
            dht.skip(*size);
            if (dht.more())
                readValue(dht, name, field, depth + 1);
            continue;
        }
        const Layer::Group group(dht, entry);
        dht.add(key, 0, at + static_cast<std::uint32_t>(dht.offset() - at), name.size());
        dht.skip(*size);
        if (dht.more())
            readValue(dht, name, nullptr, depth + 1);
    }
    dht.skip(1);
}

/// `field` is what the value's key says, or null.
void readValue(Layer& dht, std::string_view name, const Field* field, unsigned depth)
{
    if (depth > bencode::maxDepth)
        return dht.reject(elements);
    switch (dht.peek8()) {
    case 'i': return readNumber(dht, field && field->wire == Wire::number ? *field : number);
    case 'l': return readList(dht, name, field, depth);
    case 'd': {
        const bool isNamed = field == &arguments || field == &results;
        const Layer::Group group(dht, isNamed ? *field : elements);
        return readDictionary(dht, depth);
    }
    default: return readString(dht, name, field ? *field : text);
    }
}

void decode(Layer& dht)
{
    if (dht.peek8() != 'd')
        return dht.reject(type);
    readDictionary(dht, 0);
}

void describe(const LayerView& dht, TextSink& out)
{
    if (const auto what = dht[query])
        out("{} {}", dht[type], what);
    else
        out("{}", dht[type]);
    if (const auto hash = dht[infoHash])
        out(" {}", hash);
    else if (const auto wanted = dht[target])
        out(" {}", wanted);
    if (const auto code = dht[errorCode])
        out(": {}", code);
    if (const auto why = dht[errorText])
        out(" {}", why);
    if (const auto count = dht.count(node))
        out(", {} node{}", count, count == 1 ? "" : "s");
    if (const auto count = dht.count(peer))
        out(", {} peer{}", count, count == 1 ? "" : "s");
    if (const auto own = dht[port])
        out(", port {}", own);
}

/// One whole dictionary that says what kind of message it is; of one that was cut, its beginning.
Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::udp || payload.empty() || payload[0] != 'd')
        return Likeness::none;
    const auto kindOf = asText(bencode::find(payload, "y"));
    const bool isKind = kindOf == "1:q" || kindOf == "1:r" || kindOf == "1:e";
    if (isKind && bencode::valueSize(payload) == payload.size() && !bencode::find(payload, "t").empty())
        return Likeness::certain;
    const auto start = asText(payload);
    const bool begins = start.starts_with("d1:ad2:id20:") || start.starts_with("d1:rd2:id20:");
    return begins ? Likeness::likely : Likeness::none;
}
} // namespace

// Nodes choose their ports freely.
constexpr Protocol protocol{{"dht", "BitTorrent DHT", Wire::layer}, {}, {}, decode, describe, guess,
                            opensWith({Transport::udp}, 'd')};
static_assert(wellFormed(protocol));
} // namespace netrondo::dht
