// The rules about ARP.
#include "Analysis/Expert/ArpScan.h"

#include "Analysis/Model/ConversationTable.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>

namespace netrondo {
namespace {

constexpr std::uint32_t proxyAnswers = 5; // who answers for so many addresses is a proxy

} // namespace

void ArpScan::learnGateway(const Address& router)
{
    if (auto* claim = claims_.at(router))
        claim->isGateway = true;
}

void ArpScan::prefetch(const Address& mac, const Address& sender, const Address& target, int step) const
{
    const ArpQuestion question{static_cast<std::uint32_t>(sender.low), static_cast<std::uint32_t>(target.low)};
    const auto bring = [step](const auto& table, const auto& key) {
        step == 0 ? table.prefetchIndex(key) : table.prefetchEntry(key);
    };
    bring(claims_, sender);
    bring(announcers_, mac);
    bring(questions_, question);
    bring(askers_, sender);
}

void ArpScan::scan(const FrameSight& sight, FindingLog& log)
{
    const auto arp = slice(sight.data(), sight.outline.networkOffset);
    if (arp.size() < 28 || arp[4] != 6 || arp[5] != 4)
        return;
    constexpr std::uint16_t request = 1, reply = 2;
    const auto operation = load::be16(arp.data() + 6);
    const auto senderMac = load::be48(arp.data() + 8);
    const auto sender = load::be32(arp.data() + 14), target = load::be32(arp.data() + 24);
    if (sight.outline.hasSourceMac && sight.sourceMac() != senderMac && !isSharedByRouters(sight.sourceMac())
        && !isSharedByRouters(senderMac)) {
        auto& finding = log.record(Finding::arpMismatch, {Address::mac(sight.sourceMac()), {}, 0}, sight.at);
        finding.measured = static_cast<double>(finding.count);
        if (finding.detail.empty())
            finding.detail = Address::mac(senderMac).text();
    }
    if (sender == 0) // a probe: it asks before it claims
        return;
    if (operation == reply && sight.destinationMac() >> 40 != 0xff)
        ++unicastReplies_;
    if (operation == request && sender != target)
        scanRequest(sender, target, sight, log);
    if (operation == reply) {
        auto* question = questions_.find(ArpQuestion{target, sender});
        if (question) {
            question->unanswered = 0;
        } else if (auto* claim = claims_.at(Address::ipv4(sender)); claim && claim->isGateway && sender != target) {
            if (claim->unsolicited.add(sight.at.seconds, 60) >= preferences_.unsolicitedReplies) {
                auto& finding = log.record(Finding::arpSpoof, {Address::ipv4(sender), {}, 0}, sight.at);
                finding.measured = claim->unsolicited.count;
                finding.threshold = preferences_.unsolicitedReplies;
                finding.detail = fmt::format("unsolicited replies of {}", Address::mac(senderMac).text());
            }
        }
    }
    if (sender == target) {
        if (auto* announcer = announcers_.at(Address::mac(senderMac))) {
            const auto count = announcer->announcements.add(sight.at.seconds, 10);
            if (count >= preferences_.announcements) {
                auto& finding = log.record(Finding::arpGarp, {Address::mac(senderMac), {}, 0}, sight.at);
                finding.measured = std::max<double>(finding.measured, count);
                finding.threshold = preferences_.announcements;
            }
        }
    }
    scanClaim(senderMac, sender, sight, log);
}

void ArpScan::scanClaim(std::uint64_t mac, std::uint32_t ip, const FrameSight& sight, FindingLog& log)
{
    const auto address = Address::ipv4(ip);
    auto* claim = claims_.at(address);
    auto* announcer = announcers_.at(Address::mac(mac));
    if (!claim)
        return;
    if (claim->mac != mac && announcer)
        ++announcer->answered;
    if (claim->mac != 0 && claim->mac != mac && !isSharedByRouters(mac) && !isSharedByRouters(claim->mac)
        && sight.at.seconds - claim->at.seconds <= preferences_.addressConflictSeconds) {
        const bool isReturn = claim->before == mac;
        claim->returns += isReturn;
        const auto flips = isReturn ? claim->flips.add(sight.at.seconds, 60) : 0;
        claim->mostFlips = std::max(claim->mostFlips, flips);
        const auto finding =
            claim->isGateway && flips >= preferences_.spoofFlips ? Finding::arpSpoof : Finding::arpDupip;
        const Subject subject{address, {}, 0};
        log.record(finding, subject, claim->at);
        auto& record = log.record(finding, subject, sight.at);
        record.measured = static_cast<double>(record.evidence.size());
        record.threshold = finding == Finding::arpSpoof ? preferences_.spoofFlips : preferences_.addressConflictSeconds;
        record.detail = fmt::format("{} and {}", Address::mac(claim->mac).text(), Address::mac(mac).text());
    }
    if (claim->mac != mac) {
        claim->before = claim->mac;
        claim->mac = mac;
    }
    claim->at = sight.at;
    claim->lastSeen = sight.at.seconds;
}

void ArpScan::scanRequest(std::uint32_t sender, std::uint32_t target, const FrameSight& sight, FindingLog& log)
{
    const auto rate = requests_.add(sight.at.seconds, 1);
    if (rate == 1)
        stormFirst_ = sight.at;
    if (rate >= preferences_.arpStormPerSecond) {
        if (rate == static_cast<std::uint32_t>(preferences_.arpStormPerSecond))
            log.record(Finding::arpStorm, {}, stormFirst_);
        auto& storm = log.record(Finding::arpStorm, {}, sight.at);
        storm.measured = std::max<double>(storm.measured, rate);
        storm.threshold = preferences_.arpStormPerSecond;
    }
    const ArpQuestion key{sender, target};
    const bool isNew = !questions_.find(key);
    auto* question = questions_.at(key);
    if (question) {
        if (question->unanswered++ == 0)
            question->first = sight.at;
        question->latest[(question->unanswered - 1) % question->latest.size()] = sight.at;
        question->last = sight.at;
    }
    if (!isNew && question)
        return;
    auto* asker = askers_.at(Address::ipv4(sender));
    if (!asker)
        return;
    constexpr double span = 10;
    const bool goesOn = asker->all && sight.at.seconds - asker->latest <= span;
    const auto targets = asker->targets.add(sight.at.seconds, span);
    if (targets == 1)
        asker->frames.clear();
    asker->latest = sight.at.seconds;
    if (!goesOn && targets < preferences_.arpTargets) {
        asker->all = 0;
        if (asker->frames.size() < ExpertFinding::maxEvidence)
            asker->frames.push_back(sight.at);
        return;
    }
    const Subject subject{Address::ipv4(sender), {}, 0};
    for (const auto& earlier : asker->frames)
        log.record(Finding::arpScan, subject, earlier);
    asker->frames.clear();
    asker->all = asker->all ? asker->all + 1 : targets;
    auto& scan = log.record(Finding::arpScan, subject, sight.at);
    scan.measured = std::max<double>(scan.measured, asker->all);
    scan.threshold = preferences_.arpTargets;
}

void ArpScan::finish(const ConversationTable& table, FindingLog& log, double end) const
{
    constexpr double patience = 3;
    for (const auto& [key, question] : questions_.entries()) {
        if (question.unanswered < preferences_.arpUnanswered || end - question.first.seconds < patience)
            continue;
        const Subject subject{Address::ipv4(key.sender), Address::ipv4(key.target), 0};
        auto latest = question.latest;
        std::sort(latest.begin(), latest.end(), [](const auto& a, const auto& b) { return a.frame < b.frame; });
        if (question.unanswered > latest.size())
            log.record(Finding::arpNoreply, subject, question.first);
        for (const auto& sighting : latest)
            log.record(Finding::arpNoreply, subject, sighting);
        auto* finding = log.find(Finding::arpNoreply, subject);
        if (!finding)
            continue;
        finding->count = question.unanswered;
        finding->measured = question.unanswered;
        finding->threshold = preferences_.arpUnanswered;
        const auto* target = claims_.find(Address::ipv4(key.target));
        const bool hasLeft = target && question.first.seconds - target->lastSeen < 60;
        if (unicastReplies_ == 0 || hasLeft) { // replies do not come past here, or somebody asks after who just left
            finding->severity = Severity::info;
            finding->confidence = 0.3;
        }
    }
    finishConflicts(table, log);
}

/// Those that carry the packets of many hosts which are not theirs.
std::set<std::uint64_t> ArpScan::routersAmong(const std::set<std::uint64_t>& macs, const ConversationTable& table) const
{
    constexpr std::size_t many = 5;
    std::map<std::uint64_t, std::set<Address>> carried;
    for (std::uint32_t i = 0; i < table.conversations.size(); ++i) {
        const auto& conversation = table.conversations[i];
        if (conversation.hostKind != Address::Kind::ipv4)
            continue;
        for (const int direction : {0, 1}) {
            for (const int end : {0, 1}) {
                if (conversation.otherKinds[direction][end] != Address::Kind::mac)
                    continue;
                const auto mac =
                    table.addresses.address(Address::Kind::mac, conversation.origins[direction].others[end]).low;
                if (!macs.contains(mac))
                    continue;
                const auto host = table.addresses.address(Address::Kind::ipv4, conversation.hosts[direction ^ end]);
                const auto* claim = claims_.find(host);
                if (!claim || (claim->mac != mac && claim->before != mac))
                    carried[mac].insert(host);
            }
        }
    }
    std::set<std::uint64_t> routers;
    for (const auto& [mac, hosts] : carried) {
        if (hosts.size() >= many)
            routers.insert(mac);
    }
    return routers;
}

void ArpScan::finishConflicts(const ConversationTable& table, FindingLog& log) const
{
    if (!log.has(Finding::arpDupip))
        return;
    std::set<std::uint64_t> rivals;
    for (const auto& record : log.records()) {
        const auto* claim = record.finding == Finding::arpDupip ? claims_.find(record.hosts[0]) : nullptr;
        if (claim && claim->mostFlips >= preferences_.spoofFlips) {
            rivals.insert(claim->mac);
            rivals.insert(claim->before);
        }
    }
    const auto routers = rivals.empty() ? rivals : routersAmong(rivals, table);
    for (auto& record : log.records()) {
        if (record.finding != Finding::arpDupip)
            continue;
        const auto* claim = claims_.find(record.hosts[0]);
        const auto* newer = announcers_.find(Address::mac(claim->mac));
        const auto* older = announcers_.find(Address::mac(claim->before));
        record.count = 2;
        if (claim->mostFlips >= preferences_.spoofFlips
            && (routers.contains(claim->mac) || routers.contains(claim->before))) {
            record.finding = Finding::arpSpoof;
            record.confidence = usualConfidence(Finding::arpSpoof);
            record.count = record.evidence.size();
            record.measured = claim->mostFlips;
            record.threshold = preferences_.spoofFlips;
        } else if ((newer && newer->answered >= proxyAnswers) || (older && older->answered >= proxyAnswers)) {
            record.severity = Severity::note;
            record.detail += "; one of them answers for many addresses, as a proxy does";
        } else if (claim->returns == 0) {
            record.severity = Severity::note;
            record.detail += "; the first one has been silent since: the address moved";
        }
    }
}

void ArpScan::tellCutOff(std::vector<std::string>& lines) const
{
    tell(lines, claims_, "addresses in ARP");
    tell(lines, announcers_, "stations that speak ARP");
    tell(lines, questions_, "ARP questions");
    tell(lines, askers_, "hosts that ask by ARP");
}

} // namespace netrondo
