#include "Models/CaptureFindings.h"

#include "Analysis/Expert/RollUp.h"
#include "Base/Units.h"
#include "Models/Severities.h"
#include "Models/Text.h"

#include <QCoreApplication>
#include <algorithm>

namespace netrondo {

CaptureFindings::CaptureFindings(std::shared_ptr<const TalkTable> talks, std::vector<ExpertMute> mutes,
                                 FindingWish wish)
    : talks_(std::move(talks))
    , mutes_(std::move(mutes))
    , wish_(std::move(wish))
    , diagnosed_(mutes_.empty() ? std::vector<ExpertFinding>() : diagnose(*summary().records, mutes_))
    , list_(mutes_.empty() ? summary().findings : diagnosed_)
    , table_(arrange(list_, wish_, [this](const Address& host) { return hostWords(host); }))
    , marks_(marksOf(list_))
    , mutedMarks_(list_, mutes_)
{ }

std::string CaptureFindings::hostWords(const Address& host) const
{
    auto text = host.text();
    const auto row = talks_->findHost(text);
    if (row == TalkRow::none || talks_->hosts()[row].name.empty())
        return text;
    return talks_->hosts()[row].name + " (" + text + ')';
}

QString CaptureFindings::hostsText(const ExpertFinding& finding) const
{
    const auto words = [this](const Address& host) {
        const auto row = talks_->findHost(host.text());
        const bool isNamed = row != TalkRow::none && !talks_->hosts()[row].name.empty();
        return asQt(isNamed ? talks_->hosts()[row].name : host.text());
    };
    const auto& [a, b] = finding.hosts;
    if (a && b && a != b)
        return words(a) + QStringLiteral(" → ") + words(b);
    return a ? words(a) : b ? words(b) : QString();
}

Selected CaptureFindings::subjectOf(const ExpertFinding& finding) const
{
    const auto a = finding.hosts[0].text(), b = finding.hosts[1].text();
    if (talks_->findTalk(a, b) != TalkRow::none)
        return Selected::conversation(a, b);
    for (const auto& host : {a, b})
        if (!host.empty() && talks_->findHost(host) != TalkRow::none)
            return Selected::host(host);
    return {};
}

std::vector<std::uint32_t> CaptureFindings::about(const Selected& what) const
{
    const auto a = Address::parse(what.a), b = Address::parse(what.b);
    if (what.kind == Selected::Kind::conversation && a && b) {
        const auto* const mark = marks_.find(*a, *b);
        return mark ? mark->findings : std::vector<std::uint32_t>();
    }
    std::vector<std::uint32_t> found;
    if (what.kind == Selected::Kind::host && a)
        for (const auto& [ends, mark] : marks_.marks)
            if (ends.first == *a || ends.second == *a)
                found.insert(found.end(), mark.findings.begin(), mark.findings.end());
    std::ranges::sort(found);
    return found;
}

QStringList CaptureFindings::linesAbout(const Selected& what) const
{
    constexpr std::size_t most = 3;
    const auto found = about(what);
    QStringList lines;
    for (std::size_t i = 0; i < std::min(found.size(), most); ++i) {
        const auto& finding = (*this)[found[i]];
        lines << QStringLiteral("%1: %2").arg(severityWord(finding.severity), asQt(ExpertText::title(finding)));
    }
    if (found.size() > most)
        lines << QCoreApplication::translate("netrondo::CaptureFindings", "and %1")
                     .arg(asQt(units::counted(found.size() - most, "finding more", "findings more")));
    return lines;
}

} // namespace netrondo
