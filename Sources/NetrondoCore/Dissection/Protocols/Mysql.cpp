// MySQL client/server protocol: greeting, login, commands and their results.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::mysql {
namespace {
constexpr NamedValue commands[] = {{0x00, "sleep"},
                                   {0x01, "quit"},
                                   {0x02, "init DB"},
                                   {0x03, "query"},
                                   {0x04, "field list"},
                                   {0x05, "create DB"},
                                   {0x06, "drop DB"},
                                   {0x07, "refresh"},
                                   {0x08, "shutdown"},
                                   {0x09, "statistics"},
                                   {0x0a, "process info"},
                                   {0x0c, "kill"},
                                   {0x0e, "ping"},
                                   {0x11, "change user"},
                                   {0x16, "prepare statement"},
                                   {0x17, "execute statement"},
                                   {0x19, "close statement"},
                                   {0x1a, "reset statement"},
                                   {0x1b, "set option"},
                                   {0x1c, "fetch"}};
constexpr NamedValue responses[] = {{0x00, "OK"}, {0xff, "Error"}, {0xfe, "End of data"}, {0xfb, "Local file request"}};

constexpr Field packet{"mysql.packet", "Packet", Wire::group};
constexpr Field length{"mysql.length", "Packet length", Wire::le32};
constexpr Field sequence{"mysql.seq", "Packet number", Wire::u8};
constexpr Field protocolVersion{"mysql.protocol", "Protocol version", Wire::u8};
constexpr Field serverVersion{"mysql.version", "Server version", Wire::text};
constexpr Field thread{"mysql.thread", "Thread ID", Wire::le32};
constexpr Field capabilities{"mysql.capabilities", "Client capabilities", Wire::leHex32};
constexpr Field maxPacket{"mysql.max_packet", "Maximum packet", Wire::le32};
constexpr Field charset{"mysql.charset", "Character set", Wire::u8};
constexpr Field user{"mysql.user", "User", Wire::text};
constexpr Field command{"mysql.command", "Command", Wire::u8, commands};
constexpr Field statement{"mysql.query", "Statement", Wire::text};
constexpr Field response{"mysql.response", "Response", Wire::hex8, responses};
constexpr Field errorCode{"mysql.error", "Error code", Wire::le16};
constexpr Field errorText{"mysql.error_text", "Error", Wire::text};
constexpr Field data{"mysql.data", "Data", Wire::bytes};

void readGreeting(Layer& mysql)
{
    mysql.read(protocolVersion);
    mysql.readZeroText(serverVersion);
    mysql.read(thread);
}

void readLogin(Layer& mysql)
{
    mysql.read(capabilities, maxPacket, charset);
    mysql.skip(23);
    mysql.readZeroText(user);
}

void readCommand(Layer& mysql)
{
    const auto kind = mysql.read(command);
    if ((kind == 0x02 || kind == 0x03 || kind == 0x16) && mysql.left())
        mysql.readText(statement, mysql.left());
}

void readResponse(Layer& mysql)
{
    const auto kind = mysql.peek8();
    if (kind == 0xff) {
        mysql.read(response, errorCode);
        mysql.readText(errorText, mysql.left());
    } else if (kind == 0x00 || kind == 0xfe) {
        mysql.read(response);
    }
}

/// The length has three bytes; the fourth of the little-endian word is the packet's number.
std::size_t readHeader(Layer& mysql)
{
    const auto size = mysql.left() >= 3 ? load::le16(mysql.rest().data()) | std::size_t{mysql.peek8(2)} << 16 : 0;
    if (mysql.left() < 4)
        return mysql.skip(4), 0;
    mysql.add(length, size, mysql.offset(), 3);
    mysql.skip(3);
    mysql.read(sequence);
    return size;
}

void decode(Layer& mysql)
{
    const bool fromServer = mysql.summary().sourcePort < mysql.summary().destinationPort;
    for (bool first = true; mysql.more(); first = false) {
        const std::uint32_t announced =
            mysql.peek8() | std::uint32_t{mysql.peek8(1)} << 8 | std::uint32_t{mysql.peek8(2)} << 16;
        if (announced < 16 * 1024) // from the middle of a result anything may follow
            mysql.beginMessage();
        const Layer::Group group(mysql, packet);
        const auto number = mysql.peek8(3);
        const auto size = readHeader(mysql);
        const Layer::Window content(mysql, size);
        if (!mysql.more())
            continue;
        if (fromServer && number == 0 && mysql.peek8() == 10)
            readGreeting(mysql);
        else if (fromServer)
            readResponse(mysql);
        else if (number == 0 && first)
            readCommand(mysql);
        else if (number == 1 && mysql.left() > 32)
            readLogin(mysql);
        if (mysql.more())
            mysql.readRest(data);
    }
}

void describe(const LayerView& mysql, TextSink& out)
{
    if (const auto name = mysql[serverVersion])
        out("Server greeting, version {}", name);
    else if (const auto who = mysql[user])
        out("Login request, user “{}”", who);
    else if (const auto what = mysql[command])
        out("Request {}{}{}", what, mysql.has(statement) ? ": " : "", mysql[statement]);
    else if (const auto how = mysql[response])
        out("Response {}", how);
    else
        out("Response");
    if (const auto code = mysql[errorCode])
        out(" {}: {}", code, mysql[errorText]);
}

Likeness guess(Bytes payload, Transport transport)
{
    // A server's greeting: packet 0, protocol 10, a version that begins with a number and a point.
    const auto isDigit = [](std::uint8_t byte) { return byte >= '0' && byte <= '9'; };
    const bool greets = transport == Transport::tcp && payload.size() > 20 && payload[2] == 0 && payload[3] == 0
        && payload[4] == 10 && isDigit(payload[5]) && (payload[6] == '.' || (isDigit(payload[6]) && payload[7] == '.'));
    return greets ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(3306)};
} // namespace

// Only a greeting is known by its content, so that the guess must not keep the port from deciding.
constexpr Protocol protocol{{"mysql", "MySQL", Wire::layer}, {}, claims, decode, describe, guess,
                            opensOn({Transport::tcp})};
static_assert(wellFormed(protocol));
} // namespace netrondo::mysql
