// Which finding explains which.
#include "Analysis/Expert/RollUp.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <span>
#include <tuple>

namespace netrondo {
namespace {

/// When a symptom belongs to a diagnosis.
enum class Same : std::uint8_t {
    conversation, ///< the same two hosts, whichever way, and the same service where both name one
    pair,         ///< the same two hosts, whichever way
    sender,       ///< the same {a}
    target,       ///< the same {b}
    exactly,      ///< the same {a} and {b}
    itself,       ///< the symptom’s {a} speaks of itself, and is the diagnosis’s {a}
    station,      ///< the symptom’s {b} is the diagnosis’s {a}
    anything,
};

struct Rule {
    Finding symptom, diagnosis;
    Same same;
};

// In this order: what explains most comes first.
constexpr Rule rules[] = {
    {Finding::arpStorm, Finding::arpScan, Same::anything},
    {Finding::arpNoreply, Finding::arpScan, Same::sender},
    {Finding::arpNoreply, Finding::icmpUnreach, Same::target},
    {Finding::arpDupip, Finding::arpSpoof, Same::sender},
    {Finding::tcpRefused, Finding::scanPort, Same::pair},
    {Finding::tcpRefused, Finding::scanHost, Same::sender},
    {Finding::tcpSynNoanswer, Finding::scanPort, Same::pair},
    {Finding::tcpSynNoanswer, Finding::scanHost, Same::sender},
    {Finding::tcpHalfopen, Finding::scanPort, Same::target},
    {Finding::tcpRst, Finding::scanPort, Same::pair},
    {Finding::tcpBadflags, Finding::scanPort, Same::pair},
    {Finding::ipTtlExpired, Finding::ipLoop, Same::target},
    {Finding::ipTtlLow, Finding::ipLoop, Same::pair},
    {Finding::icmpEcho, Finding::ipLoop, Same::target},
    {Finding::icmpEcho, Finding::icmpUnreach, Same::target},
    {Finding::tcpOptions, Finding::icmpUnreach, Same::target},
    {Finding::ipApipa, Finding::dhcpFail, Same::station},
    {Finding::tcpRetxInfra, Finding::capDupes, Same::anything},
    {Finding::tcpSpurious, Finding::tcpRetxInfra, Same::conversation},
    {Finding::tcpAckedUnseen, Finding::capTruncated, Same::anything},
    {Finding::tcpAckedUnseen, Finding::capLoss, Same::anything},
    {Finding::tcpAckedUnseen, Finding::capOneway, Same::anything},
    {Finding::tcpSmallwin, Finding::tcpZerowin, Same::conversation},
    {Finding::tcpWinfull, Finding::tcpSmallwin, Same::conversation},
    {Finding::tcpWinfull, Finding::tcpZerowin, Same::conversation},
    {Finding::tcpKeepalive, Finding::tcpZerowin, Same::conversation},
    {Finding::tcpRto, Finding::tcpZerowin, Same::conversation},
    {Finding::tcpRto, Finding::ipBlackhole, Same::pair},
    {Finding::tcpFastretx, Finding::tcpOoo, Same::conversation},
    {Finding::tcpDupack, Finding::tcpOoo, Same::conversation},
    {Finding::tcpFastretx, Finding::tcpRetxEndpoint, Same::conversation},
    {Finding::tcpDupack, Finding::tcpRetxEndpoint, Same::conversation},
    {Finding::tcpSpurious, Finding::tcpRetxEndpoint, Same::conversation},
    {Finding::tcpDupack, Finding::tcpFastretx, Same::conversation},
    {Finding::tcpDupack, Finding::tcpRto, Same::conversation},
    {Finding::tcpDupack, Finding::tcpSpurious, Same::conversation},
    {Finding::tcpDupack, Finding::tcpRetxInfra, Same::conversation},
    {Finding::tcpRetxEndpoint, Finding::ipBlackhole, Same::pair},
    {Finding::dnsNoreply, Finding::icmpUnreach, Same::target},
    {Finding::dnsSlow, Finding::dnsNoreply, Same::target},
    {Finding::icmpUnreach, Finding::dnsNoreply, Same::itself},
    {Finding::tlsAlert, Finding::tlsCert, Same::exactly},
};

bool samePair(const ExpertFinding& a, const ExpertFinding& b)
{
    return a.hosts == b.hosts || (a.hosts[0] == b.hosts[1] && a.hosts[1] == b.hosts[0]);
}

bool belongs(const ExpertFinding& symptom, const ExpertFinding& diagnosis, Same same)
{
    switch (same) {
    case Same::conversation:
        return samePair(symptom, diagnosis) && (symptom.port == diagnosis.port || !symptom.port || !diagnosis.port);
    case Same::pair: return samePair(symptom, diagnosis);
    case Same::sender: return symptom.hosts[0] == diagnosis.hosts[0];
    case Same::target: return symptom.hosts[1] == diagnosis.hosts[1];
    case Same::exactly: return symptom.hosts == diagnosis.hosts;
    case Same::itself: return symptom.hosts[0] == symptom.hosts[1] && symptom.hosts[0] == diagnosis.hosts[0];
    case Same::station: return symptom.hosts[1] && symptom.hosts[1] == diagnosis.hosts[0];
    case Same::anything: return true;
    }
    return false;
}

void explain(std::vector<ExpertFinding>& findings, Finding symptom, Finding diagnosis, Same same)
{
    for (auto& explained : findings) {
        if (explained.finding != symptom || explained.count == 0)
            continue;
        const auto by = std::find_if(findings.begin(), findings.end(), [&](const auto& other) {
            return other.finding == diagnosis && other.count && &other != &explained && belongs(explained, other, same);
        });
        if (by == findings.end())
            continue;
        const auto known = std::find_if(by->symptoms.begin(), by->symptoms.end(),
                                        [&](const auto& one) { return one.finding == symptom; });
        if (known == by->symptoms.end())
            by->symptoms.push_back({symptom, explained.count});
        else
            known->count += explained.count;
        by->symptoms.insert(by->symptoms.end(), explained.symptoms.begin(), explained.symptoms.end());
        explained.count = 0;
    }
}

/// Repetitions are told as waits for the timer where the connection was lost to them, else the waits as repetitions.
void explainTimeouts(std::vector<ExpertFinding>& findings)
{
    for (auto& timeout : findings) {
        if (timeout.finding != Finding::tcpRto || timeout.count == 0)
            continue;
        for (auto& resent : findings) {
            if (resent.finding != Finding::tcpRetxEndpoint || resent.count == 0
                || !belongs(resent, timeout, Same::conversation))
                continue;
            const bool isLost = timeout.severity == Severity::error;
            auto& symptom = isLost ? resent : timeout;
            auto& diagnosis = isLost ? timeout : resent;
            diagnosis.symptoms.push_back({symptom.finding, symptom.count});
            diagnosis.symptoms.insert(diagnosis.symptoms.end(), symptom.symptoms.begin(), symptom.symptoms.end());
            diagnosis.severity = std::max(diagnosis.severity, symptom.severity);
            symptom.count = 0;
            break;
        }
    }
}

/// Adds what another finding of the same kind saw.
void absorb(ExpertFinding& into, ExpertFinding& other)
{
    into.count += other.count;
    into.severity = std::max(into.severity, other.severity);
    into.confidence = std::max(into.confidence, other.confidence);
    if (other.measured > into.measured) {
        into.measured = other.measured;
        into.threshold = other.threshold;
    }
    if (other.firstFrame < into.firstFrame) {
        into.firstFrame = other.firstFrame;
        into.firstSeconds = other.firstSeconds;
    }
    if (other.lastFrame > into.lastFrame) {
        into.lastFrame = other.lastFrame;
        into.lastSeconds = other.lastSeconds;
    }
    auto& evidence = into.evidence;
    evidence.insert(evidence.end(), other.evidence.begin(), other.evidence.end());
    std::ranges::sort(evidence);
    evidence.erase(std::ranges::unique(evidence).begin(), evidence.end());
    evidence.resize(std::min(evidence.size(), ExpertFinding::maxEvidence));
    for (const auto& symptom : other.symptoms) {
        const auto known = std::ranges::find(into.symptoms, symptom.finding, &ExpertFinding::Symptom::finding);
        if (known == into.symptoms.end())
            into.symptoms.push_back(symptom);
        else
            known->count += symptom.count;
    }
    other.count = 0;
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
            if (!other.count || !sharesAHost || other.port != first.port || other.count != first.count
                || other.detail != first.detail || std::abs(other.lastSeconds - first.lastSeconds) > atOnce)
                continue;
            const auto count = first.count;
            absorb(first, other);
            first.count = count; // the same events
        }
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
        if (finding.finding == Finding::capDupes && loop && circling * 2 >= finding.count) {
            loop->symptoms.push_back({finding.finding, finding.count});
            finding.count = 0;
        }
    }
}

