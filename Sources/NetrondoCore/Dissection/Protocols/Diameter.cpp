// Diameter (RFC 6733): authentication, authorization and accounting, message by message.
#include "Dissection/Protocols/DiameterNames.h"
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>

namespace netrondo::diameter {
namespace {
constexpr NamedValue flagNames[] = {{0x80, "request"}, {0x40, "proxiable"}, {0x20, "error"}, {0x10, "sent again"}};
constexpr NamedValue attributeFlagNames[] = {{0x80, "vendor"}, {0x40, "mandatory"}, {0x20, "protected"}};
constexpr NamedValue families[] = {{1, "IPv4"}, {2, "IPv6"}, {8, "E.164"}};

constexpr Field message{"diameter.message", "Message", Wire::number, commandNames};
constexpr Field version{"diameter.version", "Version", Wire::u8};
constexpr Field length{"diameter.length", "Length", Wire::u24};
constexpr Field flags{"diameter.flags", "Flags", Wire::flags8, flagNames};
constexpr Field command{"diameter.command", "Command", Wire::u24, commandNames};
constexpr Field application{"diameter.application", "Application", Wire::u32, applicationNames};
constexpr Field hopByHop{"diameter.hop_by_hop", "Hop-by-hop identifier", Wire::hex32};
constexpr Field endToEnd{"diameter.end_to_end", "End-to-end identifier", Wire::hex32};
constexpr Field attribute{"diameter.avp", "AVP", Wire::number, attributeNames};
constexpr Field foreignAttribute{"diameter.avp", "AVP", Wire::number};
constexpr Field code{"diameter.avp_code", "Code", Wire::u32, attributeNames};
constexpr Field foreignCode{"diameter.avp_code", "Code", Wire::u32};
constexpr Field attributeFlags{"diameter.avp_flags", "Flags", Wire::flags8, attributeFlagNames};
constexpr Field attributeLength{"diameter.avp_length", "Length", Wire::u24};
constexpr Field vendor{"diameter.avp_vendor", "Vendor", Wire::u32};
constexpr Field text{"diameter.text", "Text", Wire::text};
constexpr Field session{"diameter.session", "Session", Wire::text};
constexpr Field user{"diameter.user", "User name", Wire::text};
constexpr Field originHost{"diameter.origin_host", "Origin host", Wire::text};
constexpr Field number{"diameter.number", "Value", Wire::u32};
constexpr Field longNumber{"diameter.number", "Value", Wire::u64};
constexpr Field result{"diameter.result", "Result", Wire::u32, resultNames};
constexpr Field applicationId{"diameter.application_id", "Application", Wire::u32, applicationNames};
constexpr Field seconds{"diameter.seconds", "Seconds since 1900", Wire::u32};
constexpr Field family{"diameter.family", "Address family", Wire::u16, families};
constexpr Field address4{"diameter.address", "Address", Wire::ipv4};
constexpr Field address6{"diameter.address", "Address", Wire::ipv6};
constexpr Field padding{"diameter.padding", "Padding", Wire::bytes};
constexpr Field data{"diameter.data", "Data", Wire::bytes};

constexpr std::size_t headerSize = 20, attributeHeader = 8;
constexpr int deepest = 5; ///< of groups in groups

void readAttributes(Layer& diameter, int depth);

const Field& textOf(std::uint64_t which)
{
    return which == 263 ? session : which == 1 ? user : which == 264 ? originHost : text;
}

void readValue(Layer& diameter, std::uint64_t which, int depth)
{
    const auto* known = std::ranges::find(attributes, which, &Attribute::code);
    switch (known == std::end(attributes) ? Content::bytes : known->content) {
    case Content::text: diameter.readText(textOf(which), diameter.left()); return;
    case Content::u32:
        diameter.read(which == 268 ? result : which == 258 || which == 259 ? applicationId : number);
        return;
    case Content::u64: diameter.read(longNumber); return;
    case Content::time: diameter.read(seconds); return;
    case Content::address:
        if (const auto kind = diameter.read(family); kind == 1)
            diameter.read(address4);
        else if (kind == 2)
            diameter.read(address6);
        return;
    case Content::grouped:
        if (depth < deepest)
            readAttributes(diameter, depth + 1);
        return;
    case Content::bytes: return;
    }
}

void readAttribute(Layer& diameter, int depth)
{
    const bool isForeign = diameter.peek8(4) & 0x80;
    const auto which = diameter.peek32();
    std::uint64_t size = 0;
    {
        const Layer::Group group(diameter, isForeign ? foreignAttribute : attribute, which);
        diameter.read(isForeign ? foreignCode : code, attributeFlags);
        size = diameter.read(attributeLength);
        const std::uint64_t head = attributeHeader + (isForeign ? 4 : 0);
        if (size < head)
            return diameter.reject(attributeLength);
        if (isForeign)
            diameter.read(vendor);
        const Layer::Window content(diameter, size - head);
        if (!diameter.more())
            return;
        if (!isForeign)
            readValue(diameter, which, depth);
        if (diameter.more())
            diameter.readRest(data);
    }
    if (const std::size_t gap = (4 - size % 4) % 4; gap && diameter.more())
        diameter.readBytes(padding, std::min(gap, diameter.leftOnWire()));
}

void readAttributes(Layer& diameter, int depth)
{
    while (diameter.more())
        readAttribute(diameter, depth);
}

bool isHead(Bytes bytes)
{
    if (bytes.size() < 4)
        return !bytes.empty() && bytes[0] == 1;
    const std::size_t size = std::size_t{bytes[1]} << 16 | load::be16(&bytes[2]);
    return bytes[0] == 1 && size >= headerSize && size % 4 == 0;
}

void decode(Layer& diameter)
{
    while (diameter.more()) {
        if (!isHead(diameter.rest()))
            return static_cast<void>(diameter.readRest(data));
        diameter.beginMessage();
        const Layer::Group group(diameter, message, diameter.peek32(4) & 0xffffff);
        diameter.read(version);
        const auto size = diameter.read(length);
        if (diameter.stopped())
            return;
        diameter.expect(size - 4);
        const Layer::Window body(diameter, size - 4);
        diameter.read(flags, command, application, hopByHop, endToEnd);
        if (!diameter.stopped())
            readAttributes(diameter, 0);
    }
}

void describe(const LayerView& diameter, TextSink& out)
{
    const auto what = diameter[command];
    if (!what)
        return out("Data, {} bytes", diameter.bytes().size());
    out("{} {}, application {}", what, diameter[flags].number() & 0x80 ? "request" : "answer", diameter[application]);
    if (const auto how = diameter[result])
        out(": {}", how);
    if (const auto who = diameter[user])
        out(", user {}", who);
    if (const auto where = diameter[originHost])
        out(", from {}", where);
    if (const auto messages = diameter.count(message); messages > 1)
        out(" and {} more", messages - 1);
}

/// A header without bits that are reserved before an attribute that fits. Over TCP nothing else tells: the port is also
/// one of those that anybody is given.
Likeness guess(Bytes payload, Transport transport)
{
    constexpr std::size_t least = headerSize + attributeHeader;
    if (transport != Transport::tcp && transport != Transport::sctp)
        return Likeness::none;
    if (payload.size() < least || !isHead(payload) || payload[4] & 0x0f || payload[headerSize + 4] & 0x1f)
        return Likeness::none;
    const std::size_t size = load::be32(payload.data()) & 0xffffff;
    const std::size_t firstSize = load::be32(&payload[headerSize + 4]) & 0xffffff;
    if (firstSize < attributeHeader || firstSize > size - headerSize)
        return Likeness::none;
    const bool isKnown = !nameIn(commandNames, load::be32(&payload[4]) & 0xffffff).empty();
    return isKnown && size <= payload.size() ? Likeness::certain
        : isKnown || size <= payload.size()  ? Likeness::likely
                                             : Likeness::none;
}

constexpr Claim claims[] = {sctpPort(3868), sctpPayload(46)};
} // namespace

constexpr Protocol protocol{{"diameter", "Diameter", Wire::layer},          {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp, Transport::sctp}, 1)};
static_assert(wellFormed(protocol));
} // namespace netrondo::diameter
