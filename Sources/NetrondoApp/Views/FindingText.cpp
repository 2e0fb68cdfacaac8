#include "Views/FindingText.h"

#include "Base/Units.h"
#include "Models/CaptureFindings.h"
#include "Models/Severities.h"
#include "Models/Text.h"

#include <QObject>
#include <QUrl>
#include <cmath>

namespace netrondo {
namespace {

using namespace units;

QString escaped(std::string_view text)
{
    return asQt(text).toHtmlEscaped();
}

QString encoded(const std::string& part)
{
    return QString::fromLatin1(QUrl::toPercentEncoding(asQt(part)));
}

QString link(const Selected& what, const QString& text)
{
    return QStringLiteral("<a href='select:%1/%2'>%3</a>").arg(encoded(what.a), encoded(what.b), text.toHtmlEscaped());
}

QString heading(const QString& text)
{
    return QStringLiteral("<h4 style='margin-top:8px;margin-bottom:2px'>%1</h4>").arg(text.toHtmlEscaped());
}

QString list(const std::vector<std::string>& parts)
{
    QString items;
    for (const auto& part : parts)
        items += QStringLiteral("<li>%1</li>").arg(escaped(part));
    return QStringLiteral("<ul style='margin:0;-qt-list-indent:1'>%1</ul>").arg(items);
}

QString numbers(const ExpertFinding& finding)
{
    auto text = QObject::tr("Seen %1").arg(asQt(counted(finding.count, "time", "times")));
    const auto frame = [](std::uint64_t number, double seconds) {
        return QStringLiteral("<a href='frame:%1'>%2</a> (+%3)")
            .arg(QString::number(number), QObject::tr("frame %1").arg(asQt(grouped(number))),
                 escaped(timeSpan(seconds)));
    };
    if (finding.firstFrame > 0)
        text += finding.firstFrame == finding.lastFrame
            ? QObject::tr(", in %1").arg(frame(finding.firstFrame, finding.firstSeconds))
            : QObject::tr(", from %1 to %2")
                  .arg(frame(finding.firstFrame, finding.firstSeconds), frame(finding.lastFrame, finding.lastSeconds));
    return text + QStringLiteral(".");
}

/// "3 errors, 1 warning".
QString counts(const FindingTable& table)
{
    QStringList parts;
    const auto add = [&](Severity severity, const char* one, const char* many) {
        if (const auto count = table.counts[static_cast<std::size_t>(severity)])
            parts << asQt(counted(count, one, many));
    };
    add(Severity::error, "error", "errors");
    add(Severity::warning, "warning", "warnings");
    add(Severity::note, "note", "notes");
    add(Severity::info, "remark", "remarks");
    return parts.join(QStringLiteral(", "));
}

QString lookedAt(const CaptureFindings& findings)
{
    return QObject::tr("%1 between %2 were looked at for %3 kinds of trouble.")
        .arg(asQt(counted(findings.summary().accounting.read, "frame", "frames")),
             asQt(counted(findings.talks().hosts().size(), "host", "hosts")))
        .arg(findingKinds().size());
}

} // namespace

QString FindingText::full(const CaptureFindings& findings, std::uint32_t index)
{
    const auto& finding = findings[index];
    const auto& kind = finding.kind();
    auto html = QStringLiteral("<h3 style='margin-bottom:2px'>%1</h3>").arg(escaped(ExpertText::title(finding)));
    html += QStringLiteral("<p style='margin-top:0'><b>%1</b> · %2 · %3 · %4</p>")
                .arg(severityWord(finding.severity), escaped(inWords(kind.layer)), escaped(kind.id),
                     QObject::tr("%1 % sure").arg(std::lround(100 * finding.confidence)));
    if (finding.muted)
        html += QStringLiteral("<p><b>%1</b> %2</p>")
                    .arg(QObject::tr("Muted:"),
                         finding.muted->empty() ? QObject::tr("no reason was given") : escaped(*finding.muted));
    html += heading(QObject::tr("What happened"))
        + QStringLiteral("%1 %2").arg(escaped(ExpertText::whatHappened(finding)), numbers(finding));
    QStringList hosts;
    for (const auto& host : finding.hosts) {
        const auto text = host.text();
        if (!host || (&host == &finding.hosts[1] && host == finding.hosts[0]))
            continue;
        const auto words = asQt(findings.hostWords(host));
        hosts << (findings.talks().findHost(text) == TalkRow::none ? words.toHtmlEscaped()
                                                                   : link(Selected::host(text), words));
    }
    if (!hosts.isEmpty())
        html += QStringLiteral("<br>%1 %2").arg(QObject::tr("Hosts:"), hosts.join(QStringLiteral(", ")));
    if (finding.conversations > 1)
        html += QStringLiteral("<br>%1").arg(
            QObject::tr("One trouble of %1, told once as that of the %2.")
                .arg(asQt(counted(finding.conversations, "conversation", "conversations")), asQt(finding.scope())));
    html += heading(QObject::tr("Why it is reported")) + escaped(ExpertText::whyItFired(finding));
    if (!finding.symptoms.empty()) {
        QStringList symptoms;
        for (const auto& symptom : finding.symptoms)
            symptoms << QStringLiteral("%1 (%2)").arg(asQt(kindOf(symptom.finding).id), asQt(grouped(symptom.count)));
        html += QStringLiteral("<br>%1 %2").arg(QObject::tr("It explains also:"), symptoms.join(QStringLiteral(", ")));
    }
    html += heading(QObject::tr("Probable causes")) + list(ExpertText::probableCauses(finding));
    html += heading(QObject::tr("What to do next")) + list(ExpertText::nextSteps(finding));
    html += heading(QObject::tr("It is no trouble if")) + escaped(ExpertText::falsifier(finding));
    return html;
}

QString FindingText::overview(const CaptureFindings& findings)
{
    const auto& summary = findings.summary();
    const auto& table = findings.table();
    const auto said = counts(table);
    auto html = QStringLiteral("<h3 style='margin-bottom:2px'>%1</h3>")
                    .arg(said.isEmpty() ? QObject::tr("Nothing is wrong, as far as the capture shows") : said);
    html += QStringLiteral("<p>%1</p>").arg(lookedAt(findings));
    if (table.muted > 0)
        html += QStringLiteral("<p>%1</p>")
                    .arg(QObject::tr("%1 muted.").arg(asQt(counted(table.muted, "finding is", "findings are"))));
    html += QStringLiteral("<p>%1</p>").arg(account(summary).toHtmlEscaped());
    for (const auto& line : caveats(summary))
        html += QStringLiteral("<p>%1</p>").arg(line.toHtmlEscaped());
    if (!said.isEmpty())
        html += QStringLiteral("<p>%1</p>").arg(QObject::tr("Choose a finding to read about it."));
    return html;
}

QString FindingText::nothing(const CaptureFindings& findings)
{
    const auto all = findings.list().size();
    if (all == 0)
        return QObject::tr("Nothing is wrong in this capture, as far as it shows.\n\n%1").arg(lookedAt(findings));
    if (findings.table().muted == all)
        return QObject::tr("All that was found is muted: %1.\n\n%2")
            .arg(asQt(counted(all, "finding", "findings")), lookedAt(findings));
    return QObject::tr("None of the %1 is among what is wanted above.").arg(asQt(counted(all, "finding", "findings")));
}

QString FindingText::account(const CaptureExpertSummary& summary)
{
    const auto& accounting = summary.accounting;
    auto text = QObject::tr("%1 read = %2 analysed")
                    .arg(asQt(counted(accounting.read, "frame", "frames")), asQt(grouped(accounting.analysed)));
    const auto skipped = accounting.read - accounting.analysed;
    QStringList reasons;
    for (const auto& skip : accounting.skipped)
        reasons << QStringLiteral("%1 %2").arg(asQt(grouped(skip.frames)), asQt(skip.reason));
    text += QObject::tr(" + %1 left out").arg(asQt(grouped(skipped)));
    if (!reasons.isEmpty())
        text += QStringLiteral(": ") + reasons.join(QStringLiteral(", "));
    return text;
}

QStringList FindingText::caveats(const CaptureExpertSummary& summary)
{
    QStringList lines;
    for (const auto& line : summary.remarks)
        lines << asQt(line);
    for (const auto& line : summary.cutOff)
        lines << QObject::tr("Cut off: %1.").arg(asQt(line));
    return lines;
}

Selected FindingText::selected(const QUrl& url)
{
    const auto parts = url.path(QUrl::FullyEncoded).split(QLatin1Char('/'));
    const auto decoded = [&](qsizetype part) {
        return QUrl::fromPercentEncoding(parts.value(part).toLatin1()).toStdString();
    };
    const auto a = decoded(0), b = decoded(1);
    return b.empty() ? Selected::host(a) : Selected::conversation(a, b);
}

} // namespace netrondo