/// One trouble of many conversations is told once, as that of what they have in common.
template <typename Key>
void gather(std::vector<ExpertFinding>& findings, std::size_t least, std::array<bool, 2> keeps, Key keyOf)
{
    std::vector<ExpertFinding*> order;
    for (auto& finding : findings) {
        const bool isOfTwo = finding.hosts[0] && finding.hosts[1] && finding.hosts[0] != finding.hosts[1];
        if (finding.count && !finding.muted && isOfTwo && finding.kind().layer >= ExpertLayer::network)
            order.push_back(&finding);
    }
    std::ranges::stable_sort(order, [&](const auto* a, const auto* b) { return keyOf(*a) < keyOf(*b); });
    for (std::size_t from = 0; from < order.size();) {
        auto to = from + 1;
        while (to < order.size() && keyOf(*order[to]) == keyOf(*order[from]))
            ++to;
        const std::span group(order.data() + from, to - from);
        from = to;
        if (group.size() < least)
            continue;
        auto& whole = *group.front();
        for (auto* other : group.subspan(1)) {
            if (other->port != whole.port)
                whole.port = 0;
            absorb(whole, *other);
        }
        whole.conversations = static_cast<std::uint32_t>(group.size());
        for (const auto side : {0u, 1u}) {
            if (!keeps[side])
                whole.hosts[side] = {};
        }
    }
}

