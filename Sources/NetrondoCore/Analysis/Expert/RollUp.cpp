// Which finding explains which.
#include "Analysis/Expert/RollUp.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <tuple>

namespace netrondo {
namespace {

/// When a symptom belongs to a diagnosis: of the same service where both name one, and …
enum class Same : std::uint8_t {
    conversation, ///< the same two hosts, whichever way
    sender,       ///< the same {a}
    target,       ///< the same {b}
    exactly,      ///< the same {a} and {b}
    itself,       ///< the symptom’s {a} speaks of itself, and is the diagnosis’s {a}
    station,      ///< the symptom’s {b} is the diagnosis’s {a}
    anything,
};

/// How much of a symptom a diagnosis explains.
enum class Explains : std::uint8_t {
    all,
    notes, ///< not what is worse than a note
    fewer, ///< not what was seen more often than the diagnosis itself
};

struct Rule {
    Finding symptom, diagnosis;
    Same same;
    Explains explains = Explains::all;
};

// In this order: what explains most comes first.
constexpr Rule rules[] = {
    {Finding::arpStorm, Finding::arpScan, Same::anything},
    {Finding::arpNoreply, Finding::arpScan, Same::sender},
    {Finding::arpNoreply, Finding::icmpUnreach, Same::target},
    {Finding::arpDupip, Finding::arpSpoof, Same::sender},
    {Finding::tcpRefused, Finding::scanPort, Same::conversation},
    {Finding::tcpRefused, Finding::scanHost, Same::sender},
    {Finding::tcpSynNoanswer, Finding::scanPort, Same::conversation},
    {Finding::tcpSynNoanswer, Finding::scanHost, Same::sender},
    {Finding::tcpHalfopen, Finding::scanPort, Same::target},
    {Finding::tcpRst, Finding::scanPort, Same::conversation},
    {Finding::tcpBadflags, Finding::scanPort, Same::conversation},
    {Finding::ipTtlExpired, Finding::ipLoop, Same::target},
    {Finding::ipTtlLow, Finding::ipLoop, Same::conversation},
    {Finding::icmpEcho, Finding::ipLoop, Same::target},
    {Finding::icmpEcho, Finding::icmpUnreach, Same::target},
    {Finding::tcpOptions, Finding::icmpUnreach, Same::target},
    {Finding::ipApipa, Finding::dhcpFail, Same::station},
    {Finding::tcpRetxInfra, Finding::capDupes, Same::anything},
    {Finding::tcpSpurious, Finding::tcpRetxInfra, Same::conversation},
    {Finding::tcpSpurious, Finding::tcpOoo, Same::conversation, Explains::fewer},
    {Finding::tcpAckedUnseen, Finding::capTruncated, Same::anything},
    {Finding::tcpAckedUnseen, Finding::capLoss, Same::anything},
    {Finding::tcpAckedUnseen, Finding::capOneway, Same::anything},
    {Finding::tcpSmallwin, Finding::tcpZerowin, Same::conversation},
    {Finding::tcpWinfull, Finding::tcpSmallwin, Same::conversation},
    {Finding::tcpWinfull, Finding::tcpZerowin, Same::conversation},
    {Finding::tcpKeepalive, Finding::tcpZerowin, Same::conversation},
    {Finding::tcpRto, Finding::tcpZerowin, Same::conversation},
    {Finding::tcpRetxEndpoint, Finding::tcpZerowin, Same::conversation, Explains::notes},
    {Finding::tcpRto, Finding::ipBlackhole, Same::conversation},
    {Finding::tcpFastretx, Finding::tcpOoo, Same::conversation},
    {Finding::tcpDupack, Finding::tcpOoo, Same::conversation},
    {Finding::tcpFastretx, Finding::tcpRetxEndpoint, Same::conversation},
    {Finding::tcpDupack, Finding::tcpRetxEndpoint, Same::conversation},
    {Finding::tcpSpurious, Finding::tcpRetxEndpoint, Same::conversation},
    {Finding::tcpDupack, Finding::tcpFastretx, Same::conversation},
    {Finding::tcpDupack, Finding::tcpRto, Same::conversation},
    {Finding::tcpDupack, Finding::tcpSpurious, Same::conversation},
    {Finding::tcpDupack, Finding::tcpRetxInfra, Same::conversation},
    {Finding::tcpRetxEndpoint, Finding::ipBlackhole, Same::conversation},
    {Finding::dnsNoreply, Finding::icmpUnreach, Same::target},
    {Finding::dnsSlow, Finding::dnsNoreply, Same::target},
    {Finding::icmpUnreach, Finding::dnsNoreply, Same::itself},
    {Finding::tlsAlert, Finding::tlsCert, Same::exactly},
    {Finding::tcpRst, Finding::tlsCert, Same::conversation, Explains::notes},
    {Finding::tcpRst, Finding::tlsAlert, Same::conversation, Explains::notes},
};

bool samePair(const ExpertFinding& a, const ExpertFinding& b)
{
    return a.hosts == b.hosts || (a.hosts[0] == b.hosts[1] && a.hosts[1] == b.hosts[0]);
}

bool belongs(const ExpertFinding& symptom, const ExpertFinding& diagnosis, Same same)
{
    if (symptom.port && diagnosis.port && symptom.port != diagnosis.port)
        return false;
    switch (same) {
    case Same::conversation: return samePair(symptom, diagnosis);
    case Same::sender: return symptom.hosts[0] == diagnosis.hosts[0];
    case Same::target: return symptom.hosts[1] == diagnosis.hosts[1];
    case Same::exactly: return symptom.hosts == diagnosis.hosts;
    case Same::itself: return symptom.hosts[0] == symptom.hosts[1] && symptom.hosts[0] == diagnosis.hosts[0];
    case Same::station: return symptom.hosts[1] && symptom.hosts[1] == diagnosis.hosts[0];
    case Same::anything: return true;
    }
    return false;
}

bool isExplained(const ExpertFinding& symptom, const ExpertFinding& diagnosis, Explains explains)
{
    switch (explains) {
    case Explains::all: return true;
    case Explains::notes: return symptom.severity <= Severity::note;
    case Explains::fewer: return symptom.count <= diagnosis.count;
    }
    return false;
}

void becomeSymptom(ExpertFinding& finding, ExpertFinding& diagnosis)
{
    diagnosis.addSymptom({finding.finding, finding.count});
    for (const auto& symptom : finding.symptoms)
        diagnosis.addSymptom(symptom);
    finding.count = 0;
}

/// What is muted does not speak for a diagnosis that is not; a muted diagnosis takes its symptoms along.
bool mayExplain(const ExpertFinding& diagnosis, const ExpertFinding& symptom)
{
    return diagnosis.muted || !symptom.muted;
}

/// Findings by their kind: there are a thousand of each at most, and tens of thousands in all.
using ByKind = std::array<std::vector<ExpertFinding*>, static_cast<std::size_t>(Finding::count)>;

void explain(const ByKind& findings, const Rule& rule)
{
    for (auto* symptom : findings[static_cast<std::size_t>(rule.symptom)]) {
        if (symptom->count == 0)
            continue;
        ExpertFinding* by = nullptr;
        for (auto* other : findings[static_cast<std::size_t>(rule.diagnosis)]) {
            const bool isBetter = !by || (by->muted && !other->muted);
            if (isBetter && other->count && mayExplain(*other, *symptom) && belongs(*symptom, *other, rule.same)
                && isExplained(*symptom, *other, rule.explains))
                by = other;
        }
        if (by)
            becomeSymptom(*symptom, *by);
    }
}

/// Repetitions are told as waits for the timer where the connection was lost to them, else the waits as repetitions.
void explainTimeouts(std::vector<ExpertFinding>& findings)
{
    for (auto& timeout : findings) {
        if (timeout.finding != Finding::tcpRto || timeout.count == 0)
            continue;
        const bool isLost = timeout.severity == Severity::error;
        if (isLost) { // when the other side is back it resets what it no longer knows
            for (auto& reset : findings) {
                if (reset.finding == Finding::tcpRst && reset.count && reset.severity <= Severity::note
                    && mayExplain(timeout, reset) && belongs(reset, timeout, Same::conversation))
                    becomeSymptom(reset, timeout);
            }
        }
        for (auto& resent : findings) {
            if (resent.finding != Finding::tcpRetxEndpoint || resent.count == 0
                || !belongs(resent, timeout, Same::conversation))
                continue;
            auto& symptom = isLost ? resent : timeout;
            auto& diagnosis = isLost ? timeout : resent;
            if (!mayExplain(diagnosis, symptom))
                continue;
            diagnosis.severity = std::max(diagnosis.severity, symptom.severity);
            becomeSymptom(symptom, diagnosis);
            break;
        }
    }
}

/// Where addresses are translated, a capture at several points sees one event twice, under two names of a host. Only
/// what tells in words what it saw is known again for sure.
void foldTranslated(std::vector<ExpertFinding>& findings)
{
    constexpr double atOnce = 0.02;
    std::vector<ExpertFinding*> order;
    for (auto& finding : findings) {
        if (finding.count && finding.hosts[0] && finding.hosts[1] && finding.hosts[0] != finding.hosts[1]
            && !finding.detail.empty() && finding.kind().layer == ExpertLayer::application)
            order.push_back(&finding);
    }
    std::ranges::sort(order, [](const auto* a, const auto* b) {
        return std::tuple(a->finding, a->firstFrame, a->lastFrame)
            < std::tuple(b->finding, b->firstFrame, b->lastFrame);
    });
    for (std::size_t i = 0; i < order.size(); ++i) {
        auto& first = *order[i];
        for (std::size_t j = i + 1; j < order.size() && first.count; ++j) {
            auto& other = *order[j];
            if (other.finding != first.finding || other.firstSeconds - first.firstSeconds > atOnce)
                break;
            const bool sharesAHost = (first.hosts[0] == other.hosts[0]) != (first.hosts[1] == other.hosts[1]);
            if (!other.count || !sharesAHost || other.muted != first.muted || other.port != first.port
                || other.count != first.count || other.detail != first.detail
                || std::abs(other.lastSeconds - first.lastSeconds) > atOnce)
                continue;
            const auto count = first.count;
            first.absorb(other);
            first.count = count; // the same events
        }
    }
}

/// What the path does to both directions is one trouble: it is told of the one that showed it first.
void foldDirections(std::vector<ExpertFinding>& findings)
{
    for (auto first = findings.begin(); first != findings.end(); ++first) {
        if (first->finding != Finding::ipFrag || !first->count)
            continue;
        const auto other = std::find_if(first + 1, findings.end(), [&](const auto& one) {
            return one.finding == first->finding && one.count && one.severity == first->severity
                && one.muted == first->muted && one.hosts[0] == first->hosts[1] && one.hosts[1] == first->hosts[0];
        });
        if (other == findings.end())
            continue;
        first->absorb(*other);
        first->measured = static_cast<double>(first->count);
    }
}

/// What is of the way between two hosts whatever they talk about; of the others the service is a part.
bool isOfThePath(Finding finding)
{
    constexpr Finding ofServices[] = {Finding::tcpRetxApp, Finding::tcpRefused, Finding::tcpHalfopen,
                                      Finding::tcpReuse};
    return kindOf(finding).layer == ExpertLayer::transport
        && std::ranges::find(ofServices, finding) == std::end(ofServices);
}

/// A frame that goes round in circles is captured several times.
void explainCopies(std::vector<ExpertFinding>& findings)
{
    std::uint64_t circling = 0;
    ExpertFinding* loop = nullptr;
    for (auto& finding : findings) {
        if (finding.finding == Finding::ethLoop && finding.count) {
            circling += finding.count;
            loop = loop ? loop : &finding;
        }
    }
    for (auto& finding : findings) {
        if (finding.finding == Finding::capDupes && loop && circling * 2 >= finding.count
            && mayExplain(*loop, finding)) {
            becomeSymptom(finding, *loop);
        }
    }
}

/// One trouble of many is told once, as that of what they have in common.
template <typename Key>
void gather(std::vector<ExpertFinding*> order, std::size_t least, std::array<bool, 2> keeps, Key keyOf)
{
    const auto key = [&](const ExpertFinding* finding) {
        return std::pair(finding->muted.has_value(), keyOf(*finding));
    };
    std::ranges::stable_sort(order, [&](const auto* a, const auto* b) { return key(a) < key(b); });
    for (std::size_t from = 0; from < order.size();) {
        auto to = from + 1;
        while (to < order.size() && key(order[to]) == key(order[from]))
            ++to;
        const std::span group(order.data() + from, to - from);
        from = to;
        if (group.size() < least)
            continue;
        auto& whole = *group.front();
        for (auto* other : group.subspan(1)) {
            if (other->port != whole.port)
                whole.port = 0;
            whole.absorb(*other);
        }
        whole.conversations = static_cast<std::uint32_t>(group.size());
        for (const auto side : {0u, 1u}) {
            if (!keeps[side])
                whole.hosts[side] = {};
        }
    }
}

/// The same of conversations. What is muted is told of its own one only.
template <typename Key>
void gatherConversations(std::vector<ExpertFinding>& findings, std::size_t least, std::array<bool, 2> keeps, Key keyOf)
{
    std::vector<ExpertFinding*> order;
    for (auto& finding : findings) {
        const bool isOfTwo = finding.hosts[0] && finding.hosts[1] && finding.hosts[0] != finding.hosts[1];
        const bool isTold = !finding.muted || (keeps[0] && keeps[1]);
        if (finding.count && isTold && isOfTwo && finding.kind().layer >= ExpertLayer::network)
            order.push_back(&finding);
    }
    gather(std::move(order), least, keeps, keyOf);
}

/// The same of hosts: what one does on many ports, and what very many do.
void gatherHosts(std::vector<ExpertFinding>& findings, std::size_t services, std::size_t hosts)
{
    const auto single = [&] {
        std::vector<ExpertFinding*> order;
        for (auto& finding : findings) {
            if (finding.count && !finding.muted && finding.scope() == "host"
                && finding.kind().layer >= ExpertLayer::network) // stations are looked for one by one
                order.push_back(&finding);
        }
        return order;
    };
    const auto before = single();
    gather(before, services, {true, true},
           [](const ExpertFinding& finding) { return std::tuple(finding.finding, finding.hosts); });
    for (auto* finding : before)
        finding->conversations = 1; // several ports of a host are one host
    gather(single(), hosts, {false, false}, [](const ExpertFinding& finding) { return finding.finding; });
}

void gatherByScope(std::vector<ExpertFinding>& findings)
{
    constexpr std::size_t ofAHost = 5, ofMany = 10, ofTheNetwork = 20;
    gatherHosts(findings, ofAHost, ofTheNetwork);
    const auto service = [](const ExpertFinding& finding) { return isOfThePath(finding.finding) ? 0 : finding.port; };
    gatherConversations(findings, 2, {true, true}, [&](const ExpertFinding& finding) {
        return std::tuple(finding.finding, finding.hosts, service(finding));
    });
    for (auto& finding : findings) {
        if (finding.scope() == "conversation")
            finding.conversations = 1; // several connections of two hosts are one
    }
    gatherConversations(findings, ofAHost, {true, false}, [&](const ExpertFinding& finding) {
        return std::tuple(finding.finding, finding.hosts[0], service(finding));
    });
    gatherConversations(findings, ofAHost, {false, true}, [&](const ExpertFinding& finding) {
        return std::tuple(finding.finding, finding.hosts[1], service(finding));
    });
    // The network does not ask for services: where so many fail they have that in common.
    for (const auto keeps : {std::array{true, false}, std::array{false, true}}) {
        gatherConversations(findings, ofMany, keeps, [&](const ExpertFinding& finding) {
            const auto part = finding.kind().layer == ExpertLayer::application ? finding.port : 0;
            return std::tuple(finding.finding, finding.hosts[keeps[0] ? 0 : 1], part);
        });
    }
    gatherConversations(findings, ofTheNetwork, {false, false},
                        [&](const ExpertFinding& finding) { return std::tuple(finding.finding, service(finding)); });
}

void rollUp(std::vector<ExpertFinding>& findings)
{
    ByKind byKind;
    for (auto& finding : findings)
        byKind[static_cast<std::size_t>(finding.finding)].push_back(&finding);
    for (const auto& rule : rules)
        explain(byKind, rule);
    explainTimeouts(findings);
    explainCopies(findings);
    foldTranslated(findings);
    foldDirections(findings);
    gatherByScope(findings);
    std::erase_if(findings, [](const auto& finding) { return finding.count == 0; });
}

bool has(std::span<const ExpertFinding> findings, Finding wanted)
{
    return std::ranges::find(findings, wanted, &ExpertFinding::finding) != findings.end();
}

} // namespace

std::vector<ExpertFinding> diagnose(std::vector<ExpertFinding> findings, std::span<const ExpertMute> mutes)
{
    const bool isCut = has(findings, Finding::capTruncated);
    const bool missesFrames = has(findings, Finding::capLoss) || has(findings, Finding::capOneway);
    applyMutes(findings, mutes);
    rollUp(findings);
    for (auto& finding : findings) {
        const auto layer = finding.kind().layer;
        if (missesFrames && layer == ExpertLayer::transport) { // what looks lost may only be missing here
            finding.confidence /= 2;
            finding.caveat = "The capture misses frames.";
        }
        if (isCut && layer == ExpertLayer::application)
            finding.caveat = "Limited by snap length.";
    }
    std::stable_sort(findings.begin(), findings.end(), [](const auto& a, const auto& b) {
        return std::tuple(b.severity, b.confidence, b.count, a.finding, a.firstFrame)
            < std::tuple(a.severity, a.confidence, a.count, b.finding, b.firstFrame);
    });
    return findings;
}

} // namespace netrondo
