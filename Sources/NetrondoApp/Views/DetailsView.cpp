#include "Views/DetailsView.h"

#include "Analysis/Tcp/Complaints.h"
#include "Base/Units.h"
#include "Circle/UndirectedPairs.h"
#include "Models/TalkModels.h"
#include "Models/TalkTable.h"
#include "Models/Text.h"
#include "Tasks/Background.h"

#include <QUrl>
#include <algorithm>

namespace netrondo {
namespace {

using namespace units;

QString escaped(std::string_view text)
{
    return asQt(text).toHtmlEscaped();
}

QString row(const QString& label, const QString& html)
{
    return QStringLiteral("<tr><td style='padding-right:10px'>%1</td><td>%2</td></tr>").arg(label, html);
}

QString table(const QString& rows)
{
    return rows.isEmpty() ? QString() : QStringLiteral("<table cellspacing='0' cellpadding='1'>%1</table>").arg(rows);
}

QString heading(const QString& text)
{
    return QStringLiteral("<h4 style='margin-bottom:2px'>%1</h4>").arg(text.toHtmlEscaped());
}

QString link(const Selected& what, const QString& text)
{
    const auto encoded = [](const std::string& part) {
        return QString::fromLatin1(QUrl::toPercentEncoding(asQt(part)));
    };
    return QStringLiteral("<a href='select:%1/%2'>%3</a>").arg(encoded(what.a), encoded(what.b), text.toHtmlEscaped());
}

QString hostLink(const std::string& address, const std::string& name)
{
    return link(Selected::host(address),
                name.empty() ? asQt(address) : QStringLiteral("%1 (%2)").arg(asQt(name), asQt(address)));
}

QString volume(std::uint64_t packets, std::uint64_t count)
{
    return QStringLiteral("%1, %2").arg(asQt(bytes(count)), asQt(counted(packets, "packet", "packets")));
}

QString ports(const std::vector<CommPair>& pairs)
{
    std::map<std::uint16_t, PortStats> all;
    for (const auto& pair : pairs)
        for (const auto& [port, stats] : pair.dstPorts) {
            auto& sum = all[port];
            sum.count += stats.count;
            sum.isTCP |= stats.isTCP;
            sum.isUDP |= stats.isUDP;
        }
    std::vector<std::pair<std::uint16_t, PortStats>> order(all.begin(), all.end());
    std::ranges::stable_sort(order, [](const auto& a, const auto& b) { return a.second.count > b.second.count; });
    constexpr std::size_t most = 12;
    QStringList texts;
    for (const auto& [port, stats] : order) {
        if (static_cast<std::size_t>(texts.size()) == most) {
            texts << QStringLiteral("and %1 more").arg(order.size() - most);
            break;
        }
        const auto name = PortServices::name(port);
        texts << QStringLiteral("%1%2%3 (%4)")
                     .arg(stats.isTCP && stats.isUDP ? QStringLiteral("TCP/UDP ")
                              : stats.isTCP          ? QStringLiteral("TCP ")
                              : stats.isUDP          ? QStringLiteral("UDP ")
                                                     : QString())
                     .arg(port)
                     .arg(name.empty() ? QString() : QStringLiteral(" ") + asQt(name))
                     .arg(asQt(grouped(stats.count)));
    }
    return texts.join(QStringLiteral(", ")).toHtmlEscaped();
}

QString payloads(const std::vector<CommPair>& pairs)
{
    std::set<std::string_view> names;
    for (const auto& pair : pairs)
        names.insert(pair.payloadProtocols.begin(), pair.payloadProtocols.end());
    QStringList texts;
    for (const auto name : names)
        texts << asQt(name);
    return texts.join(QStringLiteral(", ")).toHtmlEscaped();
}

/// The grade with its letter and number; the colour says nothing that they do not.
QString grade(const TCPSessionQuality& quality, const QualityGradeThresholds& bands)
{
    const auto score = quality.score();
    const auto [r, g, b] = color(gradeOf(score, bands));
    return QStringLiteral("<span style='color:%1'>■</span> <b>%2</b>")
        .arg(QColor(r, g, b).name(), gradeText(score.value_or(-1), bands).toHtmlEscaped());
}

template <typename T> QString both(const std::optional<T>& client, const std::optional<T>& server)
{
    const auto text = [](const std::optional<T>& value) {
        return value ? QString::number(*value) : QStringLiteral("–");
    };
    return QStringLiteral("%1 / %2").arg(text(client), text(server));
}

QString both(bool client, bool server)
{
    return QStringLiteral("%1 / %2").arg(client ? QStringLiteral("yes") : QStringLiteral("no"),
                                         server ? QStringLiteral("yes") : QStringLiteral("no"));
}

QString tcp(const TCPSessionQuality& quality, const QualityGradeThresholds& bands)
{
    QString rows = row(QObject::tr("Grade"), grade(quality, bands));
    const auto troubles = complaints(quality);
    if (troubles.empty())
        rows += row(QString(), QObject::tr("Nothing was taken off the full score of 100."));
    for (const auto& trouble : troubles)
        rows += row(trouble.points > 0 ? asQt(pointsOff(trouble.points)) : QString(), escaped(trouble.detail));
    rows += row(QObject::tr("Segments"), asQt(grouped(quality.tcpPackets)));
    if (quality.rttMsEstimate)
        rows += row(QObject::tr("Handshake"), asQt(timeSpan(*quality.rttMsEstimate / 1000)));
    rows += row(QObject::tr("SYN, FIN, RST"),
                QStringLiteral("%1, %2, %3").arg(quality.synCount).arg(quality.finCount).arg(quality.rstCount));
    rows += row(QObject::tr("Sent again"), asQt(grouped(quality.retransmitEndpoint)));
    if (quality.hasWindowSample)
        rows +=
            row(QObject::tr("Window"),
                QObject::tr("%1 to %2, last %3").arg(quality.windowMin).arg(quality.windowMax).arg(quality.windowLast));
    if (quality.sackPacketCount > 0)
        rows += row(QObject::tr("SACK"), asQt(counted(quality.sackPacketCount, "segment", "segments")));
    const auto& shake = quality.handshake;
    QString options;
    if (quality.synCount > 0) {
        options += row(QObject::tr("MSS"), both(shake.mssClient, shake.mssServer));
        options += row(QObject::tr("Window scale"), both(shake.wscaleClient, shake.wscaleServer));
        options += row(QObject::tr("SACK permitted"), both(shake.sackClient, shake.sackServer));
        options += row(QObject::tr("Timestamps"), both(shake.timestampsClient, shake.timestampsServer));
        options = heading(QObject::tr("Handshake options (client / server)")) + table(options);
    }
    return heading(QObject::tr("TCP quality")) + table(rows) + options;
}

QString times(const TalkTable& talks, double first, double last)
{
    const double start = talks.result()->captureStartSeconds.value_or(first);
    return row(QObject::tr("First seen"),
               QStringLiteral("%1 (+%2)").arg(escaped(pointInTime(first)), escaped(timeSpan(first - start))))
        + row(QObject::tr("Last seen"),
              QStringLiteral("%1 (+%2)").arg(escaped(pointInTime(last)), escaped(timeSpan(last - start))))
        + row(QObject::tr("Duration"), escaped(timeSpan(last - first)));
}

QString conversation(const TalkTable& talks, const TalkRow& talk, const QualityGradeThresholds& bands)
{
    const auto pairs = talks.pairsOf(talk);
    const auto &a = talks.host(talk, 0), &b = talks.host(talk, 1);
    QString html = QStringLiteral("<h3>%1<br>↔ %2</h3>").arg(hostLink(a.text, a.name), hostLink(b.text, b.name));
    QString rows = row(QObject::tr("Protocol"), escaped(talk.protocol));
    rows += row(QStringLiteral("A → B"), volume(talk.packets[0], talk.bytes[0]));
    rows += row(QStringLiteral("B → A"), volume(talk.packets[1], talk.bytes[1]));
    rows += row(QObject::tr("Together"), volume(talk.allPackets(), talk.allBytes()));
    if (const auto text = ports(pairs); !text.isEmpty())
        rows += row(QObject::tr("Ports"), text);
    if (const auto text = payloads(pairs); !text.isEmpty())
        rows += row(QObject::tr("Payload"), text);
    const auto& pair = pairs.front();
    const auto address = [&](const char* label, const std::optional<std::string>& text, const std::string& known) {
        if (text && *text != known)
            rows += row(QString::fromUtf8(label), escaped(*text));
    };
    const bool isTurned = pair.srcAddr != a.text;
    address("MAC of A", isTurned ? pair.dstMAC : pair.srcMAC, a.text);
    address("MAC of B", isTurned ? pair.srcMAC : pair.dstMAC, b.text);
    address("IP of A", isTurned ? pair.dstIP : pair.srcIP, a.text);
    address("IP of B", isTurned ? pair.srcIP : pair.dstIP, b.text);
    rows += times(talks, talk.first, talk.last);
    html += table(rows);
    if (pair.tcpQuality)
        html += tcp(*pair.tcpQuality, bands);
    return html;
}

/// The conversations of a host or a service, the heaviest first.
QString list(const TalkTable& talks, std::vector<std::uint32_t> items, const QualityGradeThresholds& bands)
{
    constexpr std::size_t most = 25;
    std::ranges::stable_sort(items, std::greater{}, [&](std::uint32_t i) { return talks.talks()[i].allBytes(); });
    QString rows;
    for (std::size_t i = 0; i < std::min(items.size(), most); ++i) {
        const auto& talk = talks.talks()[items[i]];
        const auto &a = talks.host(talk, 0), &b = talks.host(talk, 1);
        const auto name = [](const HostRow& host) { return asQt(host.name.empty() ? host.text : host.name); };
        rows += row(link(Selected::conversation(a.text, b.text), QStringLiteral("%1 ↔ %2").arg(name(a), name(b))),
                    QStringLiteral("%1, %2%3")
                        .arg(escaped(talk.protocol), asQt(bytes(talk.allBytes())),
                             talk.score < 0 ? QString() : QStringLiteral(", ") + gradeText(talk.score, bands)));
    }
    if (items.size() > most)
        rows += row(QObject::tr("and %1 more").arg(items.size() - most), QString());
    return heading(asQt(counted(items.size(), "conversation", "conversations"))) + table(rows);
}

QString host(const TalkTable& talks, std::uint32_t item, const QualityGradeThresholds& bands)
{
    const auto& host = talks.hosts()[item];
    QString rows = row(QObject::tr("Sent"), escaped(bytes(host.sentBytes)));
    rows += row(QObject::tr("Received"), escaped(bytes(host.receivedBytes)));
    rows += row(QObject::tr("Packets"), asQt(grouped(host.packets)));
    rows += row(QObject::tr("Talked to"), asQt(counted(host.peers, "host", "hosts")));
    std::vector<std::uint32_t> items;
    double first = 0, last = 0;
    for (std::uint32_t i = 0; i < talks.talks().size(); ++i) {
        const auto& talk = talks.talks()[i];
        if (talk.hosts[0] != item && talk.hosts[1] != item)
            continue;
        first = items.empty() ? talk.first : std::min(first, talk.first);
        last = items.empty() ? talk.last : std::max(last, talk.last);
        items.push_back(i);
    }
    rows += times(talks, first, last);
    return QStringLiteral("<h3>%1</h3>")
               .arg(host.name.empty() ? escaped(host.text)
                                      : QStringLiteral("%1<br>%2").arg(escaped(host.name), escaped(host.text)))
        + table(rows) + list(talks, std::move(items), bands);
}

bool isService(const std::string& address)
{
    return address.starts_with(UndirectedPairs::servicePrefix);
}

/// The service that is selected, alone or as the end of a link; empty when none is.
std::string serviceOf(const Selected& what)
{
    if (what.kind == Selected::Kind::service)
        return what.a;
    if (what.kind != Selected::Kind::conversation || !(isService(what.a) || isService(what.b)))
        return {};
    return (isService(what.a) ? what.a : what.b).substr(UndirectedPairs::servicePrefix.size());
}

/// The conversations that carry a service, of all hosts or of one.
QString service(const TalkTable& talks, const std::string& name, const std::string& onlyHost,
                const QualityGradeThresholds& bands)
{
    const auto host = talks.findHost(onlyHost);
    std::vector<std::uint32_t> items;
    for (std::uint32_t i = 0; i < talks.talks().size(); ++i) {
        const auto& talk = talks.talks()[i];
        if (!onlyHost.empty() && talk.hosts[0] != host && talk.hosts[1] != host)
            continue;
        if (std::ranges::any_of(talks.pairsOf(talk), [&](const CommPair& pair) { return pair.carries(name); }))
            items.push_back(i);
    }
    return QStringLiteral("<h3>%1</h3>").arg(escaped(name)) + list(talks, std::move(items), bands);
}

QString capture(const TalkTable& talks)
{
    const auto& result = *talks.result();
    QString rows = row(QObject::tr("Hosts"), asQt(grouped(talks.hosts().size())));
    rows += row(QObject::tr("Conversations"), asQt(grouped(talks.talks().size())));
    rows += row(QObject::tr("Protocols"), asQt(grouped(result.protocols.size())));
    rows += row(QObject::tr("Volume"), volume(result.totalPackets, result.totalBytes));
    if (result.captureStartSeconds) {
        rows += row(QObject::tr("Start"), escaped(pointInTime(*result.captureStartSeconds)));
        rows += row(QObject::tr("Duration"), escaped(timeSpan(result.durationSeconds)));
    }
    return heading(QObject::tr("The whole capture")) + table(rows)
        + QObject::tr("<p>Select a host or a conversation to read about it.</p>");
}

QString detailsOf(const TalkTable& talks, const Selected& what, const QualityGradeThresholds& bands)
{
    if (const auto name = serviceOf(what); !name.empty()) {
        const auto onlyHost = what.kind == Selected::Kind::service ? std::string()
            : isService(what.a)                                    ? what.b
                                                                   : what.a;
        return service(talks, name, onlyHost, bands);
    }
    if (what.kind == Selected::Kind::conversation) {
        if (const auto item = talks.findTalk(what.a, what.b); item != TalkRow::none)
            return conversation(talks, talks.talks()[item], bands);
    } else if (const auto item = talks.findHost(what.a); item != TalkRow::none) {
        return host(talks, item, bands);
    }
    return QObject::tr("<p>What is selected has no frames in what is shown.</p>");
}

} // namespace

DetailsView::DetailsView(QWidget* parent) : QTextBrowser(parent)
{
    setObjectName(QStringLiteral("DetailsView"));
    setOpenLinks(false);
    setAccessibleName(tr("Details of the selection"));
    connect(this, &QTextBrowser::anchorClicked, this, &DetailsView::follow);
}

void DetailsView::follow(const QUrl& url)
{
    const auto parts = url.path(QUrl::FullyEncoded).split(QLatin1Char('/'));
    const auto decoded = [&](qsizetype part) {
        return QUrl::fromPercentEncoding(parts.value(part).toLatin1()).toStdString();
    };
    const auto a = decoded(0), b = decoded(1);
    emit selectionWanted(b.empty() ? Selected::host(a) : Selected::conversation(a, b));
}

void DetailsView::show(const std::shared_ptr<const TalkTable>& talks, const Selected& what,
                       const QualityGradeThresholds& bands)
{
    const auto wish = ++wish_;
    if (!talks || !what) {
        shown_ = wish;
        return setHtml(talks ? capture(*talks) : QString());
    }
    // A host with all its conversations, or one with thousands of ports, takes longer than a frame.
    inBackground(
        this, [talks, what, bands] { return detailsOf(*talks, what, bands); },
        [this, wish](const QString& html) {
            if (wish != wish_)
                return; // something else has been selected since
            shown_ = wish;
            setHtml(html);
        });
}

} // namespace netrondo