void gatherByScope(std::vector<ExpertFinding>& findings)
{
    constexpr std::size_t ofAHost = 5, ofMany = 10, ofTheNetwork = 20;
    const auto service = [](const ExpertFinding& finding) { return isOfThePath(finding.finding) ? 0 : finding.port; };
    gather(findings, 2, {true, true},
           [&](const ExpertFinding& finding) { return std::tuple(finding.finding, finding.hosts, service(finding)); });
    for (auto& finding : findings)
        finding.conversations = 1; // several connections of two hosts are one conversation
    gather(findings, ofAHost, {true, false}, [&](const ExpertFinding& finding) {
        return std::tuple(finding.finding, finding.hosts[0], service(finding));
    });
    gather(findings, ofAHost, {false, true}, [&](const ExpertFinding& finding) {
        return std::tuple(finding.finding, finding.hosts[1], service(finding));
    });
    // The network does not ask for services: where so many fail they have that in common.
    for (const auto keeps : {std::array{true, false}, std::array{false, true}}) {
        gather(findings, ofMany, keeps, [&](const ExpertFinding& finding) {
            const auto part = finding.kind().layer == ExpertLayer::application ? finding.port : 0;
            return std::tuple(finding.finding, finding.hosts[keeps[0] ? 0 : 1], part);
        });
    }
    gather(findings, ofTheNetwork, {false, false},
           [&](const ExpertFinding& finding) { return std::tuple(finding.finding, service(finding)); });
}

} // namespace

void rollUp(std::vector<ExpertFinding>& findings)
{
    for (const auto& [symptom, diagnosis, same] : rules)
        explain(findings, symptom, diagnosis, same);
    explainTimeouts(findings);
    explainCopies(findings);
    foldTranslated(findings);
    gatherByScope(findings);
    std::erase_if(findings, [](const auto& finding) { return finding.count == 0; });
}

} // namespace netrondo
