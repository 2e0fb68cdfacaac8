// BitTorrent's local service discovery (BEP 14): who else in this network shares a torrent.
#include "Dissection/Protocols/HeaderLines.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::lsd {
namespace {
constexpr Field start{"lsd.start", "Start line", Wire::text};
constexpr Field header{"lsd.header", "Header", Wire::text};
constexpr Field host{"lsd.host", "Group", Wire::text};
constexpr Field port{"lsd.port", "Peer's port", Wire::text};
constexpr Field infoHash{"lsd.info_hash", "Torrent", Wire::text};
constexpr Field cookie{"lsd.cookie", "Cookie", Wire::text};
constexpr Field filler{"lsd.filler", "Empty lines", Wire::bytes};

constexpr headerLines::Known known[] = {
    {"Host", "", host}, {"Port", "", port}, {"Infohash", "", infoHash}, {"cookie", "", cookie}};

void decode(Layer& lsd)
{
    lsd.readLine(start);
    headerLines::read(lsd, header, known);
    if (lsd.more())
        lsd.readRest(filler);
}

void describe(const LayerView& lsd, TextSink& out)
{
    out("Search for peers");
    if (const auto number = lsd[port])
        out(", own port {}", number);
    std::size_t count = 0;
    lsd.each(infoHash, [&](const Value& hash) {
        if (++count == 1)
            out(", torrent {}", hash);
    });
    if (count > 1)
        out(" and {} more", count - 1);
}

Likeness guess(Bytes payload, Transport transport)
{
    return transport == Transport::udp && asText(payload).starts_with("BT-SEARCH * HTTP/1.") ? Likeness::certain
                                                                                             : Likeness::none;
}

constexpr Claim claims[] = {udpPort(6771)};
} // namespace

constexpr Protocol protocol{{"lsd", "BitTorrent LSD", Wire::layer}, {}, claims, decode, describe, guess,
                            opensWith({Transport::udp}, 'B')};
static_assert(wellFormed(protocol));
} // namespace netrondo::lsd
