// The sections of the summary: the capture, conversations, hosts, protocols, and what is wrong with TCP.
#include "Summary.h"

#include "Analysis/Tcp/Complaints.h"
#include "Base/Units.h"
#include "Ranking.h"
#include "TextWidth.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>
#include <numeric>

namespace netrondo::cli {
namespace {

using namespace units;

void fact(Page& page, std::string_view label, std::string_view text)
{
    constexpr std::size_t labelWidth = 10;
    page.put(label, Tone::dim);
    page.pad(labelWidth - std::min(labelWidth - 1, textWidth(label)));
    page.paragraph(text, labelWidth);
}

/// "3 errors, 1 warning, 12 notes"; netrondo expert says more.
std::string findingsInWords(const CaptureExpertSummary& summary)
{
    std::string text;
    const auto add = [&](Severity severity, const char* one, const char* many) {
        if (const auto count = summary.count(severity))
            text += (text.empty() ? "" : ", ") + counted(count, one, many);
    };
    add(Severity::error, "error", "errors");
    add(Severity::warning, "warning", "warnings");
    add(Severity::note, "note", "notes");
    return text.empty() ? "nothing wrong" : text + " (netrondo expert says more)";
}

void printCapture(Page& page, const CaptureFacts& facts, const AnalysisResult& result, std::size_t conversations,
                  std::size_t hosts)
{
    fact(page, "File",
         facts.fileSize ? fmt::format("{} ({})", printable(facts.file), bytes(*facts.fileSize))
                        : printable(facts.file));
    fact(page, "Format", fmt::format("{}, {}", facts.format, facts.linkTypes));
    if (result.captureStartSeconds) {
        fact(page, "Start", pointInTime(*result.captureStartSeconds));
        fact(page, "Duration", timeSpan(result.durationSeconds));
    }
    fact(page, "Frames", fmt::format("{} ({})", grouped(result.totalPackets), bytes(result.totalBytes)));
    printAccounting(page, result.expertSummary);
    if (result.durationSeconds > 0)
        fact(page, "Rate",
             fmt::format("{} frames/s, {}", rate(static_cast<double>(result.totalPackets) / result.durationSeconds),
                         bitRate(static_cast<double>(result.totalBytes) * 8 / result.durationSeconds)));
    fact(page, "Found",
         fmt::format("{} of {}, {}", counted(conversations, "conversation", "conversations"),
                     counted(hosts, "host", "hosts"), counted(result.protocols.size(), "protocol", "protocols")));
    fact(page, "Expert", findingsInWords(result.expertSummary));
}

/// A conversation in words: who spoke first, the other, and what went between them.
struct TalkText {
    std::string first;
    std::string second;
    std::string protocol;
    std::string worstService; ///< of its TCP sessions
    std::optional<TCPSessionQuality> quality;
};

/// The service whose TCP sessions went worst. The ports of clients are there too; they name no service.
std::string worstService(const CommPair& pair)
{
    std::optional<int> worst;
    std::string text;
    for (const auto& [port, quality] : pair.tcpQualityByPort) {
        const auto name = PortServices::name(port);
        if (name.empty() && port >= PortServices::ephemeralPortFloor)
            continue;
        const auto score = quality.score();
        if (score && (!worst || *score < *worst)) {
            worst = score;
            text = name.empty() ? fmt::format("TCP {}", port) : std::string(name);
        }
    }
    return text.empty() ? protocolText(pair) : text;
}

TalkText inWords(const PairList& pairs, const Talk& talk)
{
    auto pair = pairs[talk.pair];
    if (talk.reverse != Talk::none) {
        auto reverse = pairs[talk.reverse];
        if (reverse.firstSeenSeconds < pair.firstSeenSeconds)
            std::swap(pair, reverse);
        // One direction may have seen nothing but bare acknowledgements.
        if (PortServices::isTransportOnly(pair.topProtocol))
            pair.topProtocol = reverse.topProtocol;
    }
    return {hostText(pair.srcAddr, pair.resolvedSrc), hostText(pair.dstAddr, pair.resolvedDst), protocolText(pair),
            worstService(pair), std::move(pair.tcpQuality)};
}

Cell gradeCell(const std::optional<TCPSessionQuality>& quality, const QualityGradeThresholds& thresholds)
{
    const auto score = quality ? quality->score() : std::nullopt;
    if (!score)
        return {"–", Tone::dim};
    const auto grade = gradeOf(score, thresholds);
    return {fmt::format("{} {}", displayName(grade), *score), tone(grade)};
}

std::string remaining(std::size_t all)
{
    return all > shownRows ? fmt::format("{} of {}", shownRows, grouped(all)) : std::string();
}

/// On one line each where the page is wide enough for all of them, else the second host on a line of its own.
void printConversations(Page& page, const AnalysisResult& result, std::vector<Talk>& talks,
                        const QualityGradeThresholds& thresholds)
{
    busiestFirst(talks, shownRows);
    page.heading("Busiest conversations", remaining(talks.size()));
    Table wide({{"Hosts"},
                {"Bytes", Column::Kind::number},
                {"Packets", Column::Kind::number},
                {"Protocol"},
                {"TCP"},
                {"What spoiled it", Column::Kind::flexible, 26}});
    Table narrow({{"Hosts", Column::Kind::flexible},
                  {"Bytes", Column::Kind::number},
                  {"Packets", Column::Kind::number},
                  {"Protocol"},
                  {"TCP"}});
    for (std::size_t i = 0; i < std::min(shownRows, talks.size()); ++i) {
        const auto text = inWords(result.pairs, talks[i]);
        const auto spoiled = text.quality ? briefly(complaints(*text.quality)) : std::string();
        const Cell volume{bytes(talks[i].bytes)}, packets{grouped(talks[i].packets)}, protocol{text.protocol};
        const auto grade = gradeCell(text.quality, thresholds);
        wide.add({{fmt::format("{} ↔ {}", text.first, text.second)}, volume, packets, protocol, grade, {spoiled}});
        narrow.add({{text.first}, volume, packets, protocol, grade});
        narrow.add({{"  ↔ " + text.second}, {spoiled, Tone::dim, true}});
    }
    (wide.leastWidth() <= page.width() ? wide : narrow).print(page);
}

void printHosts(Page& page, const AnalysisResult& result, std::vector<HostTotals>& hosts)
{
    busiestFirst(hosts, shownRows);
    page.heading("Busiest hosts", remaining(hosts.size()));
    Table table({{"Host", Column::Kind::flexible},
                 {"Bytes", Column::Kind::number},
                 {"Sent", Column::Kind::number},
                 {"Received", Column::Kind::number},
                 {"Packets", Column::Kind::number},
                 {"Peers", Column::Kind::number}});
    for (std::size_t i = 0; i < std::min(shownRows, hosts.size()); ++i) {
        const auto& host = hosts[i];
        const auto pair = result.pairs[host.pair];
        const auto address = host.address.text();
        table.add({{hostText(address, pair.srcAddr == address ? pair.resolvedSrc : pair.resolvedDst)},
                   {bytes(host.bytes())},
                   {bytes(host.sentBytes)},
                   {bytes(host.receivedBytes)},
                   {grouped(host.packets)},
                   {grouped(host.peers)}});
    }
    table.print(page);
}

/// A bar of eighths of a character.
std::string bar(double share, std::size_t width)
{
    constexpr std::array<std::string_view, 8> eighths = {"", "▏", "▎", "▍", "▌", "▋", "▊", "▉"};
    const auto parts = static_cast<std::size_t>(std::lround(share * static_cast<double>(width) * 8));
    std::string text;
    for (std::size_t i = 0; i < parts / 8; ++i)
        text += "█";
    text += eighths[parts % 8];
    return text.empty() ? "▏" : text;
}

void printProtocols(Page& page, const AnalysisResult& result)
{
    page.heading("Protocols", remaining(result.protocols.size()));
    Table table({{"Protocol", Column::Kind::flexible},
                 {"Frames", Column::Kind::number},
                 {"Share", Column::Kind::number},
                 {""}});
    const auto total = static_cast<double>(result.totalPackets);
    const auto barWidth = std::min<std::size_t>(30, page.width() / 4);
    for (std::size_t i = 0; i < std::min(shownRows, result.protocols.size()); ++i) {
        const auto& protocol = result.protocols[i];
        const auto count = static_cast<double>(protocol.count);
        table.add({{std::string(protocol.name)},
                   {grouped(protocol.count)},
                   {percent(count, total)},
                   {bar(count / total, barWidth), Tone::dim}});
    }
    table.print(page);
}

/// A TCP conversation, and how well it went.
struct Session {
    std::uint32_t talk;
    int score;
};

void printSessions(Page& page, const AnalysisResult& result, const std::vector<Talk>& talks,
                   const QualityGradeThresholds& thresholds, std::string_view strictness)
{
    std::array<std::size_t, 5> tally{};
    std::vector<Session> troubled;
    std::size_t all = 0;
    for (std::uint32_t i = 0; i < talks.size(); ++i) {
        const auto score = talks[i].tcpScore;
        if (!score)
            continue;
        ++all;
        ++tally[static_cast<std::size_t>(gradeOf(score, thresholds))];
        if (talks[i].hasTcpComplaints)
            troubled.push_back({i, *score});
    }
    if (all == 0)
        return;

    std::string grades;
    for (std::size_t grade = 0; grade < tally.size(); ++grade)
        if (tally[grade] > 0)
            grades += fmt::format("{}{} {}", grades.empty() ? "" : ", ", grouped(tally[grade]),
                                  displayName(static_cast<SessionQualityGrade>(grade)));
    page.heading("TCP, worst first");
    page.paragraph(fmt::format("{}: {} ({})", counted(all, "conversation", "conversations"), grades, strictness), 0);
    if (troubled.empty()) {
        page.paragraph("Nothing is wrong.", 0);
        return;
    }
    const auto shown = std::min(shownRows, troubled.size());
    std::partial_sort(troubled.begin(), troubled.begin() + static_cast<std::ptrdiff_t>(shown), troubled.end(),
                      [&](const Session& a, const Session& b) {
                          return std::tuple(a.score, talks[b.talk].packets, talks[a.talk].pair)
                              < std::tuple(b.score, talks[a.talk].packets, talks[b.talk].pair);
                      });
    for (std::size_t i = 0; i < shown; ++i) {
        const auto text = inWords(result.pairs, talks[troubled[i].talk]);
        const auto grade = gradeCell(text.quality, thresholds);
        page.put(grade.text, grade.tone);
        constexpr std::size_t indent = 15;
        page.pad(indent - textWidth(grade.text));
        page.paragraph(fmt::format("{} ↔ {}  {}", text.first, text.second, text.worstService), indent);
        for (const auto& complaint : complaints(*text.quality)) {
            page.pad(indent);
            page.paragraph(complaint.points > 0 ? fmt::format("{} ({})", complaint.detail, pointsOff(complaint.points))
                                                : complaint.detail,
                           indent, Tone::dim);
        }
    }
    if (troubled.size() > shown)
        page.paragraph(fmt::format("… and {} more", grouped(troubled.size() - shown)), 0, Tone::dim);
}

} // namespace

std::string hostText(const std::string& address, const std::optional<std::string>& name)
{
    return name ? fmt::format("{} ({})", address, printable(*name)) : address;
}

std::string protocolText(const CommPair& pair)
{
    if (!PortServices::isTransportOnly(pair.topProtocol) || pair.dstPorts.empty())
        return std::string(pair.topProtocol);
    const auto busiest = std::max_element(pair.dstPorts.begin(), pair.dstPorts.end(),
                                          [](const auto& a, const auto& b) { return a.second.count < b.second.count; });
    return fmt::format("{} {}", pair.topProtocol, busiest->first);
}

Tone tone(SessionQualityGrade grade)
{
    constexpr std::array tones = {Tone::good, Tone::good, Tone::fair, Tone::poor, Tone::dim};
    return tones[static_cast<std::size_t>(grade)];
}

void printAccounting(Page& page, const CaptureExpertSummary& summary)
{
    const auto& accounting = summary.accounting;
    auto text = fmt::format("{} = {} analysed + {} left out", grouped(accounting.read), grouped(accounting.analysed),
                            grouped(accounting.read - accounting.analysed));
    for (const auto& skip : accounting.skipped)
        text += fmt::format("{} {} {}", &skip == &accounting.skipped.front() ? ":" : ",", grouped(skip.frames),
                            skip.reason);
    fact(page, "Read", text);
    for (const auto& remark : summary.remarks)
        fact(page, "Note", remark);
    for (const auto& line : summary.cutOff)
        fact(page, "Cut off", line);
}

void printSummary(Page& page, const CaptureFacts& facts, const AnalysisResult& result, QualityStrictness strictness)
{
    auto conversations = talks(result.pairs);
    auto everyHost = hosts(result.pairs);
    printCapture(page, facts, result, conversations.size(), everyHost.size());
    if (conversations.empty())
        return;
    printConversations(page, result, conversations, thresholds(strictness));
    printHosts(page, result, everyHost);
    printProtocols(page, result);
    printSessions(page, result, conversations, thresholds(strictness), id(strictness));
}

} // namespace netrondo::cli
