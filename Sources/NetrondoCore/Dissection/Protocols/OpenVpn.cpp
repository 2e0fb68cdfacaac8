// OpenVPN: how two ends of a tunnel agree on keys, in TLS over packets that are acknowledged, and the sealed packets
// after.
#include "Dissection/Protocols/OpenVpnProtection.h"
#include "Dissection/Protocols/Protocols.h"

#include <array>
#include <vector>

namespace netrondo::openvpn {
namespace {
constexpr NamedValue opcodes[] = {{1, "P_CONTROL_HARD_RESET_CLIENT_V1"},
                                  {2, "P_CONTROL_HARD_RESET_SERVER_V1"},
                                  {softReset, "P_CONTROL_SOFT_RESET_V1"},
                                  {control, "P_CONTROL_V1"},
                                  {ack, "P_ACK_V1"},
                                  {data1, "P_DATA_V1"},
                                  {clientReset, "P_CONTROL_HARD_RESET_CLIENT_V2"},
                                  {serverReset, "P_CONTROL_HARD_RESET_SERVER_V2"},
                                  {data2, "P_DATA_V2"},
                                  {clientReset3, "P_CONTROL_HARD_RESET_CLIENT_V3"},
                                  {wrappedControl, "P_CONTROL_WKC_V1"}};

constexpr Field message{"openvpn.message", "Message", Wire::number, opcodes};
constexpr Field length{"openvpn.len", "Length", Wire::u16};
constexpr Field type{"openvpn.type", "Type", Wire::hex8};
constexpr Field opcode{"openvpn.opcode", "Opcode", Wire::bits, opcodes, 0xf8};
constexpr Field key{"openvpn.key", "Key", Wire::bits, {}, 0x07};
constexpr Field session{"openvpn.session", "Session ID", Wire::hex64};
constexpr Field hmac{"openvpn.hmac", "HMAC", Wire::bytes};
constexpr Field replayId{"openvpn.packet", "Packet number", Wire::u32};
constexpr Field sent{"openvpn.time", "Sender's time", Wire::seconds};
constexpr Field ackCount{"openvpn.acks", "Acknowledgments", Wire::u8};
constexpr Field acked{"openvpn.ack", "Acknowledged message", Wire::u32};
constexpr Field remoteSession{"openvpn.remote_session", "Session ID of the other end", Wire::hex64};
constexpr Field messageId{"openvpn.message_id", "Message number", Wire::u32};
constexpr Field tlsBytes{"openvpn.tls", "Bytes of the TLS stream", Wire::bytes};
constexpr Field sealed{"openvpn.sealed", "Encrypted", Wire::bytes};
constexpr Field peer{"openvpn.peer", "Peer ID", Wire::u24};
constexpr Field data{"openvpn.data", "Data", Wire::bytes};

/// The configuration of the two ends, and each one's TLS stream as far as it came in order.
struct Tunnel : ProtocolMemory {
    static constexpr std::size_t maxPending = 32 * 1024;

