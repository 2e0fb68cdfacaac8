#include "Analysis/Expert/FindingTable.h"

#include <algorithm>

namespace netrondo {
namespace {

std::string folded(std::string text)
{
    std::ranges::transform(text, text.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; });
    return text;
}

std::vector<std::string> wordsIn(const std::string& text)
{
    std::vector<std::string> words;
    std::string word;
    for (const char c : folded(text) + ' ') {
        if (c != ' ') {
            word += c;
        } else if (!word.empty()) {
            words.push_back(std::move(word));
            word.clear();
        }
    }
    return words;
}

std::string hostsText(const ExpertFinding& finding, const HostWords& words)
{
    std::string text;
    for (const auto& host : finding.hosts)
        if (host)
            text += (text.empty() ? "" : " ") + words(host);
    return text;
}

bool holdsAll(const ExpertFinding& finding, const std::vector<std::string>& wanted, const HostWords& words)
{
    if (wanted.empty())
        return true;
    std::string text = ExpertText::title(finding);
    text += '\n';
    text += finding.kind().id;
    text += '\n' + hostsText(finding, words) + '\n' + finding.detail;
    text = folded(std::move(text));
    return std::ranges::all_of(wanted, [&](const auto& word) { return text.find(word) != text.npos; });
}

bool isAbout(const ExpertFinding& finding, const Address& host, const Address& peer)
{
    const auto& [a, b] = finding.hosts;
    if (!host)
        return true;
    if (!peer)
        return a == host || b == host;
    return (a == host && b == peer) || (a == peer && b == host);
}

void sort(std::vector<std::uint32_t>& rows, std::span<const ExpertFinding> findings, const FindingWish& wish,
          const HostWords& words)
{
    // The list comes with what hurts most first; whatever else is equal stays so.
    const auto by = [&](auto&& key) {
        std::ranges::stable_sort(rows, [&](auto a, auto b) { return key(findings[a]) < key(findings[b]); });
    };
    // Texts are made once, not for every comparison.
    const auto byText = [&](auto&& key) {
        std::vector<std::pair<std::string, std::uint32_t>> keyed;
        keyed.reserve(rows.size());
        for (const auto row : rows)
            keyed.emplace_back(folded(key(findings[row])), row);
        std::ranges::stable_sort(keyed, {}, [](const auto& entry) -> const std::string& { return entry.first; });
        for (std::size_t i = 0; i < rows.size(); ++i)
            rows[i] = keyed[i].second;
    };
    switch (wish.order) {
    case FindingWish::Order::pain: break;
    case FindingWish::Order::title: byText([](const auto& finding) { return ExpertText::title(finding); }); break;
    case FindingWish::Order::hosts: byText([&](const auto& finding) { return hostsText(finding, words); }); break;
    case FindingWish::Order::layer: by([](const auto& finding) { return finding.kind().layer; }); break;
    case FindingWish::Order::count: by([](const auto& finding) { return ~finding.count; }); break; // most first
    case FindingWish::Order::first: by([](const auto& finding) { return finding.firstFrame; }); break;
    case FindingWish::Order::last: by([](const auto& finding) { return finding.lastFrame; }); break;
    case FindingWish::Order::confidence: by([](const auto& finding) { return -finding.confidence; }); break;
    }
    if (wish.isReversed)
        std::ranges::reverse(rows);
}

std::string inWords(Severity severity)
{
    constexpr std::array<std::string_view, 4> words{"Info", "Notes", "Warnings", "Errors"};
    return std::string(words[static_cast<std::size_t>(severity)]);
}

/// Groups by severity stand worst first, those by layer from the bottom up; hosts in the order in which they hurt.
struct GroupKey {
    int order = 0;
    Address host;
    friend auto operator<=>(const GroupKey&, const GroupKey&) = default;
};

GroupKey keyOf(const ExpertFinding& finding, FindingWish::Groups groups)
{
    switch (groups) {
    case FindingWish::Groups::severity: return {-static_cast<int>(finding.severity), {}};
    case FindingWish::Groups::layer: return {static_cast<int>(finding.kind().layer), {}};
    case FindingWish::Groups::host: return {0, finding.hosts[0] ? finding.hosts[0] : finding.hosts[1]};
    case FindingWish::Groups::none: break;
    }
    return {};
}

std::string titleOf(const ExpertFinding& finding, FindingWish::Groups groups, const HostWords& words)
{
    switch (groups) {
    case FindingWish::Groups::severity: return inWords(finding.severity);
    case FindingWish::Groups::layer: return std::string(inWords(finding.kind().layer));
    case FindingWish::Groups::host: {
        const auto host = keyOf(finding, groups).host;
        return host ? words(host) : std::string("The network and the capture");
    }
    case FindingWish::Groups::none: break;
    }
    return {};
}

std::pair<Address, Address> ordered(const Address& a, const Address& b)
{
    return b && b < a ? std::pair(b, a) : std::pair(a, b);
}

/// The hosts it is about: two in order, or one and none, or none at all.
std::pair<Address, Address> endsOf(const ExpertFinding& finding)
{
    const auto a = finding.hosts[0] ? finding.hosts[0] : finding.hosts[1];
    return ordered(a, finding.hosts[1] == a ? Address{} : finding.hosts[1]);
}

} // namespace

