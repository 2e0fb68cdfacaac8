// Finding the fixed places, and being sure that they are what the decoder would find.
#include "Dissection/Filter/FrameGlance.h"

#include "Base/Result.h"
#include "Dissection/Decode/Dissector.h"

#include <algorithm>

namespace netrondo {
namespace {

using Place = GlanceField::Place;
using What = GlanceField::What;
using Kind = DisplayFilterExtractor::Kind;

constexpr std::size_t ethernetHeader = 14, ipv4Header = 20, ipv6Header = 40, tcpHeader = 20, udpHeader = 8;
constexpr std::uint8_t tcpProtocol = 6, udpProtocol = 17;

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
    const auto* row = std::ranges::find(rows, name.substr(0, name.find('.')), &Row::name);
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
    const auto known = Dissector::filterProtocols();
    return !protocol
        || (placeOf(protocol->field.id) == Place::application && std::ranges::find(known, protocol) != known.end());
}

} // namespace

GlanceField::GlanceField(const DisplayFilterField& field) : place(Place::frame), what(What::unseen)
{
    const auto& extractor = field.extractor;
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

FrameGlance::FrameGlance(const CaptureFrame& frame, const DecodeSession* session) : frame_(frame), session_(session)
{
    const auto bytes = frame.data;
    if (frame.linkType != LinkType::ethernet || bytes.size() < ethernetHeader + ipv4Header + udpHeader
        || frame.originalLength != bytes.size())
        return;
    network_ = bytes.data() + ethernetHeader;
    const auto type = load::be16(bytes.data() + 12);
    const auto left = bytes.size() - ethernetHeader;
    std::size_t header = ipv4Header, size = 0;
    std::uint8_t protocol = 0;
    if (type == 0x0800 && network_[0] == 0x45) {
        if (load::be16(network_ + 6) & 0x3fff) // a fragment
            return;
        size = load::be16(network_ + 2);
        protocol = network_[9];
    } else if (type == 0x86dd && network_[0] >> 4 == 6 && left >= ipv6Header) {
        isIpv6_ = true;
        header = ipv6Header;
        size = load::be16(network_ + 4) ? ipv6Header + load::be16(network_ + 4) : 0;
        protocol = network_[6];
    } else {
        return;
    }
    if (size > left)
        return;
    transport_ = network_ + header;
    if (protocol == tcpProtocol) {
        isTcp_ = true;
        if (size < header + tcpHeader)
            return;
        const auto offset = static_cast<std::size_t>(transport_[12] >> 4) * 4;
        if (offset < tcpHeader || size < header + offset)
            return;
        payload_ = {transport_ + offset, size - header - offset};
    } else if (protocol == udpProtocol) {
        if (size < header + udpHeader || load::be16(transport_ + 4) != size - header)
            return;
        payload_ = {transport_ + udpHeader, size - header - udpHeader};
        if (!carriesNoPackets(application()))
            return;
    } else {
        return;
    }
    isOrdinary_ = true;
}

const Protocol* FrameGlance::application()
{
    if (!application_)
        application_ = payload_.empty() ? nullptr
                                        : Dissector::application(payload_, isTcp_ ? Transport::tcp : Transport::udp,
                                                                 sourcePort(), destinationPort());
    return *application_;
}

std::optional<bool> FrameGlance::has(Place place)
{
    switch (place) {
    case Place::frame:
    case Place::eth: return true;
    case Place::ip: return !isIpv6_;
    case Place::ipv6: return isIpv6_;
    case Place::tcp: return isTcp_;
    case Place::udp: return !isTcp_;
    case Place::otherNetwork: return false;
    case Place::application: break;
    }
    return application() || isKnownConnection() ? std::nullopt : std::optional(false);
}

bool FrameGlance::isKnownConnection() const
{
    if (!session_ || payload_.empty())
        return false;
    const auto network = isIpv6_ ? Place::ipv6 : Place::ip;
    return session_->protocolOf(ConnectionPlace::of(isTcp_ ? Transport::tcp : Transport::udp, source(network),
                                                    sourcePort(), destination(network), destinationPort())
                                    .key);
}

Address FrameGlance::source(Place place) const
{
    if (place == Place::eth)
        return Address::mac(frame_.data.data() + 6);
    return isIpv6_ ? Address::ipv6(network_ + 8) : Address::ipv4(network_ + 12);
}

Address FrameGlance::destination(Place place) const
{
    if (place == Place::eth)
        return Address::mac(frame_.data.data());
    return isIpv6_ ? Address::ipv6(network_ + 24) : Address::ipv4(network_ + 16);
}

} // namespace netrondo
