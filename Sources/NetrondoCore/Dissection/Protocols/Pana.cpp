// Protocol for carrying Authentication for Network Access (RFC 5191): EAP between a client and its network.
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>

namespace netrondo::pana {
namespace {
constexpr NamedValue types[] = {
    {1, "Client initiation"}, {2, "Authentication"}, {3, "Termination"}, {4, "Notification"}};
constexpr NamedValue flagNames[] = {{0x8000, "request"},           {0x4000, "start"}, {0x2000, "complete"},
                                    {0x1000, "re-authentication"}, {0x0800, "ping"},  {0x0400, "address changed"}};
constexpr NamedValue attributeNames[] = {
    {1, "AUTH"},          {2, "EAP-Payload"}, {3, "Integrity-Algorithm"}, {4, "Key-Id"},           {5, "Nonce"},
    {6, "PRF-Algorithm"}, {7, "Result-Code"}, {8, "Session-Lifetime"},    {9, "Termination-Cause"}};
constexpr NamedValue results[] = {{0, "success"}, {1, "authentication rejected"}, {2, "authorization rejected"}};
constexpr NamedValue causes[] = {{1, "logout"}, {4, "administrative"}, {8, "session timeout"}};

constexpr Field reserved{"pana.reserved", "Reserved", Wire::hex16};
constexpr Field length{"pana.length", "Length", Wire::u16};
constexpr Field flags{"pana.flags", "Flags", Wire::flags16, flagNames};
constexpr Field type{"pana.type", "Type", Wire::u16, types};
constexpr Field session{"pana.session", "Session", Wire::hex32};
constexpr Field sequence{"pana.seq", "Sequence number", Wire::u32};
constexpr Field attribute{"pana.avp", "AVP", Wire::number, attributeNames};
constexpr Field code{"pana.avp_code", "Code", Wire::u16, attributeNames};
constexpr Field attributeFlags{"pana.avp_flags", "Flags", Wire::hex16};
constexpr Field attributeLength{"pana.avp_length", "Length", Wire::u16};
constexpr Field vendor{"pana.avp_vendor", "Vendor", Wire::u32};
constexpr Field result{"pana.result", "Result", Wire::u32, results};
constexpr Field cause{"pana.cause", "Cause", Wire::u32, causes};
constexpr Field number{"pana.number", "Value", Wire::u32};
constexpr Field data{"pana.data", "Data", Wire::bytes};

constexpr std::size_t headerSize = 16;

void readValue(Layer& pana, std::uint64_t which)
{
    switch (which) {
    case 2: pana.embed(eap::protocol); break;
    case 3:
    case 4:
    case 6:
    case 8: pana.read(number); break;
    case 7: pana.read(result); break;
    case 9: pana.read(cause); break;
    default: break;
    }
    if (pana.more())
        pana.readRest(data);
}

/// The length is that of the value alone; zeros fill it up to a multiple of four.
void readAttribute(Layer& pana)
{
    const Layer::Group group(pana, attribute, pana.peek16());
    const auto which = pana.read(code), bits = pana.read(attributeFlags), size = pana.read(attributeLength);
    pana.read(reserved);
    if (bits & 0x8000)
        pana.read(vendor);
    {
        const Layer::Window content(pana, size);
        if (pana.more())
            readValue(pana, which);
    }
    if (const std::size_t gap = (4 - size % 4) % 4; gap && pana.more())
        pana.skip(std::min(gap, pana.leftOnWire()));
}

void decode(Layer& pana)
{
    pana.read(reserved);
    const auto size = pana.read(length);
    if (!pana.stopped() && size < headerSize)
        return pana.reject(length);
    const Layer::Window message(pana, size - 4);
    pana.read(flags, type, session, sequence);
    while (pana.more())
        readAttribute(pana);
}

void describe(const LayerView& pana, TextSink& out)
{
    const std::string_view way = pana[type] == 1 ? "" : pana[flags].number() & 0x8000 ? " request" : " answer";
    out("{}{}, session {}, number {}", pana[type], way, pana[session], pana[sequence]);
    if (const auto how = pana[result])
        out(": {}", how);
    if (const auto why = pana[cause])
        out(": {}", why);
}

constexpr Claim claims[] = {udpPort(716)};
} // namespace

constexpr Protocol protocol{{"pana", "PANA", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::pana
