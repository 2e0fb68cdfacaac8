// TACACS+ (RFC 8907).
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::tacacs {
namespace {
constexpr NamedValue types[] = {{1, "Authentication"}, {2, "Authorization"}, {3, "Accounting"}};
constexpr NamedValue actions[] = {{1, "login"}, {2, "change password"}, {4, "send authentication"}};
constexpr NamedValue ways[] = {{1, "ASCII"}, {2, "PAP"}, {3, "CHAP"}, {5, "MS-CHAP"}, {6, "MS-CHAPv2"}};
constexpr NamedValue services[] = {{0, "none"}, {1, "login"}, {2, "enable"}, {3, "PPP"},     {5, "password change"},
                                   {6, "RCMD"}, {7, "X.25"},  {8, "NASI"},   {9, "firewall"}};
constexpr NamedValue authenticationStatuses[] = {{1, "pass"},         {2, "fail"},    {3, "get data"}, {4, "get user"},
                                                 {5, "get password"}, {6, "restart"}, {7, "error"},    {33, "follow"}};
constexpr NamedValue authorizationStatuses[] = {
    {1, "pass, add"}, {2, "pass, replace"}, {16, "fail"}, {17, "error"}, {33, "follow"}};
constexpr NamedValue accountingStatuses[] = {{1, "success"}, {2, "error"}, {33, "follow"}};

constexpr Field message{"tacacs.message", "Message", Wire::number, types};
constexpr Field version{"tacacs.version", "Version", Wire::hex8};
constexpr Field major{"tacacs.major", "Major version", Wire::bits, {}, 0xf0};
constexpr Field minor{"tacacs.minor", "Minor version", Wire::bits, {}, 0x0f};
constexpr Field type{"tacacs.type", "Type", Wire::u8, types};
constexpr Field sequence{"tacacs.seq", "Sequence number", Wire::u8};
constexpr Field flags{"tacacs.flags", "Flags", Wire::hex8};
constexpr Field unencrypted{"tacacs.unencrypted", "Unencrypted", Wire::bit, {}, 0x01};
constexpr Field single{"tacacs.single_connect", "Single connection", Wire::bit, {}, 0x04};
constexpr Field session{"tacacs.session", "Session", Wire::hex32};
constexpr Field length{"tacacs.length", "Body length", Wire::u32};
constexpr Field encrypted{"tacacs.encrypted", "Encrypted body", Wire::bytes};

constexpr Field action{"tacacs.action", "Action", Wire::u8, actions};
constexpr Field accountingFlags{"tacacs.accounting_flags", "Accounting flags", Wire::hex8};
constexpr Field start{"tacacs.start", "Start", Wire::bit, {}, 0x02};
constexpr Field stop{"tacacs.stop", "Stop", Wire::bit, {}, 0x04};
constexpr Field watchdog{"tacacs.watchdog", "Watchdog", Wire::bit, {}, 0x08};
constexpr Field privilege{"tacacs.privilege", "Privilege level", Wire::u8};
constexpr Field method{"tacacs.method", "Authentication method", Wire::hex8};
constexpr Field way{"tacacs.authentication", "Authentication type", Wire::u8, ways};
constexpr Field service{"tacacs.service", "Service", Wire::u8, services};
constexpr Field length8{"tacacs.len8", "Length", Wire::u8};
constexpr Field length16{"tacacs.len16", "Length", Wire::u16};
constexpr Field count{"tacacs.arguments", "Arguments", Wire::u8};
constexpr Field user{"tacacs.user", "User", Wire::text};
constexpr Field port{"tacacs.port", "Port", Wire::text};
constexpr Field remote{"tacacs.remote", "Remote address", Wire::text};
constexpr Field argument{"tacacs.argument", "Argument", Wire::text};
constexpr Field status{"tacacs.authentication_status", "Status", Wire::u8, authenticationStatuses};
constexpr Field authorization{"tacacs.authorization_status", "Status", Wire::u8, authorizationStatuses};
constexpr Field accounting{"tacacs.accounting_status", "Status", Wire::u8, accountingStatuses};
constexpr Field replyFlags{"tacacs.reply_flags", "Flags", Wire::hex8};
constexpr Field serverMessage{"tacacs.server_message", "Server message", Wire::text};
constexpr Field userMessage{"tacacs.user_message", "User message", Wire::bytes};
constexpr Field data{"tacacs.data", "Data", Wire::bytes};

void readText(Layer& tacacs, const Field& field, std::uint64_t size)
{
    if (size)
        tacacs.readText(field, size);
}

void readData(Layer& tacacs, const Field& field, std::uint64_t size)
{
    if (size)
        tacacs.readBytes(field, size);
}

/// The lengths of the arguments stand before all of them.
struct Lengths {
    std::uint64_t count = 0;
    std::array<std::uint8_t, 255> sizes{};
};

Lengths readLengths(Layer& tacacs, std::uint64_t number)
{
    Lengths lengths;
    while (lengths.count < number && tacacs.more())
        lengths.sizes[lengths.count++] = static_cast<std::uint8_t>(tacacs.read(length8));
    return lengths;
}

void readArguments(Layer& tacacs, const Lengths& lengths)
{
    for (std::uint64_t i = 0; i < lengths.count && tacacs.more(); ++i)
        readText(tacacs, argument, lengths.sizes[i]);
}

void readStart(Layer& tacacs)
{
    tacacs.read(action, privilege, way, service);
    const auto userSize = tacacs.read(length8);
    const auto portSize = tacacs.read(length8);
    const auto remoteSize = tacacs.read(length8);
    const auto dataSize = tacacs.read(length8);
    readText(tacacs, user, userSize);
    readText(tacacs, port, portSize);
    readText(tacacs, remote, remoteSize);
    readData(tacacs, data, dataSize);
}

/// A request for authorization or accounting; the latter's flags have been read.
void readRequest(Layer& tacacs)
{
    tacacs.read(method, privilege, way, service);
    const auto userSize = tacacs.read(length8);
    const auto portSize = tacacs.read(length8);
    const auto remoteSize = tacacs.read(length8);
    const auto lengths = readLengths(tacacs, tacacs.read(count));
    readText(tacacs, user, userSize);
    readText(tacacs, port, portSize);
    readText(tacacs, remote, remoteSize);
    readArguments(tacacs, lengths);
}

void readAuthentication(Layer& tacacs, std::uint64_t number)
{
    if (number == 1)
        return readStart(tacacs);
    const bool isReply = number % 2 == 0;
    if (isReply)
        tacacs.read(status, replyFlags);
    const auto textSize = tacacs.read(length16);
    const auto dataSize = tacacs.read(length16);
    if (!isReply) {
        tacacs.read(replyFlags);
        readData(tacacs, userMessage, textSize);
    } else
        readText(tacacs, serverMessage, textSize);
    readData(tacacs, data, dataSize);
}

void readAuthorization(Layer& tacacs, std::uint64_t number)
{
    if (number % 2 == 1)
        return readRequest(tacacs);
    tacacs.read(authorization);
    const auto arguments = tacacs.read(count);
    const auto textSize = tacacs.read(length16);
    const auto dataSize = tacacs.read(length16);
    const auto lengths = readLengths(tacacs, arguments);
    readText(tacacs, serverMessage, textSize);
    readData(tacacs, data, dataSize);
    readArguments(tacacs, lengths);
}

void readAccounting(Layer& tacacs, std::uint64_t number)
{
    if (number % 2 == 1) {
        tacacs.readParts(accountingFlags, start, stop, watchdog);
        return readRequest(tacacs);
    }
    const auto textSize = tacacs.read(length16);
    const auto dataSize = tacacs.read(length16);
    tacacs.read(accounting);
    readText(tacacs, serverMessage, textSize);
    readData(tacacs, data, dataSize);
}

void readBody(Layer& tacacs, std::uint64_t kind, std::uint64_t number)
{
    switch (kind) {
    case 1: readAuthentication(tacacs, number); break;
    case 2: readAuthorization(tacacs, number); break;
    default: readAccounting(tacacs, number);
    }
    if (tacacs.more())
        tacacs.readRest(data);
}

void decode(Layer& tacacs)
{
    while (tacacs.more()) {
        if (tacacs.peek8() >> 4 != 0xc || (tacacs.left() > 1 && nameIn(types, tacacs.peek8(1)).empty())) {
            tacacs.readRest(data);
            return;
        }
        tacacs.beginMessage();
        const Layer::Group group(tacacs, message, tacacs.peek8(1));
        tacacs.readParts(version, major, minor);
        const auto kind = tacacs.read(type);
        const auto number = tacacs.read(sequence);
        const auto bits = tacacs.readParts(flags, unencrypted, single);
        tacacs.read(session);
        const auto size = tacacs.read(length);
        tacacs.expect(size);
        const Layer::Window body(tacacs, size);
        if (bits & 1)
            readBody(tacacs, kind, number);
        else if (tacacs.more())
            tacacs.readRest(encrypted);
    }
}

void describe(const LayerView& tacacs, TextSink& out)
{
    const auto number = tacacs[sequence];
    if (!number)
        return out("Data, {} bytes", tacacs.bytes().size());
    out("{} {}", tacacs[type], number.number() % 2 ? "request" : "reply");
    for (const auto* field : {&action, &status, &authorization, &accounting}) {
        if (const auto what = tacacs[*field])
            out(": {}", what);
    }
    if (tacacs[start] == 1)
        out(": start");
    if (tacacs[stop] == 1)
        out(": stop");
    if (const auto who = tacacs[user])
        out(", user “{}”", who);
    if (const auto text = tacacs[serverMessage])
        out(" “{}”", text);
    if (tacacs.has(encrypted))
        out(", encrypted");
    out(", session {}", tacacs[session]);
}

/// The length of the body belongs to the look: two bytes are easily met.
Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp || payload.size() < 12 || payload[0] >> 4 != 0xc || (payload[0] & 0xf) > 1)
        return Likeness::none;
    const bool known = !nameIn(types, payload[1]).empty() && payload[2] != 0 && (payload[3] & ~0x05u) == 0;
    return known && load::be32(payload.data() + 8) == payload.size() - 12 ? Likeness::likely : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(49)};
} // namespace

constexpr Protocol protocol{{"tacacs", "TACACS+", Wire::layer},     {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, 0xc0, 0xc1)};
static_assert(wellFormed(protocol));
} // namespace netrondo::tacacs
