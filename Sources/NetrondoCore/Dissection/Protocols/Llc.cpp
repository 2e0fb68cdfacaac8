// IEEE 802.2 logical link control and SNAP, and what stands in 802.3 frames without either.
#include "Dissection/Protocols/EtherTypeNames.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::llc {
namespace {
constexpr NamedValue saps[] = {{0x00, "null"},  {0x02, "LLC management"}, {0x04, "SNA"},     {0x06, "IP"},
                               {0x42, "STP"},   {0x7e, "X.25"},           {0x80, "XNS"},     {0xaa, "SNAP"},
                               {0xbc, "VINES"}, {0xe0, "NetWare"},        {0xf0, "NetBIOS"}, {0xf4, "LAN management"},
                               {0xfe, "OSI"},   {0xff, "global"}};
constexpr NamedValue organizations[] = {{0x000000, "Ethernet"}, {0x00000c, "Cisco"},  {0x0000f8, "802.1H"},
                                        {0x080007, "Apple"},    {0x000081, "Nortel"}, {0x0080c2, "IEEE 802.1"},
                                        {0x00e02b, "Extreme"}};

// IEEE 802.2, 5.3 and 5.4.
constexpr NamedValue unnumbered[] = {{0x03, "UI"},    {0x0f, "DM"},   {0x43, "DISC"}, {0x63, "UA"},
                                     {0x6f, "SABME"}, {0x87, "FRMR"}, {0xaf, "XID"},  {0xe3, "TEST"}};
constexpr NamedValue supervisory[] = {{0, "RR"}, {1, "RNR"}, {2, "REJ"}};

constexpr Field destination{"llc.dsap", "Destination SAP", Wire::hex8, saps};
constexpr Field source{"llc.ssap", "Source SAP", Wire::hex8, saps};
constexpr Field control8{"llc.control", "Control", Wire::hex8};
constexpr Field control16{"llc.control", "Control", Wire::hex16};
constexpr Field function8{"llc.function", "Function", Wire::bits, unnumbered, 0xef};
constexpr Field poll8{"llc.poll", "Poll or final", Wire::bit, {}, 0x10};
constexpr Field function16{"llc.function", "Function", Wire::bits, supervisory, 0x0c00};
constexpr Field sent{"llc.ns", "Sent", Wire::bits, {}, 0xfe00};
constexpr Field received{"llc.nr", "Expected", Wire::bits, {}, 0x00fe};
constexpr Field poll16{"llc.poll", "Poll or final", Wire::bit, {}, 0x0001};
constexpr Field organization{"llc.oui", "Organization", Wire::hex24, organizations};
constexpr Field protocolId{"llc.pid", "Protocol ID", Wire::hex16};
constexpr Field etherTypeId{"llc.type", "EtherType", Wire::hex16, etherTypeNames};

void readSnap(Layer& llc)
{
    const auto who = llc.read(organization);
    const bool isEther = who == 0 || who == 0x0000f8 || who == 0x080007;
    const auto id = static_cast<std::uint16_t>(llc.read(isEther ? etherTypeId : protocolId));
    if (isEther)
        llc.handOver(etherType(id));
    else if (who == 0x00000c)
        llc.handOver({snapCisco(id), etherType(id)});
    else if (who == 0x000081)
        llc.handOver(snapNortel(id));
    else if (who == 0x0080c2 && (id == 1 || id == 7)) // a bridged Ethernet frame, with or without its FCS
        llc.handOver(linkTypeIs(1));
    else
        llc.handOverData();
}

/// True for an unnumbered frame, which has one byte of control; the others have two (IEEE 802.2, 5.2).
bool readControl(Layer& llc)
{
    switch (llc.peek8() & 3) {
    case 3: llc.readParts(control8, function8, poll8); return true;
    case 1: llc.readParts(control16, function16, received, poll16); return false;
    default: llc.readParts(control16, sent, received, poll16); return false;
    }
}

void decode(Layer& llc)
{
    // NetWare's first frame type puts IPX right behind the length; its checksum is always ffff.
    if (llc.peek16() == 0xffff)
        return llc.handOver(ipx::protocol);
    const auto to = llc.read(destination), from = llc.read(source);
    const bool isUnnumbered = readControl(llc);
    if (llc.stopped())
        return;
    if (to == 0xaa && from == 0xaa && isUnnumbered)
        return readSnap(llc);
    if (!llc.leftOnWire())
        return;
    // The lowest bit says group or individual, not whose frame it is.
    llc.handOver({llcSap(static_cast<std::uint8_t>(to)), llcSap(static_cast<std::uint8_t>(to & 0xfe))});
}

void describe(const LayerView& llc, TextSink& out)
{
    if (const auto who = llc[organization])
        return out("SNAP, {}, {}{}", who, llc[etherTypeId], llc[protocolId]);
    if (const auto to = llc[destination])
        out("LLC {}", to);
    if (const auto what = llc[function8] ? llc[function8] : llc[function16])
        out(", {}", what);
    if (const auto number = llc[sent])
        out(", N(S)={}", number);
    if (const auto number = llc[received])
        out(", N(R)={}", number);
}

constexpr Claim claims[] = {Claim{ClaimTable::etherType, 0, 0x5ff}, etherType(0x8870)};
} // namespace

constexpr Protocol protocol{{"llc", "LLC", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::llc
