// Which finding explains which.
#include "Analysis/Expert/RollUp.h"

#include <algorithm>

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
    {Finding::tcpRetxInfra, Finding::capDupes, Same::anything},
    {Finding::tcpSpurious, Finding::tcpRetxInfra, Same::conversation},
    {Finding::tcpAckedUnseen, Finding::capLoss, Same::anything},
    {Finding::tcpAckedUnseen, Finding::capOneway, Same::anything},
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

} // namespace

void rollUp(std::vector<ExpertFinding>& findings)
{
    for (const auto& [symptom, diagnosis, same] : rules)
        explain(findings, symptom, diagnosis, same);
    explainTimeouts(findings);
    std::erase_if(findings, [](const auto& finding) { return finding.count == 0; });
}

} // namespace netrondo
