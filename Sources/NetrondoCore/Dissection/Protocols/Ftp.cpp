// File Transfer Protocol: the control connection (RFC 959).
#include "Dissection/Protocols/CommandLines.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/TextLines.h"

namespace netrondo::ftp {
namespace {
constexpr Field line{"ftp.line", "Line", Wire::text};
constexpr Field command{"ftp.command", "Command", Wire::text};
constexpr Field argument{"ftp.argument", "Argument", Wire::text};
constexpr Field code{"ftp.code", "Reply code", Wire::number};
constexpr Field text{"ftp.text", "Reply", Wire::text};
constexpr Field data{"ftp.data", "Data", Wire::bytes};
constexpr commandLines::Fields fields{line, command, argument, code, text, data};

bool isCommand(std::string_view word)
{
    return commandLines::isVerb(word, 3, 4);
}

void decode(Layer& ftp)
{
    commandLines::read(ftp, fields, isCommand);
}

void describe(const LayerView& ftp, TextSink& out)
{
    commandLines::describe(ftp, out, fields);
}

Likeness guess(Bytes payload, Transport transport)
{
    const auto head = asText(payload);
    if (transport != Transport::tcp || (!head.starts_with("220 ") && !head.starts_with("220-")))
        return Likeness::none;
    return textLines::firstLine(payload).find("FTP") != std::string_view::npos ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(21)};
} // namespace

constexpr Protocol protocol{{"ftp", "FTP", Wire::layer},     {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, '2')};
static_assert(wellFormed(protocol));
} // namespace netrondo::ftp
