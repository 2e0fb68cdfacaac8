// The link headers that capture tools write in place of the real ones: BSD loopback, raw IP, Linux cooked.
#include "Dissection/Protocols/EtherTypeNames.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo {

namespace loopback {
namespace {
constexpr NamedValue families[] = {{2, "IPv4"},  {7, "OSI"},   {23, "IPX"}, {24, "IPv6"},
                                   {28, "IPv6"}, {30, "IPv6"}, {10, "IPv6"}};

constexpr Field family{"null.family", "Address family", Wire::le32, families};
constexpr Field bigFamily{"null.family", "Address family", Wire::u32, families};

/// Serial lines of Cisco's framing are met under this link type too: an address and a control byte, an EtherType.
bool isSerialLine(const Layer& null)
{
    constexpr std::uint16_t lowestEtherType = 0x0600;
    return (null.peek16() == 0x0f00 || null.peek16() == 0x8f00) && null.peek16(2) >= lowestEtherType;
}

void decode(Layer& null)
{
    if (isSerialLine(null))
        return null.handOver(chdlc::protocol);
    // The family is in the byte order of the machine that captured; small numbers tell which that was.
    const bool isBig = null.peek16() == 0 && null.peek16(2) != 0;
    const auto number = null.read(isBig ? bigFamily : family);
    switch (number) {
    case 2: null.handOver(etherType(0x0800)); break;
    case 10:
    case 24:
    case 28:
    case 30: null.handOver(etherType(0x86dd)); break;
    case 23: null.handOver(etherType(0x8137)); break;
    default: null.handOverData(); break;
    }
}

constexpr Claim claims[] = {linkTypeIs(0)};
} // namespace

constexpr Protocol protocol{{"null", "Null/Loopback", Wire::layer}, {}, claims, decode};
static_assert(wellFormed(protocol));
} // namespace loopback

namespace raw {
namespace {
void decode(Layer& raw)
{
    const auto version = raw.peek8() >> 4;
    raw.handOver(etherType(version == 6 ? 0x86dd : 0x0800));
}

constexpr Claim claims[] = {linkTypeIs(12), linkTypeIs(101)};
} // namespace

constexpr Protocol protocol{{"raw", "Raw IP", Wire::layer}, {}, claims, decode};
static_assert(wellFormed(protocol));
} // namespace raw

