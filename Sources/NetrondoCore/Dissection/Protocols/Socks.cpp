// SOCKS version 5 (RFC 1928, passwords RFC 1929) and version 4 with names (4a).
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::socks {
namespace {
constexpr NamedValue messages[] = {{0, "Greeting"}, {1, "Method"}, {2, "Password"}, {3, "Login"},
                                   {4, "Request"},  {5, "Reply"},  {6, "Request"},  {7, "Reply"}};
enum Message : std::uint8_t { greeting, choice, password, login, request, reply, request4, reply4, relayed };

constexpr NamedValue methods[] = {{0, "no authentication"},
                                  {1, "GSSAPI"},
                                  {2, "user name and password"},
                                  {3, "CHAP"},
                                  {5, "CRAM"},
                                  {6, "TLS"},
                                  {8, "multiple factors"},
                                  {255, "no method accepted"}};
constexpr NamedValue commands[] = {{1, "Connect"}, {2, "Bind"}, {3, "UDP associate"}};
constexpr NamedValue replies[] = {
    {0, "succeeded"},           {1, "server failure"},        {2, "not allowed"},
    {3, "network unreachable"}, {4, "host unreachable"},      {5, "connection refused"},
    {6, "TTL expired"},         {7, "command not supported"}, {8, "address type not supported"}};
constexpr NamedValue replies4[] = {{90, "granted"},
                                   {91, "rejected or failed"},
                                   {92, "client’s identd not reachable"},
                                   {93, "user not confirmed by identd"}};
constexpr NamedValue addressTypes[] = {{1, "IPv4"}, {3, "name"}, {4, "IPv6"}};
constexpr NamedValue outcomes[] = {{0, "accepted"}};

constexpr Field message{"socks.message", "Message", Wire::number, messages};
constexpr Field version{"socks.version", "Version", Wire::u8};
constexpr Field methodCount{"socks.method_count", "Methods", Wire::u8};
constexpr Field offered{"socks.offered", "Offered method", Wire::u8, methods};
constexpr Field method{"socks.method", "Method", Wire::u8, methods};
constexpr Field textLength{"socks.text_len", "Length", Wire::u8};
constexpr Field user{"socks.user", "User", Wire::text};
constexpr Field secret{"socks.password", "Password", Wire::text};
constexpr Field outcome{"socks.status", "Status", Wire::u8, outcomes};
constexpr Field command{"socks.command", "Command", Wire::u8, commands};
constexpr Field result{"socks.reply", "Reply", Wire::u8, replies};
constexpr Field result4{"socks.reply4", "Reply", Wire::u8, replies4};
constexpr Field reserved{"socks.reserved", "Reserved", Wire::u8};
constexpr Field addressType{"socks.address_type", "Address type", Wire::u8, addressTypes};
constexpr Field address{"socks.address", "Address", Wire::ipv4};
constexpr Field address6{"socks.address6", "Address", Wire::ipv6};
constexpr Field name{"socks.name", "Name", Wire::text};
constexpr Field port{"socks.port", "Port", Wire::u16};
constexpr Field data{"socks.data", "Relayed data", Wire::bytes};

constexpr std::uint16_t ports[] = {1080, 9050};

/// Whether the bytes are those of a request or reply of version 5: its third byte is none, its fourth a known type.
bool hasAddress(const Layer& socks)
{
    return socks.peek8(2) == 0 && !nameIn(addressTypes, socks.peek8(3)).empty();
}

/// Once the proxy has said yes, a connection carries anything: only what has a message's shape is one.
Message kindOf(const Layer& socks, bool fromClient)
{
    const auto first = socks.peek8();
    const std::size_t second = socks.peek8(1);
    const auto size = socks.leftOnWire();
    if (!fromClient) {
        if (first == 0 && size == 8 && !nameIn(replies4, second).empty())
            return reply4;
        if (first == 5 && size >= 10 && !nameIn(replies, second).empty() && hasAddress(socks))
            return reply;
        if (size != 2)
            return relayed;
        return first == 5 ? choice : first == 1 ? login : relayed;
    }
    if (first == 4 && size >= 9 && (second == 1 || second == 2))
        return request4;
    if (first == 5 && second != 0 && size == 2 + second)
        return greeting;
    if (first == 5 && size >= 8 && !nameIn(commands, second).empty() && hasAddress(socks))
        return request;
    return first == 1 && second != 0 && size >= 4 && size == 3 + second + socks.peek8(2 + second) ? password : relayed;
}

void readAddress(Layer& socks)
{
    switch (socks.read(addressType)) {
    case 1: socks.read(address); break;
    case 3: socks.readText(name, socks.read(textLength)); break;
    case 4: socks.readBytes(address6, 16); break;
    default: break;
    }
    socks.read(port);
}

void readRequest4(Layer& socks)
{
    socks.read(version, command, port);
    const auto host = socks.read(address);
    socks.readZeroText(user);
    if (host != 0 && host < 0x100) // 0.0.0.x: the proxy is to look the name up
        socks.readZeroText(name);
}

void decode(Layer& socks)
{
    const auto& summary = socks.summary();
    const bool fromClient = summary.destinationPort == ports[0] || summary.destinationPort == ports[1];
    const auto kind = kindOf(socks, fromClient);
    if (kind != relayed) {
        socks.beginMessage();
        const Layer::Group group(socks, message, kind);
        switch (kind) {
        case greeting:
            socks.read(version);
            for (auto count = socks.read(methodCount); count && socks.more(); --count)
                socks.read(offered);
            break;
        case choice: socks.read(version, method); break;
        case password:
            socks.read(version);
            socks.readText(user, socks.read(textLength));
            socks.readText(secret, socks.read(textLength));
            break;
        case login: socks.read(version, outcome); break;
        case request:
            socks.read(version, command, reserved);
            readAddress(socks);
            break;
        case reply:
            socks.read(version, result, reserved);
            readAddress(socks);
            break;
        case request4: readRequest4(socks); break;
        default: socks.read(version, result4, port, address);
        }
    }
    if (socks.more())
        socks.readRest(data);
}

void describe(const LayerView& socks, TextSink& out)
{
    const auto kind = socks[message];
    if (!kind)
        return out("Relayed data, {} bytes", socks.bytes().size());
    out("SOCKS{} {}", kind.number() == request4 || kind.number() == reply4 ? 4 : 5, kind);
    bool isFirst = true;
    socks.each(offered, [&](const Value& way) {
        out("{}{}", isFirst ? ": " : ", ", way);
        isFirst = false;
    });
    for (const auto* field : {&method, &result, &result4}) {
        if (const auto answer = socks[*field])
            out(": {}", answer);
    }
    if (const auto status = socks[outcome]) {
        if (status == 0)
            out(": {}", status);
        else
            out(": refused ({})", status);
    }
    if (kind.number() == password)
        return out(": user “{}”", socks[user]);
    const auto what = socks[command];
    if (!what)
        return;
    out(": {}", what);
    if (const auto number = socks[port]) {
        const auto host = socks[name];
        const auto host6 = socks[address6];
        if (host6)
            out(" [{}]:{}", host6, number);
        else
            out(" {}:{}", host ? host : socks[address], number);
    }
    if (const auto who = socks[user]; who && !who.text().empty())
        out(", user “{}”", who);
}

/// A request of version 5 or its reply with nothing behind it; what else there is could be anybody's.
Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp || payload.size() < 10 || payload[0] != 5 || payload[2] != 0)
        return Likeness::none;
    const std::size_t nameSize = payload[3] == 3 ? payload[4] + 1u : 0;
    const auto size = payload[3] == 1 ? 10 : payload[3] == 4 ? 22 : payload[3] == 3 ? 6 + nameSize : 0;
    return payload[1] <= 8 && payload.size() == size ? Likeness::likely : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(ports[0]), tcpPort(ports[1])};
} // namespace

constexpr Protocol protocol{{"socks", "SOCKS", Wire::layer}, {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, 5)};
static_assert(wellFormed(protocol));
} // namespace netrondo::socks
