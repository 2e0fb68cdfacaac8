// File Transfer Protocol: the control connection (RFC 959).
#include "Dissection/Protocols/CommandLines.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/TextLines.h"

#include <charconv>
#include <optional>
#include <utility>

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

/// Six numbers with commas between them are an address and a port; reads those that stand in the text.
std::optional<std::pair<std::uint32_t, std::uint16_t>> addressAndPort(std::string_view words)
{
    std::uint64_t all = 0;
    const auto* at = words.data();
    const auto* const end = at + words.size();
    for (int i = 0; i < 6; ++i) {
        std::uint8_t number = 0;
        const auto [behind, wrong] = std::from_chars(at, end, number);
        if (wrong != std::errc() || (i < 5 && (behind == end || *behind != ',')))
            return {};
        all = all << 8 | number;
        at = behind + 1;
    }
    return std::pair{static_cast<std::uint32_t>(all >> 16), static_cast<std::uint16_t>(all)};
}

/// The port of "(|||50021|)", as the answer to EPSV says it (RFC 2428, 3).
std::optional<std::uint16_t> extendedPort(std::string_view words)
{
    if (words.size() < 5 || words[0] != words[1] || words[1] != words[2])
        return {};
    std::uint16_t port = 0;
    const auto [behind, wrong] = std::from_chars(words.data() + 3, words.data() + words.size(), port);
    return wrong == std::errc() && behind != words.data() + words.size() && *behind == words[0] ? std::optional(port)
                                                                                                : std::nullopt;
}

/// Where the next file goes: told by the server for its own end, or by the client (RFC 959, 4.1.2).
void expectData(Layer& ftp, std::string_view words)
{
    auto* const session = ftp.frame().session;
    if (!session || ftp.isQuoted())
        return;
    const bool isPort = textLines::startsIgnoringCase(words, "PORT ");
    if (isPort || words.starts_with("227")) {
        const auto from = isPort ? 5 : words.find_first_of("0123456789", std::min<std::size_t>(4, words.size()));
        if (const auto told = addressAndPort(words.substr(std::min(from, words.size()))))
            session->expect(Address::ipv4(told->first), told->second, ftpdata::protocol);
    } else if (words.starts_with("229")) {
        const auto from = words.find('(');
        if (const auto port = from == std::string_view::npos ? std::nullopt : extendedPort(words.substr(from + 1)))
            session->expect(ftp.frame().networkSource, *port, ftpdata::protocol);
    }
}

void decode(Layer& ftp)
{
    const auto first = ftp.tree().size();
    commandLines::read(ftp, fields, isCommand);
    for (auto i = first; i < ftp.tree().size(); ++i) {
        if (const auto& node = ftp.tree()[i]; node.field == &line)
            expectData(ftp, asText(ftp.bytesOf(node)));
    }
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
