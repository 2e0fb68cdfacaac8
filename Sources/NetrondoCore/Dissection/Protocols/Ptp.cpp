// The Precision Time Protocol, version 2 (IEEE 1588), over Ethernet and UDP.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::ptp {
namespace {
constexpr NamedValue types[] = {{0x0, "Sync"},
                                {0x1, "Delay request"},
                                {0x2, "Peer delay request"},
                                {0x3, "Peer delay response"},
                                {0x8, "Follow-up"},
                                {0x9, "Delay response"},
                                {0xa, "Peer delay response follow-up"},
                                {0xb, "Announce"},
                                {0xc, "Signaling"},
                                {0xd, "Management"}};
constexpr NamedValue flagNames[] = {
    {0x0100, "alternate master"}, {0x0200, "two-step"},       {0x0400, "unicast"},
    {0x0001, "leap 61"},          {0x0002, "leap 59"},        {0x0004, "UTC offset valid"},
    {0x0008, "PTP time scale"},   {0x0010, "time traceable"}, {0x0020, "frequency traceable"}};
constexpr NamedValue sources[] = {
    {0x10, "atomic clock"}, {0x20, "GNSS"},  {0x30, "terrestrial radio"},  {0x40, "PTP"}, {0x50, "NTP"},
    {0x60, "hand set"},     {0x90, "other"}, {0xa0, "internal oscillator"}};
constexpr NamedValue tlvs[] = {{0x0001, "management"},
                               {0x0002, "management error"},
                               {0x0003, "organization"},
                               {0x0004, "request unicast"},
                               {0x0005, "grant unicast"},
                               {0x0006, "cancel unicast"},
                               {0x0007, "cancel unicast acknowledged"},
                               {0x0008, "path trace"},
                               {0x0009, "alternate time offset"}};
constexpr NamedValue actions[] = {{0, "get"}, {1, "set"}, {2, "response"}, {3, "command"}, {4, "acknowledge"}};
constexpr NamedValue managementIds[] = {{0x0000, "null"},
                                        {0x0001, "clock description"},
                                        {0x0002, "user description"},
                                        {0x2000, "default data set"},
                                        {0x2001, "current data set"},
                                        {0x2002, "parent data set"},
                                        {0x2003, "time properties"},
                                        {0x2004, "port data set"},
                                        {0x2005, "priority 1"},
                                        {0x2006, "priority 2"},
                                        {0x2007, "domain"},
                                        {0x200f, "time"},
                                        {0x2010, "clock accuracy"}};

constexpr Field first{"ptp.first", "Standard and type", Wire::hex8};
constexpr Field standard{"ptp.sdo", "Standard", Wire::bits, {}, 0xf0};
constexpr Field type{"ptp.type", "Message type", Wire::bits, types, 0x0f};
constexpr Field versionByte{"ptp.version_byte", "Versions", Wire::hex8};
constexpr Field minorVersion{"ptp.minor_version", "Minor version", Wire::bits, {}, 0xf0};
constexpr Field version{"ptp.version", "Version", Wire::bits, {}, 0x0f};
constexpr Field length{"ptp.length", "Length", Wire::u16};
constexpr Field domain{"ptp.domain", "Domain", Wire::u8};
constexpr Field minorStandard{"ptp.minor_sdo", "Minor standard", Wire::hex8};
constexpr Field flags{"ptp.flags", "Flags", Wire::flags16, flagNames};
constexpr Field correction{"ptp.correction", "Correction (s)", Wire::elapsed};
constexpr Field reserved{"ptp.reserved", "Type-specific", Wire::hex32};
constexpr Field clock{"ptp.clock", "Clock", Wire::hex64};
constexpr Field port{"ptp.port", "Port", Wire::u16};
constexpr Field sequence{"ptp.seq", "Sequence number", Wire::u16};
constexpr Field control{"ptp.control", "Control", Wire::hex8};
constexpr Field interval{"ptp.interval", "Interval (log2 s)", Wire::i8};
constexpr Field seconds{"ptp.seconds", "Origin seconds", Wire::u48};
constexpr Field nanoseconds{"ptp.nanoseconds", "Origin nanoseconds", Wire::u32};
constexpr Field receiptSeconds{"ptp.receipt_seconds", "Receipt seconds", Wire::u48};
constexpr Field receiptNanoseconds{"ptp.receipt_nanoseconds", "Receipt nanoseconds", Wire::u32};
constexpr Field requestingClock{"ptp.requesting_clock", "Requesting clock", Wire::hex64};
constexpr Field requestingPort{"ptp.requesting_port", "Requesting port", Wire::u16};
constexpr Field targetClock{"ptp.target_clock", "Target clock", Wire::hex64};
constexpr Field targetPort{"ptp.target_port", "Target port", Wire::u16};
constexpr Field utcOffset{"ptp.utc_offset", "UTC offset (s)", Wire::u16};
constexpr Field reserved8{"ptp.reserved", "Reserved", Wire::hex8};
constexpr Field priority1{"ptp.priority1", "Grandmaster priority 1", Wire::u8};
constexpr Field clockClass{"ptp.class", "Grandmaster clock class", Wire::u8};
constexpr Field accuracy{"ptp.accuracy", "Grandmaster clock accuracy", Wire::hex8};
constexpr Field variance{"ptp.variance", "Grandmaster clock variance", Wire::hex16};
constexpr Field priority2{"ptp.priority2", "Grandmaster priority 2", Wire::u8};
constexpr Field grandmaster{"ptp.grandmaster", "Grandmaster", Wire::hex64};
constexpr Field steps{"ptp.steps", "Steps removed", Wire::u16};
constexpr Field source{"ptp.source", "Time source", Wire::hex8, sources};
constexpr Field startingHops{"ptp.starting_hops", "Starting boundary hops", Wire::u8};
constexpr Field hops{"ptp.hops", "Boundary hops", Wire::u8};
constexpr Field actionByte{"ptp.action_byte", "Reserved and action", Wire::hex8};
constexpr Field action{"ptp.action", "Action", Wire::bits, actions, 0x0f};
constexpr Field tlv{"ptp.tlv", "TLV", Wire::number, tlvs};
constexpr Field tlvType{"ptp.tlv_type", "Type", Wire::hex16, tlvs};
constexpr Field tlvLength{"ptp.tlv_length", "Length", Wire::u16};
constexpr Field managementId{"ptp.management", "Management", Wire::hex16, managementIds};
constexpr Field data{"ptp.data", "Data", Wire::bytes};

/// Nanoseconds in steps of 1/65536, signed.
void readCorrection(Layer& ptp)
{
    if (ptp.left() < 8)
        return ptp.await(correction, 8 - ptp.left());
    const auto steps64 = static_cast<std::int64_t>(load::be64(ptp.rest().data()));
    ptp.add(correction, static_cast<std::uint64_t>(steps64 / 65'536), ptp.offset(), 8);
    ptp.skip(8);
}

void readTlvs(Layer& ptp)
{
    while (ptp.more(4)) {
        const Layer::Group group(ptp, tlv, ptp.peek16());
        const auto kind = ptp.read(tlvType);
        const Layer::Window content(ptp, ptp.read(tlvLength));
        if ((kind == 1 || kind == 2) && ptp.more())
            ptp.read(managementId);
        if (ptp.more())
            ptp.readRest(data);
    }
}

void readBody(Layer& ptp, std::uint64_t kind)
{
    switch (kind) {
    case 0x0:
    case 0x1:
    case 0x2:
    case 0x8: ptp.read(seconds, nanoseconds); break;
    case 0x3:
    case 0x9: ptp.read(receiptSeconds, receiptNanoseconds, requestingClock, requestingPort); break;
    case 0xa: ptp.read(seconds, nanoseconds, requestingClock, requestingPort); break;
    case 0xb:
        ptp.read(seconds, nanoseconds, utcOffset, reserved8, priority1, clockClass, accuracy, variance, priority2,
                 grandmaster, steps, source);
        break;
    case 0xc: ptp.read(targetClock, targetPort); break;
    case 0xd:
        ptp.read(targetClock, targetPort, startingHops, hops);
        ptp.readParts(actionByte, action);
        ptp.read(reserved8);
        break;
    default: break;
    }
    if (kind == 0x2 && ptp.more(10)) // room for what the response holds there
        ptp.readBytes(data, 10);
    readTlvs(ptp);
}

void decode(Layer& ptp)
{
    if (ptp.left() >= 2 && (ptp.peek8(1) & 0x0f) != 2)
        return static_cast<void>(ptp.readRest(data));
    const auto kind = ptp.readParts(first, standard, type) & 0x0f;
    ptp.readParts(versionByte, minorVersion, version);
    const auto size = ptp.read(length);
    if (size < 34)
        return ptp.reject(length);
    const Layer::Window message(ptp, size - 4);
    ptp.read(domain, minorStandard, flags);
    readCorrection(ptp);
    ptp.read(reserved, clock, port, sequence, control, interval);
    if (ptp.more())
        readBody(ptp, kind);
}

void describe(const LayerView& ptp, TextSink& out)
{
    const auto kind = ptp[type];
    if (!kind)
        return out("Data, {} bytes", ptp.bytes().size());
    out("{}, number {}, clock {} port {}", kind, ptp[sequence], ptp[clock], ptp[port]);
    const auto tell = [&](const Value& whole, const Value& fraction) {
        out(", {}.", whole.number());
        for (auto unit = 100'000'000u; unit; unit /= 10)
            out.put(static_cast<char>('0' + fraction.number() / unit % 10));
    };
    if (const auto at = ptp[seconds]; at && ptp.has(nanoseconds) && (at.number() || ptp[nanoseconds].number()))
        tell(at, ptp[nanoseconds]);
    else if (const auto received = ptp[receiptSeconds]; received && ptp.has(receiptNanoseconds))
        tell(received, ptp[receiptNanoseconds]);
    if (const auto who = ptp[grandmaster])
        out(", grandmaster {}", who);
    if (const auto what = ptp[managementId])
        out(", {} {}", ptp[action], what);
}

constexpr Claim claims[] = {etherType(0x88f7), udpPort(319), udpPort(320)};
} // namespace

constexpr Protocol protocol{{"ptp", "PTP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::ptp
