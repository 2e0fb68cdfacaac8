// Finding the fixed places, and being sure that they are what the decoder would find.
#include "Dissection/Filter/FrameGlance.h"

#include "Base/Result.h"
#include "Dissection/Decode/Dissector.h"

#include <algorithm>
#include <bitset>
#include <boost/unordered/unordered_flat_set.hpp>

namespace netrondo {
namespace {

using Place = GlanceField::Place;
using What = GlanceField::What;
using Kind = DisplayFilterExtractor::Kind;

/// The protocol that a name belongs to: its first part.
std::string_view ownerOf(std::string_view name)
{
    return name.substr(0, name.find('.'));
}

Place placeOf(std::string_view name)
{
    struct Row {
        std::string_view name;
        Place place;
    };
    static constexpr Row rows[] = {
        {"frame", Place::frame},       {"eth", Place::eth},           {"ip", Place::ip},
        {"ipv6", Place::ipv6},         {"tcp", Place::tcp},           {"udp", Place::udp},
        {"arp", Place::otherNetwork},  {"icmp", Place::otherNetwork}, {"icmpv6", Place::otherNetwork},
        {"igmp", Place::otherNetwork}, {"gre", Place::otherNetwork},  {"ipx", Place::otherNetwork}};
    const auto* row = std::ranges::find(rows, ownerOf(name), &Row::name);
    return row == std::end(rows) ? Place::application : row->place;
}

What treeWhat(const DisplayFilterExtractor& extractor)
{
    const auto end = [&](std::string_view suffix) {
        const auto id = extractor.payload.front();
        const auto place = placeOf(id);
        return (place == Place::eth || place == Place::ip || place == Place::ipv6) && id.substr(id.find('.')) == suffix;
    };
    if (end(".src"))
        return extractor.kind == Kind::trees ? What::either : What::source;
    return end(".dst") ? What::destination : What::unseen;
}

std::uint8_t flagBit(std::string_view word)
{
    struct Row {
        std::string_view word;
        std::uint8_t bit;
    };
    static constexpr Row rows[] = {{"FIN", 0x01}, {"SYN", 0x02}, {"RST", 0x04},
                                   {"PSH", 0x08}, {"ACK", 0x10}, {"URG", 0x20}};
    const auto* row = std::ranges::find(rows, word, &Row::word);
    NR_ASSERT(row != std::end(rows));
    return row->bit;
}

/// Applications that a filter can name are known to carry no packets of their own; of other protocols a glance takes
/// nothing for granted, since a tunnel's inner packet is the one that the packet list shows.
bool carriesNoPackets(const Protocol* protocol)
{
    static const auto known = [] {
        boost::unordered_flat_set<const Protocol*> applications;
        for (const auto* each : Dissector::filterProtocols())
            if (placeOf(each->field.id) == Place::application)
                applications.insert(each);
        return applications;
    }();
    return !protocol || known.contains(protocol);
}

/// Whether the messages of an application may hold what stands under the names of `owner`.
bool mayHold(const Protocol& application, std::string_view owner)
{
    struct Row {
        std::string_view application, owner;
    };
    // Protocols that share a message format, and so the names in it.
    static constexpr Row shared[] = {
        {"mdns", "dns"}, {"llmnr", "dns"}, {"nbns", "dns"}, {"ssdp", "http"}, {"dtls", "tls"}};
    static constexpr std::string_view carriers[] = {"smb", "sip", "radius", "quic"};
    const auto name = application.field.id;
    const bool isShared =
        std::ranges::any_of(shared, [&](const Row& row) { return row.application == name && row.owner == owner; });
    return name == owner || isShared || !carriesNoPackets(&application)
        || std::ranges::find(carriers, name) != std::end(carriers);
}

} // namespace

GlanceField::GlanceField(const DisplayFilterField& field) : place(Place::frame), what(What::unseen)
{
    const auto& extractor = field.extractor;
    if (!extractor.payload.empty())
        owner = ownerOf(extractor.payload.front());
    switch (extractor.kind) {
    case Kind::proto: place = placeOf(extractor.payload.front()), what = What::layer; break;
    case Kind::tree:
    case Kind::trees: place = placeOf(extractor.payload.front()), what = treeWhat(extractor); break;
    case Kind::summarySrcPort: place = placeOf(extractor.payload.front()), what = What::sourcePort; break;
    case Kind::summaryDstPort: place = placeOf(extractor.payload.front()), what = What::destinationPort; break;
    case Kind::summaryEitherPort: place = placeOf(extractor.payload.front()), what = What::eitherPort; break;
    case Kind::flagsContains: place = Place::tcp, what = What::flag, flag = flagBit(extractor.payload.front()); break;
    case Kind::summarySource: what = What::source; break;
    case Kind::summaryDest: what = What::destination; break;
    case Kind::summaryEitherHost: what = What::either; break;
    case Kind::summaryLength: what = What::length; break;
    case Kind::expert:
    case Kind::experts:
    case Kind::summaryTime:
    case Kind::summaryNumber: break;
    }
}

bool FrameGlance::mayCarryPackets(const OrdinaryHeaders& headers)
{
    static const auto tunnels = [] {
        std::bitset<65536> ports;
        for (std::uint32_t port = 0; port < ports.size(); ++port)
            ports[port] = !carriesNoPackets(Dissector::claimant(ClaimTable::udpPort, static_cast<std::uint16_t>(port)));
        return ports;
    }();
    if (headers.isTcp || !(tunnels[headers.sourcePort()] || tunnels[headers.destinationPort()]))
        return false;
    return !carriesNoPackets(Dissector::byPort(Transport::udp, headers.sourcePort(), headers.destinationPort()));
}

bool FrameGlance::hasNoPorts() const
{
    constexpr std::size_t link = 14;
    const auto bytes = frame_.data;
    if (frame_.linkType != LinkType::ethernet || bytes.size() < link + 10)
        return false;
    switch (load::be16(&bytes[link - 2])) {
    case 0x0806: return true;
    case 0x0800: return bytes[link] >> 4 == 4 && bytes[link + 9] == 1;
    case 0x86dd: return bytes[link] >> 4 == 6 && bytes[link + 6] == 58;
    default: return false;
    }
}

const Protocol* FrameGlance::application()
{
    if (!application_) {
        const auto transport = headers_->isTcp ? Transport::tcp : Transport::udp;
        application_ = headers_->payload.empty()
            ? nullptr
            : Dissector::application(headers_->payload, transport, headers_->sourcePort(), headers_->destinationPort());
    }
    return *application_;
}

std::optional<bool> FrameGlance::has(const GlanceField& field)
{
    switch (field.place) {
    case Place::frame:
    case Place::eth: return true;
    case Place::ip: return !headers_->isIpv6;
    case Place::ipv6: return headers_->isIpv6;
    case Place::tcp: return headers_->isTcp;
    case Place::udp: return !headers_->isTcp;
    case Place::otherNetwork: return false;
    case Place::application: break;
    }
    const auto* found = application();
    if ((found && mayHold(*found, field.owner)) || isFollowed())
        return {};
    return false;
}

bool FrameGlance::isFollowed() const
{
    if (!session_ || headers_->payload.empty())
        return false;
    return session_->isFollowing(ConnectionPlace::of(headers_->isTcp ? Transport::tcp : Transport::udp,
                                                     headers_->source(), headers_->sourcePort(),
                                                     headers_->destination(), headers_->destinationPort()),
                                 load::be32(headers_->transport + 4));
}

Address FrameGlance::source(Place place) const
{
    return place == Place::eth ? Address::mac(frame_.data.data() + 6) : headers_->source();
}

Address FrameGlance::destination(Place place) const
{
    return place == Place::eth ? Address::mac(frame_.data.data()) : headers_->destination();
}

} // namespace netrondo