    Protection protection = unknown;
    struct Way {
        std::uint64_t session = 0;
        unsigned key = 0;
        std::uint32_t next = 0; ///< the number of the message that goes on
        bool isFollowed = false;
        std::vector<std::uint8_t> bytes; ///< whole records that were handed over last, and the start of another
        std::size_t told = 0;            ///< of them
    };
    std::array<Way, 2> ways;
};

/// How many of the bytes are whole TLS records; all of them when they are none.
std::size_t wholeRecords(Bytes bytes)
{
    std::size_t at = 0;
    while (bytes.size() - at >= 5 && bytes[at] >= 20 && bytes[at] <= 24 && bytes[at + 1] == 3) {
        const std::size_t size = 5u + load::be16(&bytes[at + 3]);
        if (size > bytes.size() - at)
            return at;
        at += size;
    }
    return bytes.size() - at < 5 ? at : bytes.size();
}

bool beginsRecord(Bytes bytes)
{
    return bytes.size() >= 5 && bytes[0] >= 20 && bytes[0] <= 24 && bytes[1] == 3 && bytes[2] <= 4;
}

struct Place {
    std::uint64_t session;
    unsigned key;
    std::uint32_t number; ///< of the message
};

/// Takes a message's bytes into the stream of its way; what is whole of it now comes back, good until the next one.
Bytes put(Tunnel::Way& way, const Place& place, Bytes bytes)
{
    const bool isSame = way.isFollowed && way.session == place.session && way.key == place.key;
    if (!isSame || place.number != way.next) {
        if ((isSame && place.number < way.next) || !beginsRecord(bytes)) // sent again, or behind a gap
            return {};
        way = {place.session, place.key, place.number, true, {}, 0};
    }
    ++way.next;
    way.bytes.erase(way.bytes.begin(), way.bytes.begin() + static_cast<std::ptrdiff_t>(way.told));
    way.told = 0;
    if (way.bytes.size() > Tunnel::maxPending) {
        way = {};
        return {};
    }
    way.bytes.insert(way.bytes.end(), bytes.begin(), bytes.end());
    way.told = wholeRecords(way.bytes);
    return Bytes(way.bytes).first(way.told);
}

Transport transportOf(Layer& vpn)
{
    return vpn.summary().transport;
}

Protection protectionIn(Layer& vpn, Tunnel* tunnel)
{
    if (const auto kept = vpn.kept(); kept && kept->size() == 1)
        return kept->front();
    const auto packet = vpn.rest();
    auto protection = tunnel ? tunnel->protection : unknown;
    if (!fits(packet, protection))
        protection = protectionOf(packet);
    if (tunnel && isBare(packet[0] >> 3) && protection != unknown)
        tunnel->protection = protection; // these packets are as long as their numbers take, so that one answer fits
    vpn.keep({&protection, 1});
    return protection;
}

void handOverStream(Layer& vpn, Tunnel* tunnel, const Place& place, Bytes bytes)
{
    vpn.setStream();
    if (const auto kept = vpn.kept()) {
        if (!kept->empty())
            vpn.handOverCopy(tls::protocol, *kept);
        return;
    }
    Bytes whole;
    if (tunnel)
        whole = put(tunnel->ways[vpn.way(transportOf(vpn))], place, bytes);
    else if (beginsRecord(bytes))
        whole = bytes;
    vpn.keep(whole);
    if (!whole.empty())
        vpn.handOverCopy(tls::protocol, whole);
}

void readControl(Layer& vpn, unsigned code)
{
    auto* const tunnel = vpn.isCut() ? nullptr : vpn.memory<Tunnel>(transportOf(vpn), Layer::Ways::both);
    const auto protection = protectionIn(vpn, tunnel);
    const auto first = vpn.readParts(type, opcode, key);
    const auto from = vpn.read(session);
    if (protection == isSealed) {
        vpn.read(replayId, sent);
        vpn.readBytes(hmac, sealTag);
    }
    if (protection == isSealed || protection == unknown) {
        if (vpn.more())
            vpn.readRest(sealed);
        return;
    }
    if (protection) {
        vpn.readBytes(hmac, protection);
        vpn.read(replayId, sent);
    }
    const auto count = vpn.read(ackCount);
    for (std::uint64_t i = 0; i < count && vpn.more(4); ++i)
        vpn.read(acked);
    if (count)
        vpn.read(remoteSession);
    if (code == ack)
        return;
    const auto number = static_cast<std::uint32_t>(vpn.read(messageId));
    if (!vpn.more())
        return;
    if (code != control)
        return static_cast<void>(vpn.readRest(sealed)); // a client's own key, wrapped
    const auto bytes = vpn.readRest(tlsBytes);
    handOverStream(vpn, tunnel, {from, static_cast<unsigned>(first & 7), number}, bytes);
}

void readMessage(Layer& vpn)
{
    const unsigned code = vpn.peek8() >> 3;
    if (isControl(code)) {
        if ((code == clientReset || code == serverReset) && protectionOf(vpn.rest()) != unknown)
            vpn.learn(transportOf(vpn), protocol); // tunnels are often moved to other ports
        return readControl(vpn, code);
    }
    vpn.readParts(type, opcode, key);
    if (code == data2)
        vpn.read(peer);
    if (vpn.more())
        vpn.readRest(data);
}

bool isMessage(unsigned first)
{
    return first >> 3 >= 1 && first >> 3 <= 11;
}

void decode(Layer& vpn)
{
    if (vpn.summary().transport != Transport::tcp) {
        if (!isMessage(vpn.peek8()))
            return static_cast<void>(vpn.readRest(data));
        const Layer::Group group(vpn, message, vpn.peek8() >> 3u);
        return readMessage(vpn);
    }
    while (vpn.more()) {
        if (vpn.left() >= 3 && (vpn.peek16() == 0 || !isMessage(vpn.peek8(2)))) // the middle of a packet
            return static_cast<void>(vpn.readRest(data));
        vpn.beginMessage();
        const Layer::Group group(vpn, message, vpn.peek8(2) >> 3u);
        const auto size = vpn.read(length);
        if (size > vpn.leftOnWire())
            return vpn.await(length, size - vpn.leftOnWire());
        const Layer::Window packet(vpn, size);
        if (vpn.more())
            readMessage(vpn);
    }
}

void describe(const LayerView& vpn, TextSink& out)
{
    std::size_t count = 0;
    vpn.each(message, [&](const Value& entry) {
        if (++count <= 4)
            out("{}{}", count > 1 ? ", " : "", entry);
    });
    if (count > 4)
        out(" and {} more", count - 4);
    if (count != 1) {
        if (const auto bytes = vpn[data]; bytes && !count)
            out("Continuation, {} bytes", bytes.node()->length);
        return;
    }
    if (const auto number = vpn[messageId])
        out(", message {}", number);
    if (vpn.has(acked)) {
        out(", acknowledges");
        vpn.each(acked, [&](const Value& entry) { out(" {}", entry); });
    }
    if (const auto id = vpn[peer])
        out(", peer {}", id);
    if (const auto bytes = vpn[data])
        out(", {} bytes", bytes.node()->length);
}

/// What begins a tunnel: a reset that is exactly as long as its numbers take.
Likeness guess(Bytes payload, Transport transport)
{
    if (transport == Transport::tcp) {
        if (payload.size() < 3 || load::be16(payload.data()) != payload.size() - 2)
            return Likeness::none;
        payload = payload.subspan(2);
    }
    if (payload.size() < 14 || (payload[0] >> 3 != clientReset && payload[0] >> 3 != serverReset))
        return Likeness::none;
    const auto protection = protectionOf(payload);
    return protection != unknown && protection != isSealed ? Likeness::likely : Likeness::none;
}

constexpr Claim claims[] = {udpPort(1194), tcpPort(1194)};
} // namespace

constexpr Protocol protocol{{"openvpn", "OpenVPN", Wire::layer},
                            {},
                            claims,
                            decode,
                            describe,
                            guess,
                            opensWith({Transport::udp, Transport::tcp}, 0).orBytes(clientReset << 3, 0x47)};
static_assert(wellFormed(protocol));
} // namespace netrondo::openvpn
