// IS-IS (ISO/IEC 10589, RFC 1195) and the other OSI network protocols by name.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo {

namespace osi {
namespace {
constexpr NamedValue protocols[] = {{0x81, "CLNP"}, {0x82, "ES-IS"}, {0x83, "IS-IS"}, {0xcc, "IPv4"}, {0x8e, "IPv6"}};

constexpr Field identifier{"osi.nlpid", "Network layer protocol", Wire::hex8, protocols};

void decode(Layer& osi)
{
    if (!osi.left())
        return static_cast<void>(osi.read(identifier));
    const auto number = osi.peek8(); // the protocol itself begins with this byte
    osi.add(identifier, number, osi.offset(), 1);
    osi.handOver(osiNlpid(number));
}

void describe(const LayerView& osi, TextSink& out)
{
    out("{}", osi[identifier]);
}

constexpr Claim claims[] = {llcSap(0xfe)};
} // namespace

constexpr Protocol protocol{{"osi", "OSI", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace osi

namespace isis {
namespace {
constexpr NamedValue types[] = {{15, "Level 1 LAN hello"},
                                {16, "Level 2 LAN hello"},
                                {17, "Point-to-point hello"},
                                {18, "Level 1 link state"},
                                {20, "Level 2 link state"},
                                {24, "Level 1 complete sequence numbers"},
                                {25, "Level 2 complete sequence numbers"},
                                {26, "Level 1 partial sequence numbers"},
                                {27, "Level 2 partial sequence numbers"}};

constexpr Field discriminator{"isis.nlpid", "Protocol discriminator", Wire::hex8};
constexpr Field headerLength{"isis.header_len", "Header length", Wire::u8};
constexpr Field version{"isis.version", "Version", Wire::u8};
constexpr Field idLength{"isis.id_len", "System ID length", Wire::u8};
constexpr Field type{"isis.type", "PDU type", Wire::bits, types, 0x1f};
constexpr Field typeByte{"isis.type_byte", "Type", Wire::hex8};
constexpr Field version2{"isis.version2", "Version", Wire::u8};
constexpr Field reserved{"isis.reserved", "Reserved", Wire::u8};
constexpr Field areas{"isis.max_areas", "Maximum areas", Wire::u8};
constexpr Field circuit{"isis.circuit", "Circuit type", Wire::hex8};
constexpr Field system{"isis.system", "Source", Wire::bytes};
constexpr Field holding{"isis.holding", "Holding time (s)", Wire::u16};
constexpr Field length{"isis.length", "PDU length", Wire::u16};
constexpr Field body{"isis.body", "Body", Wire::bytes};

void decode(Layer& isis)
{
    isis.read(discriminator, headerLength, version, idLength);
    const auto kind = isis.readParts(typeByte, type) & 0x1f;
    isis.read(version2, reserved, areas);
    if (kind >= 15 && kind <= 17) {
        isis.read(circuit);
        isis.readBytes(system, 6);
        isis.read(holding, length);
    } else {
        isis.read(length);
    }
    if (isis.more())
        isis.readRest(body);
}

void describe(const LayerView& isis, TextSink& out)
{
    out("{}", isis[type]);
    if (const auto from = isis[system])
        out(", from {}", from);
}

constexpr Claim claims[] = {osiNlpid(0x83), ipProtocol(124)};
} // namespace

constexpr Protocol protocol{{"isis", "IS-IS", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace isis

} // namespace netrondo
