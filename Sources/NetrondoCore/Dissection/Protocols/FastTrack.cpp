// The datagrams of the FastTrack network of file sharers: whether a node is there, and of which kind.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::fasttrack {
namespace {
constexpr NamedValue types[] = {{0x27, "Ping"}, {0x28, "Pong"}, {0x29, "Pong of an ordinary node"}};

constexpr Field type{"fasttrack.type", "Type", Wire::hex8, types};
constexpr Field encryption{"fasttrack.encryption", "Kinds of encryption", Wire::hex32};
constexpr Field load{"fasttrack.load", "State of the node", Wire::bytes};
constexpr Field network{"fasttrack.network", "Network", Wire::text};
constexpr Field data{"fasttrack.data", "Data", Wire::bytes};

constexpr std::string_view name("KaZaA\0", 6);

bool isPing(Bytes bytes)
{
    return bytes.size() == 12 && bytes[0] == 0x27 && asText(bytes).ends_with(name);
}

bool isPong(Bytes bytes)
{
    return bytes.size() == 17 && bytes[0] == 0x28 && asText(bytes).ends_with(name);
}

void decode(Layer& node)
{
    const auto bytes = node.rest();
    if (isPing(bytes) || isPong(bytes))
        node.learn(Transport::udp, protocol); // an ordinary node does not name its network
    const auto kind = node.read(type);
    node.read(encryption);
    if (kind == 0x28)
        node.readBytes(load, 6);
    else if (kind == 0x27)
        node.readBytes(load, 1);
    if (kind == 0x27 || kind == 0x28)
        node.readZeroText(network);
    if (node.more())
        node.readRest(data);
}

void describe(const LayerView& node, TextSink& out)
{
    out("{}", node[type]);
    if (const auto who = node[network])
        out(", {}", who);
}

Likeness guess(Bytes payload, Transport transport)
{
    return transport == Transport::udp && (isPing(payload) || isPong(payload)) ? Likeness::certain : Likeness::none;
}
} // namespace

constexpr Protocol protocol{{"fasttrack", "FastTrack", Wire::layer}, {}, {}, decode, describe, guess,
                            opensWith({Transport::udp}, 0x27, 0x28)};
static_assert(wellFormed(protocol));
} // namespace netrondo::fasttrack