std::string_view inWords(ExpertLayer layer)
{
    constexpr std::array<std::string_view, 6> words{"The capture itself", "Physical layer (L1)",  "Link layer (L2)",
                                                    "Network layer (L3)", "Transport layer (L4)", "Applications (L7)"};
    return words[static_cast<std::size_t>(layer)];
}

FindingTable arrange(std::span<const ExpertFinding> findings, const FindingWish& wish, const HostWords& words)
{
    FindingTable table;
    const auto wanted = wordsIn(wish.text);
    std::map<GroupKey, std::size_t> groupOf;
    for (std::uint32_t i = 0; i < findings.size(); ++i) {
        const auto& finding = findings[i];
        if (finding.muted)
            ++table.muted;
        else
            ++table.counts[static_cast<std::size_t>(finding.severity)];
        if ((finding.muted && !wish.withMuted) || finding.severity < wish.least
            || (wish.layer && finding.kind().layer != *wish.layer) || !isAbout(finding, wish.host, wish.peer)
            || !holdsAll(finding, wanted, words))
            continue;
        const auto [at, isNew] = groupOf.try_emplace(keyOf(finding, wish.groups), table.groups.size());
        if (isNew)
            table.groups.push_back({titleOf(finding, wish.groups, words), finding.severity, {}});
        auto& group = table.groups[at->second];
        group.findings.push_back(i);
        group.worst = std::max(group.worst, finding.severity);
        ++table.shown;
    }
    if (wish.groups == FindingWish::Groups::severity || wish.groups == FindingWish::Groups::layer) {
        std::vector<FindingGroup> inOrder;
        for (const auto& [key, index] : groupOf)
            inOrder.push_back(std::move(table.groups[index]));
        table.groups = std::move(inOrder);
    }
    for (auto& group : table.groups)
        sort(group.findings, findings, wish, words);
    return table;
}

const FindingMarks::Mark* FindingMarks::find(const Address& host, const Address& peer) const
{
    const auto at = marks.find(ordered(host, peer));
    return at == marks.end() ? nullptr : &at->second;
}

FindingMarks marksOf(std::span<const ExpertFinding> findings)
{
    FindingMarks result;
    for (std::uint32_t i = 0; i < findings.size(); ++i) {
        const auto& finding = findings[i];
        const auto ends = endsOf(finding);
        if (!ends.first || finding.muted)
            continue;
        auto& mark = result.marks[ends];
        mark.severity = std::max(mark.severity, finding.severity);
        mark.findings.push_back(i);
    }
    return result;
}

MutedMarks::MutedMarks(std::span<const ExpertFinding> findings, std::vector<ExpertMute> mutes)
    : mutes_(std::move(mutes))
{
    for (const auto& finding : findings) {
        if (!finding.muted)
            continue;
        for (const auto& symptom : finding.symptoms)
            symptoms_.insert({symptom.finding, endsOf(finding)});
    }
}

bool MutedMarks::have(Finding finding, const Address& source, const Address& destination) const
{
    if (mutes_.empty())
        return false;
    ExpertFinding between;
    between.finding = finding;
    between.hosts = {source, destination};
    if (muteOf(between, mutes_))
        return true;
    const auto has = [&](const Address& a, const Address& b) { return symptoms_.contains({finding, ordered(a, b)}); };
    return has(source, destination) || has(source, {}) || has(destination, {}) || has({}, {});
}

} // namespace netrondo
