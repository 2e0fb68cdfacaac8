// Border Gateway Protocol version 4 (RFC 4271, capabilities RFC 5492).
#include "Dissection/Protocols/MadeText.h"
#include "Dissection/Protocols/Prefix.h"
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>

namespace netrondo::bgp {
namespace {
constexpr NamedValue types[] = {
    {1, "OPEN"}, {2, "UPDATE"}, {3, "NOTIFICATION"}, {4, "KEEPALIVE"}, {5, "ROUTE-REFRESH"}};
constexpr NamedValue errors[] = {{1, "message header error"}, {2, "OPEN message error"},  {3, "UPDATE message error"},
                                 {4, "hold timer expired"},   {5, "state machine error"}, {6, "cease"}};
constexpr NamedValue attributeTypes[] = {{1, "ORIGIN"},
                                         {2, "AS_PATH"},
                                         {3, "NEXT_HOP"},
                                         {4, "MULTI_EXIT_DISC"},
                                         {5, "LOCAL_PREF"},
                                         {6, "ATOMIC_AGGREGATE"},
                                         {7, "AGGREGATOR"},
                                         {8, "COMMUNITIES"},
                                         {9, "ORIGINATOR_ID"},
                                         {10, "CLUSTER_LIST"},
                                         {14, "MP_REACH_NLRI"},
                                         {15, "MP_UNREACH_NLRI"},
                                         {16, "EXTENDED_COMMUNITIES"},
                                         {17, "AS4_PATH"},
                                         {18, "AS4_AGGREGATOR"},
                                         {32, "LARGE_COMMUNITY"}};
constexpr NamedValue origins[] = {{0, "IGP"}, {1, "EGP"}, {2, "incomplete"}};
constexpr NamedValue parameterTypes[] = {{1, "authentication"}, {2, "capabilities"}};

constexpr NamedValue segmentTypes[] = {
    {1, "set"}, {2, "sequence"}, {3, "confederation sequence"}, {4, "confederation set"}};
constexpr NamedValue families[] = {{1, "IPv4"}, {2, "IPv6"}, {25, "L2VPN"}, {16388, "link state"}};
constexpr NamedValue subFamilies[] = {{1, "unicast"}, {2, "multicast"}, {4, "labelled"}, {70, "EVPN"}, {128, "VPN"}};
constexpr NamedValue capabilities[] = {
    {1, "multiprotocol"},     {2, "route refresh"},          {5, "extended next hop"}, {6, "extended messages"},
    {64, "graceful restart"}, {65, "4-byte AS numbers"},     {69, "additional paths"}, {70, "enhanced route refresh"},
    {73, "host name"},        {128, "route refresh (Cisco)"}};

constexpr Field message{"bgp.message", "Message", Wire::number, types};
constexpr Field marker{"bgp.marker", "Marker", Wire::bytes};
constexpr Field length{"bgp.length", "Length", Wire::u16};
constexpr Field type{"bgp.type", "Type", Wire::u8, types};
constexpr Field version{"bgp.version", "Version", Wire::u8};
constexpr Field myAs{"bgp.as", "My AS", Wire::u16};
constexpr Field holdTime{"bgp.hold_time", "Hold time (s)", Wire::u16};
constexpr Field identifier{"bgp.id", "BGP identifier", Wire::ipv4};
constexpr Field parametersLength{"bgp.parameters_len", "Parameters length", Wire::u8};
constexpr Field parameterType{"bgp.parameter_type", "Parameter", Wire::u8, parameterTypes};
constexpr Field parameterLength{"bgp.parameter_len", "Length", Wire::u8};
constexpr Field parameterData{"bgp.parameter", "Value", Wire::bytes};
constexpr Field withdrawnLength{"bgp.withdrawn_len", "Withdrawn routes length", Wire::u16};
constexpr Field withdrawn{"bgp.withdrawn", "Withdrawn route", Wire::madeText};
constexpr Field attributesLength{"bgp.attributes_len", "Attributes length", Wire::u16};
constexpr Field attribute{"bgp.attribute", "Attribute", Wire::number, attributeTypes};
constexpr Field attributeFlags{"bgp.attribute_flags", "Flags", Wire::hex8};
constexpr Field attributeType{"bgp.attribute_type", "Type", Wire::u8, attributeTypes};
constexpr Field attributeLength8{"bgp.attribute_len", "Length", Wire::u8};
constexpr Field attributeLength16{"bgp.attribute_len", "Length", Wire::u16};
constexpr Field origin{"bgp.origin", "Origin", Wire::u8, origins};
constexpr Field nextHop{"bgp.next_hop", "Next hop", Wire::ipv4};
constexpr Field metric{"bgp.metric", "Metric", Wire::u32};
constexpr Field segment{"bgp.path_segment", "Path segment", Wire::number, segmentTypes};
constexpr Field segmentType{"bgp.segment_type", "Type", Wire::u8, segmentTypes};
constexpr Field segmentCount{"bgp.segment_count", "Number of systems", Wire::u8};
constexpr Field system16{"bgp.path_as", "Autonomous system", Wire::u16};
constexpr Field system32{"bgp.path_as", "Autonomous system", Wire::u32};
constexpr Field community{"bgp.community", "Community", Wire::madeText};
constexpr Field originator{"bgp.originator", "Originator or cluster", Wire::ipv4};
constexpr Field family{"bgp.afi", "Address family", Wire::u16, families};
constexpr Field subFamily{"bgp.safi", "Subsequent address family", Wire::u8, subFamilies};
constexpr Field nextHopLength{"bgp.next_hop_len", "Next hop length", Wire::u8};
constexpr Field nextHop6{"bgp.next_hop", "Next hop", Wire::ipv6};
constexpr Field attachments{"bgp.snpa", "Points of attachment", Wire::u8};
constexpr Field capability{"bgp.capability", "Capability", Wire::number, capabilities};
constexpr Field capabilityCode{"bgp.capability_code", "Code", Wire::u8, capabilities};
constexpr Field capabilityLength{"bgp.capability_len", "Length", Wire::u8};
constexpr Field reserved{"bgp.reserved", "Reserved", Wire::u8};
constexpr Field attributeData{"bgp.attribute_data", "Value", Wire::bytes};
constexpr Field route{"bgp.nlri", "Reachable route", Wire::madeText};
constexpr Field errorCode{"bgp.error", "Error", Wire::u8, errors};
constexpr Field errorSubcode{"bgp.error_subcode", "Subcode", Wire::u8};
constexpr Field data{"bgp.data", "Data", Wire::bytes};
constexpr Field continuation{"bgp.continuation", "Continuation of a message", Wire::bytes};

void readRoutes(Layer& bgp, const Field& field, Address::Kind kind = Address::Kind::ipv4)
{
    while (bgp.more()) {
        const std::size_t bits = bgp.peek8();
        bgp.skip(1);
        prefix::read(bgp, field, kind, bits, prefix::bytesFor(bits), 1);
    }
}

/// Whether the path's segments come out even with numbers of so many bytes.
bool fits(Bytes path, std::size_t width)
{
    std::size_t at = 0;
    while (path.size() - at >= 2) {
        const auto size = 2 + width * path[at + 1];
        if (nameIn(segmentTypes, path[at]).empty() || size > path.size() - at)
            return false;
        at += size;
    }
    return at == path.size();
}

/// Nothing in the message says how wide its numbers are (RFC 6793). A path that fits both ways has short ones: in wide
/// ones no segment would begin where it does.
bool hasWideNumbers(Bytes path)
{
    return fits(path, 4) && !fits(path, 2);
}

void readPath(Layer& bgp, bool isWide)
{
    while (bgp.more(2)) {
        const Layer::Group group(bgp, segment, bgp.peek8());
        bgp.read(segmentType);
        const auto numbers = bgp.read(segmentCount);
        for (std::uint64_t i = 0; i < numbers && bgp.more(); ++i)
            bgp.read(isWide ? system32 : system16);
    }
}

void readCommunities(Layer& bgp)
{
    while (bgp.more(4)) {
        MadeText text;
        text.add("{}:{}", bgp.peek16(), bgp.peek16(2));
        bgp.addText(community, text, bgp.offset(), 4);
        bgp.skip(4);
    }
}

void readReachable(Layer& bgp, bool isWithdrawn)
{
    const auto which = bgp.read(family), sub = bgp.read(subFamily);
    const auto kind = which == 2 ? Address::Kind::ipv6 : Address::Kind::ipv4;
    if (!isWithdrawn) {
        const auto size = bgp.read(nextHopLength);
        const Layer::Window hops(bgp, size);
        while (which == 2 && bgp.more(16))
            bgp.read(nextHop6);
        while (which == 1 && bgp.more(4))
            bgp.read(nextHop);
        if (bgp.more())
            bgp.readRest(attributeData);
    }
    if (!isWithdrawn)
        bgp.read(attachments);
    if ((which == 1 || which == 2) && (sub == 1 || sub == 2))
        readRoutes(bgp, isWithdrawn ? withdrawn : route, kind);
}

void readOriginators(Layer& bgp)
{
    while (bgp.more(4))
        bgp.read(originator);
}

void readCapabilities(Layer& bgp)
{
    while (bgp.more(2)) {
        const Layer::Group group(bgp, capability, bgp.peek8());
        const auto kind = bgp.read(capabilityCode);
        const Layer::Window content(bgp, bgp.read(capabilityLength));
        if (kind == 1)
            bgp.read(family, reserved, subFamily);
        else if (kind == 65)
            bgp.read(system32);
        if (bgp.more())
            bgp.readRest(parameterData);
    }
}

void readAttributes(Layer& bgp)
{
    while (bgp.more()) {
        const Layer::Group group(bgp, attribute, bgp.peek8(1));
        const auto bits = bgp.read(attributeFlags), kind = bgp.read(attributeType);
        const auto size = bgp.read(bits & 0x10 ? attributeLength16 : attributeLength8);
        const Layer::Window content(bgp, size);
        if (kind == 1)
            bgp.read(origin);
        else if (kind == 3)
            bgp.read(nextHop);
        else if (kind == 4 || kind == 5)
            bgp.read(metric);
        else if (kind == 2 || kind == 17)
            readPath(bgp, kind == 17 || hasWideNumbers(bgp.rest()));
        else if (kind == 8)
            readCommunities(bgp);
        else if (kind == 9 || kind == 10)
            readOriginators(bgp);
        else if (kind == 14 || kind == 15)
            readReachable(bgp, kind == 15);
        if (bgp.more())
            bgp.readRest(attributeData);
    }
}

void readUpdate(Layer& bgp)
{
    {
        const Layer::Window routes(bgp, bgp.read(withdrawnLength));
        readRoutes(bgp, withdrawn);
    }
    {
        const Layer::Window attributes(bgp, bgp.read(attributesLength));
        readAttributes(bgp);
    }
    readRoutes(bgp, route);
}

void readOpen(Layer& bgp)
{
    bgp.read(version, myAs, holdTime, identifier);
    const Layer::Window parameters(bgp, bgp.read(parametersLength));
    while (bgp.more()) {
        const auto kind = bgp.read(parameterType);
        const Layer::Window content(bgp, bgp.read(parameterLength));
        if (kind == 2)
            readCapabilities(bgp);
        if (bgp.more())
            bgp.readRest(parameterData);
    }
}

bool hasMarker(Bytes bytes)
{
    return bytes.size() >= 19 && std::ranges::all_of(bytes.first(16), [](auto byte) { return byte == 0xff; });
}

void decode(Layer& bgp)
{
    while (bgp.more()) {
        if (!hasMarker(bgp.rest())) {
            bgp.readRest(continuation);
            return;
        }
        bgp.beginMessage();
        Layer::Group group(bgp, message, bgp.peek8(18));
        bgp.readBytes(marker, 16);
        const auto size = bgp.read(length), kind = bgp.read(type);
        if (size < 19)
            return bgp.reject(length);
        const Layer::Window body(bgp, size - 19);
        if (kind == 1)
            readOpen(bgp);
        else if (kind == 2)
            readUpdate(bgp);
        else if (kind == 3)
            bgp.read(errorCode, errorSubcode);
        if (bgp.more())
            bgp.readRest(data);
    }
}

void describe(const LayerView& bgp, TextSink& out)
{
    bool first = true;
    bgp.each(message, [&](const Value& entry) {
        out("{}{}", first ? "" : ", ", entry);
        first = false;
    });
    if (const auto as = bgp[myAs])
        out(" AS {}, id {}", as, bgp[identifier]);
    if (const auto why = bgp[errorCode])
        out(": {}", why);
    std::size_t routes = 0;
    bgp.each(route, [&](const Value& entry) {
        if (++routes <= 3)
            out(" {}", entry);
    });
    if (routes > 3)
        out(" and {} more", routes - 3);
    if (const auto rest = bgp[continuation])
        out("Continuation, {} bytes", rest.node()->length);
}

/// Files hold runs of 0xff as well, so the length and the type must be those of a message (RFC 4271, 4.1; RFC 8654).
Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp || !hasMarker(payload))
        return Likeness::none;
    const auto size = load::be16(payload.data() + 16);
    const auto kind = payload[18];
    return size >= 19 && kind >= 1 && kind <= 5 ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(179)};
} // namespace

constexpr Protocol protocol{{"bgp", "BGP", Wire::layer},      {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, 0xff)};
static_assert(wellFormed(protocol));
} // namespace netrondo::bgp
