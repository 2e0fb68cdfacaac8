// Simple Mail Transfer Protocol (RFC 5321).
#include "Dissection/Protocols/CommandLines.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/TextLines.h"

namespace netrondo::smtp {
namespace {
constexpr Field line{"smtp.line", "Line", Wire::text};
constexpr Field command{"smtp.command", "Command", Wire::text};
constexpr Field argument{"smtp.argument", "Argument", Wire::text};
constexpr Field code{"smtp.code", "Reply code", Wire::number};
constexpr Field text{"smtp.text", "Reply", Wire::text};
constexpr Field data{"smtp.data", "Message data", Wire::text};
constexpr commandLines::Fields fields{line, command, argument, code, text, data};

bool isCommand(std::string_view word)
{
    for (const std::string_view known : {"HELO", "EHLO", "LHLO", "MAIL", "RCPT", "DATA", "RSET", "NOOP", "QUIT", "VRFY",
                                         "EXPN", "HELP", "AUTH", "STARTTLS", "BDAT", "ETRN"}) {
        if (textLines::equalsIgnoringCase(word, known))
            return true;
    }
    return false;
}

void decode(Layer& smtp)
{
    commandLines::read(smtp, fields, isCommand);
}

void describe(const LayerView& smtp, TextSink& out)
{
    commandLines::describe(smtp, out, fields);
}

Likeness guess(Bytes payload, Transport transport)
{
    const auto head = asText(payload);
    const bool isServer = head.starts_with("220 ") || head.starts_with("220-");
    if (transport != Transport::tcp || (!isServer && !head.starts_with("EHLO ") && !head.starts_with("HELO ")))
        return Likeness::none;
    const bool greets = !isServer || textLines::firstLine(payload).find("SMTP") != head.npos;
    return greets ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(25), tcpPort(587), tcpPort(2525)};
} // namespace

constexpr Protocol protocol{{"smtp", "SMTP", Wire::layer},
                            {},
                            claims,
                            decode,
                            describe,
                            guess,
                            opensWith({Transport::tcp}, '2').orByte('E').orByte('H')};
static_assert(wellFormed(protocol));
} // namespace netrondo::smtp