// Cisco's framing on serial lines, with its keep-alives (SLARP).
namespace chdlc {
namespace {
constexpr std::uint16_t serialLineControl = 0x8035;
constexpr NamedValue addresses[] = {{0x0f, "unicast"}, {0x8f, "broadcast"}};
constexpr NamedValue slarpTypes[] = {{0, "address request"}, {1, "address reply"}, {2, "keep-alive"}};

constexpr Field address{"chdlc.address", "Address", Wire::hex8, addresses};
constexpr Field control{"chdlc.control", "Control", Wire::hex8};
constexpr Field next{"chdlc.proto", "Protocol", Wire::hex16, etherTypeNames};
constexpr Field slarp{"chdlc.slarp", "SLARP", Wire::u32, slarpTypes};
constexpr Field own{"chdlc.slarp_own", "Own sequence number", Wire::u32};
constexpr Field seen{"chdlc.slarp_seen", "Sequence number seen", Wire::u32};
constexpr Field lineAddress{"chdlc.slarp_address", "Address", Wire::ipv4};
constexpr Field lineMask{"chdlc.slarp_mask", "Network mask", Wire::ipv4};

void decode(Layer& hdlc)
{
    hdlc.read(address, control);
    const auto number = static_cast<std::uint16_t>(hdlc.read(next));
    if (number != serialLineControl)
        return static_cast<void>(hdlc.handOver({etherType(number), snapCisco(number)}));
    if (hdlc.read(slarp) == 2)
        hdlc.read(own, seen);
    else
        hdlc.read(lineAddress, lineMask);
    hdlc.endHere();
}

void describe(const LayerView& hdlc, TextSink& out)
{
    if (hdlc.has(own))
        return out("SLARP keep-alive, own {}, seen {}", hdlc[own], hdlc[seen]);
    if (const auto kind = hdlc[slarp])
        return out("SLARP {}", kind);
    out("{}", hdlc[next]);
}

constexpr Claim claims[] = {linkTypeIs(104)};
} // namespace

constexpr Protocol protocol{{"chdlc", "Cisco HDLC", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace chdlc

namespace sll {
namespace {
constexpr NamedValue packetTypes[] = {
    {0, "to us"},      {1, "broadcast"},    {2, "multicast"},    {3, "to somebody else"},
    {4, "sent by us"}, {6, "to a program"}, {7, "to the kernel"}};
constexpr std::uint16_t netlinkMedium = 824;

constexpr Field packetType{"sll.type", "Packet type", Wire::u16, packetTypes};
constexpr Field hardware{"sll.hw", "Hardware type", Wire::u16};
constexpr Field addressLength{"sll.alen", "Address length", Wire::u16};
constexpr Field source{"sll.src", "Source", Wire::mac};
constexpr Field sourceBytes{"sll.src_bytes", "Source", Wire::bytes};
constexpr Field unused{"sll.unused", "Unused", Wire::bytes};
constexpr Field next{"sll.proto", "Protocol", Wire::hex16, etherTypeNames};
constexpr Field packetType8{"sll.type", "Packet type", Wire::u8, packetTypes};
constexpr Field addressLength8{"sll.alen", "Address length", Wire::u8};
constexpr Field interface {
    "sll.interface", "Interface index", Wire::u32
};

void readAddress(Layer& sll, std::uint64_t size)
{
    if (size != 6) {
        sll.readBytes(sourceBytes, 8);
        return;
    }
    const auto from = sll.read(source);
    sll.readBytes(unused, 2);
    if (!sll.stopped())
        sll.summary().source = Address::mac(from);
}

void handOver(Layer& sll, std::uint64_t number, std::uint64_t medium)
{
    // Numbers below 0x600 are Linux's own: 1 is 802.3 without its header (IPX), 4 is 802.2.
    if (sll.stopped())
        return;
    // Behind this header the number is no protocol but a family of netlink, of which 0 is routing.
    if (medium == netlinkMedium && number == 0)
        return sll.handOver(netlink::protocol);
    if (medium == netlinkMedium)
        return sll.handOverData();
    if (number == 1)
        return sll.handOver(ipx::protocol);
    if (number == 4)
        return sll.handOver(llc::protocol);
    if (number < 0x600)
        return sll.handOverData();
    sll.handOver(etherType(static_cast<std::uint16_t>(number)));
}

void decode(Layer& sll)
{
    sll.read(packetType);
    const auto medium = sll.read(hardware), size = sll.read(addressLength);
    readAddress(sll, size);
    const auto number = sll.read(next);
    handOver(sll, number, medium);
}

void describe(const LayerView& sll, TextSink& out)
{
    out("{}, {}", sll[next], sll[packetType]);
}

constexpr Claim claims[] = {linkTypeIs(113)};
} // namespace

constexpr Protocol protocol{{"sll", "Linux cooked", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));

namespace version2 {
namespace {
void decode(Layer& sll)
{
    const auto number = sll.read(next);
    sll.skip(2);
    sll.read(interface);
    const auto medium = sll.read(hardware);
    sll.read(packetType8);
    const auto size = sll.read(addressLength8);
    readAddress(sll, size);
    handOver(sll, number, medium);
}

void describe(const LayerView& sll, TextSink& out)
{
    out("{}, {}", sll[next], sll[packetType8]);
}

constexpr Claim claims[] = {linkTypeIs(276)};
} // namespace
} // namespace version2
} // namespace sll

namespace sll2 {
constexpr Protocol protocol{
    {"sll", "Linux cooked v2", Wire::layer}, {}, sll::version2::claims, sll::version2::decode, sll::version2::describe};
static_assert(wellFormed(protocol));
} // namespace sll2

} // namespace netrondo
