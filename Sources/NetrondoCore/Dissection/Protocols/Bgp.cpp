// Border Gateway Protocol version 4 (RFC 4271, capabilities RFC 5492).
#include "Dissection/Protocols/MadeText.h"
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
constexpr Field attributeData{"bgp.attribute_data", "Value", Wire::bytes};
constexpr Field route{"bgp.nlri", "Reachable route", Wire::madeText};
constexpr Field errorCode{"bgp.error", "Error", Wire::u8, errors};
constexpr Field errorSubcode{"bgp.error_subcode", "Subcode", Wire::u8};
constexpr Field data{"bgp.data", "Data", Wire::bytes};
constexpr Field continuation{"bgp.continuation", "Continuation of a message", Wire::bytes};

void readRoutes(Layer& bgp, const Field& field)
{
    while (bgp.more()) {
        const std::size_t bits = bgp.peek8(), size = (bits + 7) / 8;
        if (bits > 32)
            return bgp.reject(field);
        if (bgp.left() < 1 + size)
            return bgp.skip(1 + size);
        std::uint32_t address = 0;
        for (std::size_t i = 0; i < size; ++i)
            address |= std::uint32_t{bgp.peek8(1 + i)} << (24 - 8 * i);
        char text[Address::maxText];
        MadeText prefix;
        prefix.put({text, Address::ipv4(address).write(text)});
        prefix.add("/{}", bits);
        bgp.addText(field, prefix, bgp.offset(), 1 + size);
        bgp.skip(1 + size);
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
        bgp.read(parameterType);
        bgp.readBytes(parameterData, bgp.read(parameterLength));
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

Likeness guess(Bytes payload, Transport transport)
{
    return transport == Transport::tcp && hasMarker(payload) ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(179)};
} // namespace

constexpr Protocol protocol{{"bgp", "BGP", Wire::layer}, {}, claims, decode, describe, guess};
static_assert(wellFormed(protocol));
} // namespace netrondo::bgp
