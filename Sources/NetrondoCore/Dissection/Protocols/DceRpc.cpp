// DCE remote procedure calls (C706, MS-RPCE): version 5 as Windows services speak it over TCP and over SMB's pipes, and
// version 4, which is the one over UDP.
#include "Dissection/Protocols/Ntlm.h"
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace netrondo::dcerpc {
namespace {
constexpr NamedValue types[] = {
    {0, "Request"},           {2, "Response"},      {3, "Fault"},          {11, "Bind"},
    {12, "Bind acknowledge"}, {13, "Bind refused"}, {14, "Alter context"}, {15, "Alter context response"},
    {16, "Authentication"},   {17, "Shutdown"},     {18, "Cancel"},        {19, "Orphaned"}};
constexpr NamedValue flagNames[] = {{0x01, "first"},       {0x02, "last"},         {0x04, "cancel pending"},
                                    {0x10, "multiplexes"}, {0x20, "not executed"}, {0x40, "maybe"},
                                    {0x80, "object"}};
constexpr NamedValue results[] = {
    {0, "accepted"}, {1, "refused by user"}, {2, "refused by provider"}, {3, "negotiated"}};
constexpr NamedValue authentications[] = {{9, "SPNEGO"}, {10, "NTLM"}, {14, "TLS"}, {16, "Kerberos"}, {68, "NETLOGON"}};
constexpr NamedValue faults[] = {{0x00000005, "access denied"},          {0x1c010002, "operation out of range"},
                                 {0x1c010003, "unknown interface"},      {0x1c010014, "server too busy"},
                                 {0x1c00001a, "context mismatch"},       {0x000006f7, "bad stub data"},
                                 {0x1c000009, "null reference pointer"}, {0x1c00001b, "remote no memory"}};

constexpr Field version{"dcerpc.version", "Version", Wire::u8};
constexpr Field minor{"dcerpc.minor", "Minor version", Wire::u8};
constexpr Field type{"dcerpc.type", "Packet type", Wire::u8, types};
constexpr Field flags{"dcerpc.flags", "Flags", Wire::flags8, flagNames};
constexpr Field representation{"dcerpc.representation", "Data representation", Wire::hex32};
constexpr Field length{"dcerpc.len", "Fragment length", Wire::le16};
constexpr Field authLength{"dcerpc.auth_len", "Authentication length", Wire::le16};
constexpr Field call{"dcerpc.call", "Call ID", Wire::le32};
constexpr Field maxSent{"dcerpc.max_sent", "Largest fragment sent", Wire::le16};
constexpr Field maxReceived{"dcerpc.max_received", "Largest fragment received", Wire::le16};
constexpr Field association{"dcerpc.association", "Association group", Wire::leHex32};
constexpr Field contextCount{"dcerpc.contexts", "Number of contexts", Wire::u8};
constexpr Field context{"dcerpc.context", "Context", Wire::number};
constexpr Field contextId{"dcerpc.context_id", "Context ID", Wire::le16};
constexpr Field syntaxCount{"dcerpc.syntaxes", "Number of transfer syntaxes", Wire::u8};
constexpr Field interface {
    "dcerpc.interface", "Interface", Wire::guid
};
constexpr Field interfaceName{"dcerpc.interface_name", "Interface’s name", Wire::madeText};
constexpr Field interfaceVersion{"dcerpc.interface_version", "Interface version", Wire::le32};
constexpr Field syntax{"dcerpc.syntax", "Transfer syntax", Wire::guid};
constexpr Field syntaxVersion{"dcerpc.syntax_version", "Syntax version", Wire::le32};
constexpr Field addressLength{"dcerpc.address_len", "Secondary address length", Wire::le16};
constexpr Field address{"dcerpc.address", "Secondary address", Wire::text};
constexpr Field result{"dcerpc.result", "Result", Wire::le16, results};
constexpr Field reason{"dcerpc.reason", "Reason", Wire::le16};
constexpr Field allocation{"dcerpc.allocation", "Allocation hint", Wire::le32};
constexpr Field operation{"dcerpc.operation", "Operation number", Wire::le16};
constexpr Field object{"dcerpc.object", "Object", Wire::guid};
constexpr Field cancels{"dcerpc.cancels", "Cancel count", Wire::u8};
constexpr Field status{"dcerpc.status", "Fault", Wire::leHex32, faults};
constexpr Field stub{"dcerpc.stub", "Arguments or results", Wire::bytes};
constexpr Field authType{"dcerpc.auth_type", "Authentication", Wire::u8, authentications};
constexpr Field authLevel{"dcerpc.auth_level", "Authentication level", Wire::u8};
constexpr Field authPadding{"dcerpc.auth_padding", "Padding before it", Wire::u8};
constexpr Field authContext{"dcerpc.auth_context", "Authentication context", Wire::leHex32};
constexpr Field authData{"dcerpc.auth", "Credentials", Wire::bytes};
constexpr Field continuation{"dcerpc.continuation", "Continuation of a message", Wire::bytes};

constexpr NamedValue datagramTypes[] = {{0, "Request"},
                                        {1, "Ping"},
                                        {2, "Response"},
                                        {3, "Fault"},
                                        {4, "Working"},
                                        {5, "No call"},
                                        {6, "Refused"},
                                        {7, "Acknowledgment"},
                                        {8, "Cancel"},
                                        {9, "Fragment acknowledgment"},
                                        {10, "Cancel acknowledgment"}};
constexpr NamedValue datagramFlagNames[] = {
    {0x02, "last fragment"}, {0x04, "fragment"},   {0x08, "no fragment acknowledgment"},
    {0x10, "maybe"},         {0x20, "idempotent"}, {0x40, "broadcast"}};
constexpr Field datagramType{"dcerpc.type", "Packet type", Wire::u8, datagramTypes};
constexpr Field datagramFlags{"dcerpc.flags", "Flags", Wire::flags8, datagramFlagNames};
constexpr Field datagramFlags2{"dcerpc.flags2", "More flags", Wire::hex8};
constexpr Field representation24{"dcerpc.representation", "Data representation", Wire::hex24};
constexpr Field serialHigh{"dcerpc.serial_high", "Serial number, high", Wire::u8};
constexpr Field serialLow{"dcerpc.serial_low", "Serial number, low", Wire::u8};
constexpr Field activity{"dcerpc.activity", "Activity", Wire::guid};
constexpr Field boot{"dcerpc.boot", "Server booted", Wire::leHex32};
constexpr Field sequence{"dcerpc.seq", "Sequence number", Wire::le32};
constexpr Field interfaceHint{"dcerpc.interface_hint", "Interface hint", Wire::leHex16};
constexpr Field activityHint{"dcerpc.activity_hint", "Activity hint", Wire::leHex16};
constexpr Field bodyLength{"dcerpc.body_len", "Body length", Wire::le16};
constexpr Field fragment{"dcerpc.fragment", "Fragment number", Wire::le16};
constexpr Field authProtocol{"dcerpc.auth_proto", "Authentication protocol", Wire::u8};

constexpr std::size_t headerLength = 16, datagramHeaderLength = 80;

/// An interface's UUID in two words: its first three parts as numbers, the rest as it stands.
struct Interface {
    std::uint64_t high, low;
    std::string_view name;
};
constexpr Interface interfaces[] = {{0xe1af83085d1f11c9, 0x91a408002b14a0fa, "EPM"},
                                    {0x123457781234abcd, 0xef000123456789ac, "SAMR"},
                                    {0x123457781234abcd, 0xef000123456789ab, "LSARPC"},
                                    {0x123456781234abcd, 0xef0001234567cffb, "NETLOGON"},
                                    {0x123456781234abcd, 0xef000123456789ab, "SPOOLSS"},
                                    {0x4b324fc8167001d3, 0x12785a47bf6ee188, "SRVSVC"},
                                    {0x6bffd098a1123610, 0x983346c3f87e345a, "WKSSVC"},
                                    {0x338cd001224431f1, 0xaaaa900038001003, "WINREG"},
                                    {0x367abb81984435f1, 0xad3298f038001003, "SVCCTL"},
                                    {0x1ff706820a5130e8, 0x076d740be8cee98b, "ATSVC"},
                                    {0xe35142354b0611d1, 0xab0400c04fc2dcd2, "DRSUAPI"},
                                    {0x99fcfec45260101b, 0xbbcb00aa0021347a, "IOXIDResolver"},
                                    {0x000001a000000000, 0xc000000000000046, "ISystemActivator"},
                                    {0x0000014300000000, 0xc000000000000046, "IRemUnknown2"},
                                    {0x82273fdce32a18c3, 0x3f78827929dc23ea, "EVENTLOG"},
                                    {0x86d3594983c94044, 0xb424db363231fd0c, "ITaskSchedulerService"},
                                    {0x5a7b91f8ff0011d0, 0xa9b200c04fb6e6fc, "Messenger"}};

std::string_view nameOf(Bytes uuid)
{
    if (uuid.size() < 16)
        return {};
    const auto high =
        std::uint64_t{load::le32(&uuid[0])} << 32 | std::uint64_t{load::le16(&uuid[4])} << 16 | load::le16(&uuid[6]);
    const auto low = load::be64(&uuid[8]);
    for (const auto& entry : interfaces) {
        if (entry.high == high && entry.low == low)
            return entry.name;
    }
    return {};
}

/// Which context of a connection stands for which interface: calls name the context only.
struct Contexts : ProtocolMemory {
    struct Entry {
        std::uint16_t id = 0;
        bool isBound = false;
        std::array<std::uint8_t, 16> uuid{};
    };
    std::array<Entry, 16> entries;
    std::size_t next = 0;
};

Contexts* contextsOf(Layer& rpc)
{
    return rpc.memory<Contexts>(Transport::tcp, Layer::Ways::both);
}

void addInterfaceName(Layer& rpc, Bytes uuid)
{
    if (const auto name = nameOf(uuid); !name.empty())
        rpc.addText(interfaceName, name, 0, 0);
}

void readContext(Layer& rpc)
{
    Layer::Group group(rpc, context);
    const auto id = static_cast<std::uint16_t>(rpc.read(contextId));
    group.setNumber(id);
    const auto count = rpc.read(syntaxCount);
    rpc.skip(1);
    const auto uuid = rpc.rest().first(std::min<std::size_t>(rpc.left(), 16));
    rpc.read(interface);
    if (rpc.stopped())
        return;
    addInterfaceName(rpc, uuid);
    rpc.read(interfaceVersion);
    if (auto* const contexts = contextsOf(rpc)) {
        auto& entry = contexts->entries[contexts->next++ % contexts->entries.size()];
        entry.id = id;
        entry.isBound = true;
        std::ranges::copy(uuid, entry.uuid.begin());
    }
    for (std::uint64_t i = 0; i < count && rpc.more(); ++i)
        rpc.read(syntax, syntaxVersion);
}

void readBind(Layer& rpc)
{
    rpc.read(maxSent, maxReceived, association);
    const auto count = rpc.read(contextCount);
    rpc.skip(3);
    for (std::uint64_t i = 0; i < count && rpc.more(); ++i)
        readContext(rpc);
}

void readBindAnswer(Layer& rpc)
{
    rpc.read(maxSent, maxReceived, association);
    const auto size = rpc.read(addressLength);
    if (size)
        rpc.readText(address, size);
    const auto odd = (rpc.offset() - rpc.begin()) % 4;
    if (odd)
        rpc.skip(4 - odd);
    const auto count = rpc.read(contextCount);
    rpc.skip(3);
    for (std::uint64_t i = 0; i < count && rpc.more(); ++i) {
        const Layer::Group group(rpc, context, i);
        rpc.read(result, reason, syntax, syntaxVersion);
    }
}

/// Says whose operation a call is about, by the bind that came before.
void sayInterface(Layer& rpc, std::uint64_t id)
{
    std::array<std::uint8_t, 16> uuid{};
    if (const auto kept = rpc.kept(); kept && kept->size() == uuid.size()) {
        std::ranges::copy(*kept, uuid.begin());
    } else if (const auto* const contexts = contextsOf(rpc)) {
        for (const auto& entry : contexts->entries) {
            if (entry.isBound && entry.id == id)
                uuid = entry.uuid;
        }
    }
    rpc.keep(uuid);
    addInterfaceName(rpc, uuid);
}

/// The stub, and behind it the credentials of `size` bytes with their header.
void readStub(Layer& rpc, std::uint64_t size)
{
    constexpr std::size_t authHeader = 8;
    const auto behind = size ? size + authHeader : 0;
    const auto whole = rpc.leftOnWire() > behind ? rpc.leftOnWire() - behind : 0;
    if (whole && rpc.left())
        rpc.readBytes(stub, std::min<std::size_t>(whole, rpc.left()));
}

void readBody(Layer& rpc, std::uint64_t kind, std::uint64_t bits, std::uint64_t credentials)
{
    switch (kind) {
    case 0: {
        rpc.read(allocation);
        const auto id = rpc.read(contextId);
        rpc.read(operation);
        sayInterface(rpc, id);
        if (bits & 0x80)
            rpc.read(object);
        return readStub(rpc, credentials);
    }
    case 2:
    case 3: {
        rpc.read(allocation);
        const auto id = rpc.read(contextId);
        rpc.read(cancels);
        rpc.skip(1);
        sayInterface(rpc, id);
        if (kind == 3) {
            rpc.read(status);
            rpc.skip(4);
        }
        return readStub(rpc, credentials);
    }
    case 11:
    case 14: return readBind(rpc);
    case 12:
    case 15: return readBindAnswer(rpc);
    case 13: return static_cast<void>(rpc.read(reason));
    default: return;
    }
}

void readCredentials(Layer& rpc, std::uint64_t size)
{
    constexpr std::size_t authHeader = 8;
    if (!size || rpc.stopped() || rpc.left() < size + authHeader)
        return;
    rpc.skip(rpc.left() - size - authHeader);
    rpc.read(authType, authLevel, authPadding);
    rpc.skip(1);
    rpc.read(authContext);
    const auto at = rpc.offset();
    ntlm::read(rpc, rpc.readBytes(authData, size), at);
}

bool looksRight(Bytes bytes)
{
    return bytes.size() >= headerLength && bytes[0] == 5 && bytes[1] <= 1 && !nameIn(types, bytes[2]).empty()
        && (bytes[4] & 0xef) == 0 && load::le16(&bytes[8]) >= headerLength;
}

/// Of version 4, with numbers in the order of Intel machines; the body must be there as it says.
bool isDatagram(Bytes bytes)
{
    return bytes.size() >= datagramHeaderLength && bytes[0] == 4 && bytes[1] <= 10 && (bytes[2] & 0x81) == 0
        && (bytes[3] & 0xfd) == 0 && bytes[4] == 0x10 && bytes[5] == 0 && bytes[6] == 0
        && load::le16(&bytes[74]) <= bytes.size() - datagramHeaderLength;
}

void readDatagram(Layer& rpc)
{
    rpc.read(version);
    const auto kind = rpc.read(datagramType);
    rpc.read(datagramFlags, datagramFlags2, representation24, serialHigh);
    rpc.read(object);
    const auto uuid = rpc.rest().first(std::min<std::size_t>(rpc.left(), 16));
    rpc.read(interface);
    addInterfaceName(rpc, uuid);
    rpc.read(activity, boot, interfaceVersion, sequence);
    rpc.read(operation, interfaceHint, activityHint);
    const auto size = rpc.read(bodyLength);
    rpc.read(fragment, authProtocol, serialLow);
    const Layer::Window body(rpc, std::min<std::size_t>(size, rpc.left()));
    if ((kind == 3 || kind == 6) && rpc.more(4))
        rpc.read(status);
    if (rpc.more())
        rpc.readRest(stub);
}

void decode(Layer& rpc)
{
    if (isDatagram(rpc.rest()))
        return readDatagram(rpc);
    while (rpc.more()) {
        if (!looksRight(rpc.rest())) {
            rpc.readRest(continuation);
            return;
        }
        rpc.beginMessage();
        rpc.rebase();
        rpc.read(version, minor);
        const auto kind = rpc.read(type), bits = rpc.read(flags);
        const auto order = rpc.read(representation);
        if (!(order >> 28)) // numbers the other way round: no implementation in use sends them
            return rpc.handOverData();
        const auto size = rpc.read(length), credentials = rpc.read(authLength);
        rpc.read(call);
        const Layer::Window body(rpc, size - std::min<std::uint64_t>(size, headerLength));
        readBody(rpc, kind, bits, credentials);
        readCredentials(rpc, credentials);
    }
}

void describe(const LayerView& rpc, TextSink& out)
{
    std::size_t count = 0;
    const auto list = [&](const Value& entry) { out("{}{}", count++ ? ", " : "", entry); };
    rpc.each(type, list);
    rpc.each(datagramType, list);
    if (const auto name = rpc[interfaceName])
        out(" {}", name);
    if (const auto number = rpc[operation])
        out(" operation {}", number);
    if (const auto how = rpc[result])
        out(", {}", how);
    if (const auto why = rpc[status])
        out(", {}", why);
    if (const auto number = rpc[call])
        out(", call {}", number);
    ntlm::describe(rpc, out);
    if (const auto rest = rpc[continuation])
        out("{}Continuation, {} bytes", count ? ", " : "", rest.node()->length);
}

Likeness guess(Bytes payload, Transport transport)
{
    if (transport == Transport::udp)
        return isDatagram(payload) ? Likeness::certain : Likeness::none;
    if (transport != Transport::tcp || !looksRight(payload))
        return Likeness::none;
    return load::le16(&payload[8]) <= 0x2000 && payload[4] == 0x10 ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(135)};
} // namespace

constexpr Protocol protocol{{"dcerpc", "DCE/RPC", Wire::layer},
                            {},
                            claims,
                            decode,
                            describe,
                            guess,
                            opensWith({Transport::tcp, Transport::udp}, 4, 5)};
static_assert(wellFormed(protocol));
} // namespace netrondo::dcerpc
