// IPv6 extension headers (RFC 8200): hop-by-hop and destination options, routing, fragment, mobility.
#include "Dissection/Protocols/IpProtocolNames.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo {
namespace {

constexpr NamedValue optionTypes[] = {{0, "Pad1"},
                                      {1, "PadN"},
                                      {5, "router alert"},
                                      {0x63, "RPL"},
                                      {0xc2, "jumbo payload"},
                                      {0xc9, "home address"},
                                      {0x26, "quick start"}};

constexpr Field next{"ipv6.ext_next", "Next header", Wire::u8, ipProtocolNames};
constexpr Field length{"ipv6.ext_len", "Length in 8 bytes", Wire::u8};
constexpr Field option{"ipv6.option", "Option", Wire::number, optionTypes};
constexpr Field optionType{"ipv6.option_type", "Type", Wire::hex8, optionTypes};
constexpr Field optionLength{"ipv6.option_len", "Length", Wire::u8};
constexpr Field optionData{"ipv6.option_data", "Data", Wire::bytes};
constexpr Field routingType{"ipv6.routing_type", "Routing type", Wire::u8};
constexpr Field segmentsLeft{"ipv6.segments_left", "Segments left", Wire::u8};
constexpr Field segment{"ipv6.segment", "Address", Wire::ipv6};
constexpr Field routingData{"ipv6.routing_data", "Data", Wire::bytes};
constexpr Field reserved{"ipv6.frag_reserved", "Reserved", Wire::u8};
constexpr Field fragment{"ipv6.frag", "Fragmentation", Wire::hex16};
constexpr Field fragmentOffset{"ipv6.frag_offset", "Fragment offset in 8 bytes", Wire::bits, {}, 0xfff8};
constexpr Field moreFragments{"ipv6.frag_more", "More fragments", Wire::bit, {}, 0x0001};
constexpr Field together{"ipv6.together", "Datagram put together from its pieces", Wire::number};
constexpr Field identification{"ipv6.frag_id", "Identification", Wire::hex32};

void handOver(Layer& layer, std::uint64_t number)
{
    if (number == 59 || layer.stopped())
        return layer.endHere();
    layer.handOver(ipProtocol(static_cast<std::uint8_t>(number)));
}

void readOptions(Layer& layer)
{
    const auto number = layer.read(next), words = layer.read(length);
    {
        const Layer::Window area(layer, words * 8 + 6);
        while (layer.more()) {
            const Layer::Group group(layer, option, layer.peek8());
            if (layer.read(optionType) == 0)
                continue;
            const auto size = layer.read(optionLength);
            if (size)
                layer.readBytes(optionData, size);
        }
    }
    handOver(layer, number);
}

} // namespace

namespace ipv6hop {
namespace {
constexpr Claim claims[] = {ipProtocol(0)};
} // namespace
constexpr Protocol protocol{{"ipv6.hopopts", "IPv6 hop-by-hop options", Wire::layer}, {}, claims, readOptions};
static_assert(wellFormed(protocol));
} // namespace ipv6hop

namespace ipv6dest {
namespace {
constexpr Claim claims[] = {ipProtocol(60)};
} // namespace
constexpr Protocol protocol{{"ipv6.dstopts", "IPv6 destination options", Wire::layer}, {}, claims, readOptions};
static_assert(wellFormed(protocol));
} // namespace ipv6dest

namespace ipv6routing {
namespace {
void decode(Layer& layer)
{
    const auto number = layer.read(next), words = layer.read(length);
    {
        const Layer::Window area(layer, words * 8 + 6);
        const auto kind = layer.read(routingType);
        layer.read(segmentsLeft);
        if (layer.more(4))
            layer.skip(4);
        while ((kind == 0 || kind == 2 || kind == 4) && layer.more(16))
            layer.read(segment);
        if (layer.more())
            layer.readRest(routingData);
    }
    handOver(layer, number);
}

constexpr Claim claims[] = {ipProtocol(43)};
} // namespace
constexpr Protocol protocol{{"ipv6.routing", "IPv6 routing", Wire::layer}, {}, claims, decode};
static_assert(wellFormed(protocol));
} // namespace ipv6routing

namespace ipv6frag {
namespace {
void decode(Layer& layer)
{
    const auto number = layer.read(next);
    layer.read(reserved);
    const auto bits = layer.readParts(fragment, fragmentOffset, moreFragments);
    const auto id = layer.read(identification);
    if (layer.stopped())
        return;
    layer.frame().isFragment = (bits & 0xfff9) != 0;
    const auto& frame = layer.frame();
    if (frame.isFragment && !layer.isCut()
        && layer.handOverDatagram({frame.networkSource, frame.networkDestination, static_cast<std::uint32_t>(id),
                                   static_cast<std::uint8_t>(number), !(bits & 1),
                                   static_cast<std::uint32_t>(bits & 0xfff8), layer.rest()},
                                  ipProtocol(static_cast<std::uint8_t>(number)), together))
        return;
    if (bits & 0xfff8)
        layer.handOverData();
    else
        handOver(layer, number);
}

void describe(const LayerView& view, TextSink& out)
{
    out("Fragment of {} id {}, offset {}{}", view[next], view[identification], view[fragmentOffset].number() * 8,
        view[moreFragments] == 1 ? "" : ", last");
}

constexpr Claim claims[] = {ipProtocol(44)};
} // namespace
constexpr Protocol protocol{{"ipv6.fraghdr", "IPv6 fragment", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace ipv6frag

} // namespace netrondo
