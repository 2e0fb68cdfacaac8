// Syslog (RFC 5424, and the older form that RFC 3164 describes).
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::syslog {
namespace {
constexpr NamedValue facilities[] = {{0, "kern"},      {1, "user"},    {2, "mail"},    {3, "daemon"},  {4, "auth"},
                                     {5, "syslog"},    {6, "lpr"},     {7, "news"},    {8, "uucp"},    {9, "cron"},
                                     {10, "authpriv"}, {11, "ftp"},    {12, "ntp"},    {13, "audit"},  {14, "alert"},
                                     {15, "clock"},    {16, "local0"}, {17, "local1"}, {18, "local2"}, {19, "local3"},
                                     {20, "local4"},   {21, "local5"}, {22, "local6"}, {23, "local7"}};
constexpr NamedValue severities[] = {{0, "emergency"}, {1, "alert"},  {2, "critical"}, {3, "error"},
                                     {4, "warning"},   {5, "notice"}, {6, "info"},     {7, "debug"}};

constexpr Field priority{"syslog.priority", "Priority", Wire::number};
constexpr Field facility{"syslog.facility", "Facility", Wire::number, facilities};
constexpr Field severity{"syslog.severity", "Severity", Wire::number, severities};
constexpr Field message{"syslog.message", "Message", Wire::text};

/// The number between angle brackets and the length of "<n>", or 0.
std::pair<std::uint64_t, std::size_t> priorityOf(std::string_view text)
{
    std::uint64_t number = 0;
    std::size_t i = 1;
    if (!text.starts_with('<'))
        return {};
    for (; i < text.size() && i < 4 && text[i] >= '0' && text[i] <= '9'; ++i)
        number = number * 10 + static_cast<std::uint64_t>(text[i] - '0');
    if (i == 1 || i >= text.size() || text[i] != '>' || number > 191)
        return {};
    return {number, i + 1};
}

void decode(Layer& syslog)
{
    const auto [number, size] = priorityOf(asText(syslog.rest()));
    if (size) {
        const auto at = syslog.offset();
        const auto node = syslog.tree().size();
        syslog.add(priority, number, at, size);
        syslog.add(facility, number / 8, at, size);
        syslog.add(severity, number % 8, at, size);
        syslog.tree().close(node);
        syslog.skip(size);
    }
    auto letters = syslog.left();
    while (letters && (syslog.rest()[letters - 1] == 0 || syslog.rest()[letters - 1] == '\n'))
        --letters; // senders end the text with a zero or a line feed
    if (letters)
        syslog.readText(message, letters);
    syslog.endHere();
}

void describe(const LayerView& syslog, TextSink& out)
{
    if (syslog.has(priority))
        out("{}.{}: ", syslog[facility], syslog[severity]);
    out("{}", syslog[message]);
}

Likeness guess(Bytes payload, Transport transport)
{
    return transport == Transport::udp && priorityOf(asText(payload)).second ? Likeness::likely : Likeness::none;
}

constexpr Claim claims[] = {udpPort(514), tcpPort(601), tcpPort(6514)};
} // namespace

constexpr Protocol protocol{{"syslog", "Syslog", Wire::layer}, {}, claims, decode, describe, guess,
                            opensWith({Transport::udp}, '<')};
static_assert(wellFormed(protocol));
} // namespace netrondo::syslog
