// Telnet (RFC 854): text, and the negotiation of options in between.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::telnet {
namespace {
constexpr std::uint8_t interpretAsCommand = 255, subnegotiation = 250, subnegotiationEnd = 240;

constexpr NamedValue commands[] = {{240, "SE"},
                                   {241, "NOP"},
                                   {242, "data mark"},
                                   {243, "break"},
                                   {244, "interrupt"},
                                   {245, "abort output"},
                                   {246, "are you there"},
                                   {247, "erase character"},
                                   {248, "erase line"},
                                   {249, "go ahead"},
                                   {250, "SB"},
                                   {251, "WILL"},
                                   {252, "WONT"},
                                   {253, "DO"},
                                   {254, "DONT"},
                                   {255, "IAC"}};
constexpr NamedValue options[] = {{0, "binary"},
                                  {1, "echo"},
                                  {3, "suppress go ahead"},
                                  {5, "status"},
                                  {6, "timing mark"},
                                  {24, "terminal type"},
                                  {25, "end of record"},
                                  {31, "window size"},
                                  {32, "terminal speed"},
                                  {33, "flow control"},
                                  {34, "line mode"},
                                  {35, "X display location"},
                                  {36, "environment"},
                                  {37, "authentication"},
                                  {38, "encryption"},
                                  {39, "new environment"},
                                  {40, "TN3270E"},
                                  {44, "COM port control"}};

constexpr Field command{"telnet.cmd", "Command", Wire::number, commands};
constexpr Field commandCode{"telnet.command_code", "Command", Wire::u8, commands};
constexpr Field marker{"telnet.iac", "Interpret as command", Wire::hex8};
constexpr Field option{"telnet.option", "Option", Wire::u8, options};
constexpr Field parameters{"telnet.parameters", "Parameters", Wire::bytes};
constexpr Field data{"telnet.data", "Data", Wire::text};

void readCommand(Layer& telnet)
{
    const Layer::Group group(telnet, command, telnet.peek8(1));
    telnet.read(marker);
    const auto code = telnet.read(commandCode);
    if (code >= 251 && code <= 254) {
        telnet.read(option);
    } else if (code == subnegotiation) {
        telnet.read(option);
        const auto rest = telnet.rest();
        std::size_t size = 0;
        while (size + 1 < rest.size() && !(rest[size] == interpretAsCommand && rest[size + 1] == subnegotiationEnd))
            ++size;
        if (size + 1 >= rest.size())
            size = rest.size();
        if (size)
            telnet.readBytes(parameters, size);
    }
}

void decode(Layer& telnet)
{
    while (telnet.more()) {
        if (telnet.peek8() == interpretAsCommand && telnet.left() > 1) {
            readCommand(telnet);
            continue;
        }
        const auto rest = telnet.rest();
        std::size_t size = 1;
        while (size < rest.size() && rest[size] != interpretAsCommand)
            ++size;
        telnet.readText(data, size);
    }
}

void describe(const LayerView& telnet, TextSink& out)
{
    std::size_t said = 0;
    const auto nodes = telnet.nodes();
    for (const auto& node : nodes) {
        const Value value(telnet.tree(), &node);
        if (node.field == &commandCode && node.number != subnegotiationEnd && said++ < 6)
            out("{}{}", said > 1 ? ", " : "", value);
        else if (node.field == &option && said <= 6)
            out(" {}", value);
        else if (node.field == &data && said++ < 6)
            out("{}Data: {}", said > 1 ? ", " : "", value);
    }
}

Likeness guess(Bytes payload, Transport transport)
{
    const auto negotiates = [&](std::size_t at) {
        return payload.size() >= at + 3 && payload[at] == interpretAsCommand && payload[at + 1] >= 251
            && payload[at + 1] <= 254 && payload[at + 2] <= 40;
    };
    if (transport != Transport::tcp || !negotiates(0))
        return Likeness::none;
    return negotiates(3) ? Likeness::certain : Likeness::likely;
}

constexpr Claim claims[] = {tcpPort(23), tcpPort(992)};
} // namespace

constexpr Protocol protocol{{"telnet", "Telnet", Wire::layer}, {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, 0xff)};
static_assert(wellFormed(protocol));
} // namespace netrondo::telnet
