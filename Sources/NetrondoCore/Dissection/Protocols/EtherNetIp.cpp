// EtherNet/IP: the encapsulation that carries CIP over TCP and UDP (CIP Networks Library, volume 2, chapter 2).
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>

namespace netrondo::enip {
namespace {
constexpr NamedValue commands[] = {{0x00, "NOP"},
                                   {0x04, "List Services"},
                                   {0x63, "List Identity"},
                                   {0x64, "List Interfaces"},
                                   {0x65, "Register Session"},
                                   {0x66, "Unregister Session"},
                                   {0x6f, "Send RR Data"},
                                   {0x70, "Send Unit Data"},
                                   {0x72, "Indicate Status"},
                                   {0x73, "Cancel"}};
constexpr NamedValue directions[] = {{1, "request"}, {2, "reply"}};
constexpr NamedValue states[] = {
    {0x00, "success"},         {0x01, "unsupported command"}, {0x02, "out of memory"},      {0x03, "incorrect data"},
    {0x64, "invalid session"}, {0x65, "invalid length"},      {0x69, "unsupported version"}};
constexpr std::uint16_t nullAddress = 0x0000, identityItem = 0x000c, connectedAddress = 0x00a1, connectedData = 0x00b1,
                        unconnectedData = 0x00b2, servicesItem = 0x0100, socketToTarget = 0x8000,
                        socketToOriginator = 0x8001, sequencedAddress = 0x8002;
constexpr NamedValue items[] = {{nullAddress, "null address"},
                                {identityItem, "identity"},
                                {connectedAddress, "connected address"},
                                {connectedData, "connected data"},
                                {unconnectedData, "unconnected data"},
                                {servicesItem, "services"},
                                {socketToTarget, "socket address to the target"},
                                {socketToOriginator, "socket address to the originator"},
                                {sequencedAddress, "sequenced address"}};
constexpr NamedValue capabilities[] = {{0x0020, "CIP over TCP"}, {0x0100, "class 0 or 1 over UDP"}};
constexpr NamedValue deviceTypes[] = {
    {0x00, "generic device"},         {0x02, "AC drive"},       {0x07, "general purpose I/O"},
    {0x0c, "communications adapter"}, {0x0e, "controller"},     {0x10, "position controller"},
    {0x18, "human interface"},        {0x2b, "generic device"}, {0x2c, "managed switch"}};
constexpr NamedValue vendors[] = {
    {1, "Rockwell Automation"},  {2, "Namco"},      {40, "WAGO"}, {47, "Omron"}, {90, "HMS"}, {145, "Siemens"},
    {243, "Schneider Electric"}, {283, "Hilscher"}, {26, "Festo"}};

constexpr Field message{"enip.message", "Message", Wire::number, commands};
constexpr Field command{"enip.command", "Command", Wire::le16, commands};
constexpr Field direction{"enip.direction", "Direction", Wire::number, directions};
constexpr Field length{"enip.length", "Length", Wire::le16};
constexpr Field session{"enip.session", "Session", Wire::leHex32};
constexpr Field status{"enip.status", "Status", Wire::leHex32, states};
constexpr Field context{"enip.context", "Sender context", Wire::bytes};
constexpr Field options{"enip.options", "Options", Wire::leHex32};
constexpr Field version{"enip.version", "Version", Wire::le16};
constexpr Field flags{"enip.flags", "Flags", Wire::leHex16};
constexpr Field interfaceHandle{"enip.interface", "Interface", Wire::leHex32};
constexpr Field timeout{"enip.timeout", "Timeout (s)", Wire::le16};
constexpr Field itemCount{"enip.item_count", "Items", Wire::le16};
constexpr Field item{"enip.item", "Item", Wire::number, items};
constexpr Field itemType{"enip.item_type", "Type", Wire::leHex16, items};
constexpr Field itemLength{"enip.item_length", "Length", Wire::le16};
constexpr Field connection{"enip.connection", "Connection", Wire::leHex32};
constexpr Field encapsulated{"enip.sequence", "Encapsulation sequence number", Wire::le32};
constexpr Field number{"enip.cip_sequence", "CIP sequence number", Wire::le16};
constexpr Field capability{"enip.capability", "Capabilities", Wire::flags, capabilities};
constexpr Field serviceName{"enip.service", "Service name", Wire::text};
constexpr Field family{"enip.family", "Address family", Wire::u16};
constexpr Field port{"enip.port", "Port", Wire::u16};
constexpr Field address{"enip.address", "Address", Wire::ipv4};
constexpr Field zeros{"enip.zeros", "Zeros", Wire::bytes};
constexpr Field vendor{"enip.vendor", "Vendor", Wire::le16, vendors};
constexpr Field deviceType{"enip.device_type", "Device type", Wire::le16, deviceTypes};
constexpr Field productCode{"enip.product_code", "Product code", Wire::le16};
constexpr Field major{"enip.major", "Major revision", Wire::u8};
constexpr Field minor{"enip.minor", "Minor revision", Wire::u8};
constexpr Field deviceStatus{"enip.device_status", "Device status", Wire::leHex16};
constexpr Field serial{"enip.serial", "Serial number", Wire::leHex32};
constexpr Field nameLength{"enip.name_length", "Name length", Wire::u8};
constexpr Field productName{"enip.product", "Product name", Wire::text};
constexpr Field state{"enip.state", "State", Wire::u8};
constexpr Field data{"enip.data", "Data", Wire::bytes};

constexpr std::uint16_t explicitPort = 44818, ioPort = 2222;
constexpr std::size_t headerSize = 24;

void readSocket(Layer& enip)
{
    enip.read(family, port, address);
    enip.readBytes(zeros, 8);
}

void readIdentity(Layer& enip)
{
    enip.read(version);
    readSocket(enip);
    enip.read(vendor, deviceType, productCode, major, minor, deviceStatus, serial);
    enip.readText(productName, enip.read(nameLength));
    enip.read(state);
}

void readServices(Layer& enip)
{
    enip.read(version);
    if (enip.more(2)) {
        enip.add(capability, load::le16(enip.rest().data()), enip.offset(), 2);
        enip.skip(2);
    }
    const auto name = asText(enip.rest());
    const auto size = std::min(name.find('\0'), name.size());
    enip.readText(serviceName, size);
    enip.skip(enip.left());
}

/// The line of the packet list begins with the first message; those that follow are told behind it.
void handOn(Layer& enip)
{
    if (enip.frame().pendingCount)
        enip.embed(cip::protocol);
    else
        enip.handOver(cip::protocol);
}

/// Over UDP the connected data are a device's inputs and outputs, not messages.
void readConnected(Layer& enip, bool isIo)
{
    enip.read(number);
    if (!isIo && enip.more())
        handOn(enip);
}

void readItem(Layer& enip, bool isIo)
{
    const Layer::Group group(enip, item, enip.left() > 1 ? load::le16(enip.rest().data()) : 0u);
    const auto kind = enip.read(itemType);
    const Layer::Window content(enip, enip.read(itemLength));
    if (!enip.more())
        return;
    switch (kind) {
    case identityItem: readIdentity(enip); break;
    case connectedAddress: enip.read(connection); break;
    case connectedData: readConnected(enip, isIo); break;
    case unconnectedData: handOn(enip); break;
    case servicesItem: readServices(enip); break;
    case socketToTarget:
    case socketToOriginator: readSocket(enip); break;
    case sequencedAddress: enip.read(connection, encapsulated); break;
    default: break;
    }
    if (enip.more())
        enip.readRest(data);
}

void readItems(Layer& enip, bool isIo)
{
    const auto count = enip.read(itemCount);
    for (std::uint64_t i = 0; i < count && enip.more(); ++i)
        readItem(enip, isIo);
}

void readMessage(Layer& enip)
{
    const auto what = enip.read(command), size = enip.read(length);
    enip.read(session, status);
    enip.readBytes(context, 8);
    enip.read(options);
    const Layer::Window body(enip, size);
    if (!enip.more())
        return;
    switch (what) {
    case 0x04:
    case 0x63:
    case 0x64: readItems(enip, false); break;
    case 0x65: enip.read(version, flags); break;
    case 0x6f:
    case 0x70:
        enip.read(interfaceHandle, timeout);
        readItems(enip, false);
        break;
    default: break;
    }
    if (enip.more())
        enip.readRest(data);
}

bool isCommand(std::uint8_t low, std::uint8_t high)
{
    return high == 0 && !nameIn(commands, low).empty();
}

/// Whether a list of items that are known may begin so.
bool isItems(Bytes bytes)
{
    return bytes.size() < 4 || (load::le16(bytes.data()) <= 8 && !nameIn(items, load::le16(&bytes[2])).empty());
}

void decode(Layer& enip)
{
    const auto& summary = enip.summary();
    if (summary.transport == Transport::udp && (summary.destinationPort == ioPort || summary.sourcePort == ioPort))
        return isItems(enip.rest()) ? readItems(enip, true) : static_cast<void>(enip.readRest(data));
    while (enip.more()) {
        if (!isCommand(enip.peek8(), enip.peek8(1)))
            return static_cast<void>(enip.readRest(data));
        enip.beginMessage();
        const Layer::Group group(enip, message, enip.peek8());
        if (summary.destinationPort == explicitPort)
            enip.add(direction, 1);
        else if (summary.sourcePort == explicitPort)
            enip.add(direction, 2);
        readMessage(enip);
    }
}

void describe(const LayerView& enip, TextSink& out)
{
    const auto what = enip[command];
    if (!what) {
        if (const auto where = enip[connection])
            return out("I/O data, connection {}, number {}, {} bytes", where, enip[encapsulated],
                       enip[data] ? enip[data].node()->length : 0);
        return out("Data, {} bytes", enip.bytes().size());
    }
    std::size_t told = 0;
    enip.each(command, [&](const Value& entry) {
        if (++told <= 4)
            out("{}{}", told > 1 ? ", " : "", entry);
    });
    if (told > 4)
        out(" and {} more", told - 4);
    if (const auto way = enip[direction])
        out(" {}", way);
    if (const auto why = enip[status]; why.number())
        out(": {}", why);
    if (const auto name = enip[productName])
        out(", {}", name);
    else if (const auto service = enip[serviceName])
        out(", {}", service);
    if (const auto id = enip[session]; id.number()) {
        out(", session 0x");
        out.putHex(id.number(), 8);
    }
}

/// A known command, but for the low ones, with which others begin too, whose length is that of the payload, of a known
/// status and without options, which nobody uses.
Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp && transport != Transport::udp)
        return Likeness::none;
    if (payload.size() < headerSize || payload[0] < 0x63 || !isCommand(payload[0], payload[1])
        || load::le32(&payload[20]) != 0 || nameIn(states, load::le32(&payload[8])).empty())
        return Likeness::none;
    return load::le16(&payload[2]) == payload.size() - headerSize ? Likeness::likely : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(explicitPort), udpPort(explicitPort), udpPort(ioPort)};
} // namespace

constexpr Protocol protocol{{"enip", "EtherNet/IP", Wire::layer},
                            {},
                            claims,
                            decode,
                            describe,
                            guess,
                            opensWith({Transport::tcp, Transport::udp}, 0x63, 0x73)};
static_assert(wellFormed(protocol));
} // namespace netrondo::enip
