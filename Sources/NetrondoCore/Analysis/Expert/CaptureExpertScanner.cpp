// The scans in their order, and the summary of what they found.
#include "Analysis/Expert/CaptureExpertScanner.h"

#include "Analysis/Expert/RollUp.h"
#include "Analysis/Model/ConversationTable.h"
#include "Base/Units.h"
#include "Dissection/Wire/EtherType.h"
#include "Dissection/Wire/InternetChecksum.h"
#include "Dissection/Wire/IpProtocol.h"

#include <algorithm>
#include <fmt/format.h>
#include <limits>

namespace netrondo {
namespace {

constexpr std::size_t maxSkipReasons = 64;
// Stand for EtherTypes where there is none.
constexpr std::uint16_t isLength = 1, noPacket = 2;

bool isAnalysed(LinkType type)
{
    return type != LinkType::ieee80211 && type != LinkType::ieee80211Radio && type != LinkType::unknown;
}

/// What runs the network itself, and is no unknown traffic although no hosts are counted for it.
bool isKnownType(std::uint16_t type)
{
    using namespace etherType;
    constexpr std::uint16_t known[] = {arp,      rarp,           lldp, eapol,     slowProtocols, macControl, ptp,
                                       loopback, pppoeDiscovery, aarp, wakeOnLan, macsec,        profinet,   appleTalk,
                                       ipx,      ipxOld};
    return type < firstType || std::find(std::begin(known), std::end(known), type) != std::end(known);
}

std::string typeInWords(std::uint16_t type)
{
    using namespace etherType;
    const char* name = type == arp ? "ARP"
        : type == lldp             ? "LLDP"
        : type == eapol            ? "802.1X"
        : type == slowProtocols    ? "slow protocols"
        : type == macControl       ? "MAC control"
        : type == loopback         ? "loopback test"
        : type == ipv4             ? "IPv4"
        : type == etherType::ipv6  ? "IPv6"
                                   : nullptr;
    if (type == 0)
        return "too short for an EtherType";
    if (type == noPacket)
        return "no IP packet where the link has one";
    if (type < firstType)
        return "IEEE 802.3 with LLC";
    return name ? fmt::format("EtherType 0x{:04x} ({})", type, name) : fmt::format("EtherType 0x{:04x}", type);
}

} // namespace

CaptureExpertScanner::CaptureExpertScanner(const ExpertPreferences& preferences, FrameMarks marks)
    : preferences_(preferences)
    , marks_(marks)
    , log_(marks)
    , copies_(std::make_unique<CopyScan>(preferences_))
    , link_(std::make_unique<LinkScan>(preferences_))
    , arp_(std::make_unique<ArpScan>(preferences_))
    , ip_(std::make_unique<IpScan>(preferences_))
    , tcp_(std::make_unique<TcpScan>(preferences_))
    , application_(std::make_unique<ApplicationScan>(preferences_))
{ }

FrameSight CaptureExpertScanner::arrive(const CaptureFrame& frame, const FrameOutline& outline)
{
    const double unit = isNanosecond_ ? 1e9 : 1e6;
    if (frames_ == 0) {
        startSeconds_ = frame.timestampSeconds;
        startFraction_ = frame.timestampFraction;
        isBeyondCalendar_ = frame.seconds() > units::endOfCalendar;
    }
    // Differences of whole numbers first: a second count of today leaves a double no more than microseconds.
    auto seconds = static_cast<double>(static_cast<std::int64_t>(frame.timestampSeconds - startSeconds_))
        + static_cast<double>(static_cast<std::int64_t>(frame.timestampFraction - startFraction_)) / unit;
    if (isBeyondCalendar_)
        seconds /= 1000;
    if (frames_ == std::numeric_limits<std::uint32_t>::max())
        ++beyond_;
    else
        ++frames_;
    hasWholeSeconds_ &= frame.timestampFraction == startFraction_;
    const auto step = seconds - last_;
    if (step < 0 || step > preferences_.timeGapSeconds) [[unlikely]]
        scanTime({frames_, seconds}, last_);
    last_ = seconds;
    // Scans count on from the start; what an earlier clock says is as good as the start itself.
    return {frame, outline, {frames_, std::max(seconds, 0.0)}};
}

void CaptureExpertScanner::scanTime(const Sighting& at, double before)
{
    const auto step = at.seconds - before;
    if (step >= -preferences_.timeBackMilliseconds / 1000 && step <= preferences_.timeGapSeconds)
        return;
    const auto usual = std::abs(before) / at.frame;
    if (step > 0 && step < 100 * usual)
        return;
    auto& finding = log_.record(Finding::capTime, {}, at);
    finding.measured = std::abs(step) > std::abs(finding.measured) ? step : finding.measured;
    finding.threshold = preferences_.timeBackMilliseconds;
    finding.detail = fmt::format("Time {} {} times", step < 0 ? "runs back or jumps" : "jumps forward", finding.count);
}

CopyScan::Copy CaptureExpertScanner::scanFrame(const FrameSight& sight)
{
    if (sight.frame.capturedLength < sight.frame.originalLength) [[unlikely]] {
        ++truncated_;
        log_.record(Finding::capTruncated, {}, sight.at);
    }
    const auto copy = copies_->scan(sight, log_);
    link_->scan(sight, log_);
    if (!sight.isIp()) [[unlikely]] {
        if (sight.outline.network == FrameOutline::Network::arp && copy == CopyScan::Copy::none)
            arp_->scan(sight, log_);
        return copy;
    }
    ip_->scan(sight, copy, log_);
    if (sight.outline.ipProtocol == ipProtocol::udp && copy == CopyScan::Copy::none)
        application_->scanDatagram(sight, *arp_, log_);
    constexpr std::uint64_t enough = 20'000; // to know which hosts leave checksums to their cards
    if (checked_ < enough) [[unlikely]]
        scanChecksum(sight);
    return copy;
}

void CaptureExpertScanner::leaveOut(const CaptureFrame& frame)
{
    skip(arrive(frame, {}), FrameSkip::filtered);
}

void CaptureExpertScanner::scanChecksum(const FrameSight& sight)
{
    const auto protocol = sight.outline.ipProtocol;
    const auto transport = sight.transport();
    const bool isTcp = protocol == ipProtocol::tcp;
    if ((!isTcp && protocol != ipProtocol::udp) || transport.size() < (isTcp ? 20 : 8)
        || sight.frame.capturedLength < sight.frame.originalLength
        || (sight.isIpv4() && load::be16(sight.network() + 6) & 0x3fff)
        || (sight.isIpv6() && sight.network()[6] != protocol))
        return;
    if (!isTcp && (load::be16(transport.data() + 6) == 0 || load::be16(transport.data() + 4) != transport.size()))
        return;
    ++checked_;
    const auto sum =
        InternetChecksum::fold(InternetChecksum::pseudoHeader(sight.source(), sight.destination(), protocol,
                                                              static_cast<std::uint32_t>(transport.size()))
                               + InternetChecksum::sum(transport));
    auto* sender = senders_.at(sight.source());
    if (!sender)
        return;
    ++sender->checked;
    if (sum == 0xffff)
        return;
    ++wrongChecksums_;
    if (sender->wrong++ == 0)
        sender->first = sight.at;
    sender->last = sight.at;
}

void CaptureExpertScanner::skip(const FrameSight& sight, FrameSkip why)
{
    const auto type = sight.outline.etherType;
    ++skippedFrames_;
    const bool isLinkType = why == FrameSkip::unclassified && !isAnalysed(sight.frame.linkType);
    const bool hasNumber = why == FrameSkip::unclassified || why == FrameSkip::notIp;
    const bool isBare = sight.frame.linkType == LinkType::null || sight.frame.linkType == LinkType::raw;
    const auto number = isLinkType                 ? static_cast<std::uint16_t>(sight.frame.linkType)
        : !hasNumber                               ? std::uint16_t{0}
        : isBare                                   ? noPacket
        : type != 0 && type < etherType::firstType ? isLength
                                                   : type;
    const Skipped key{why, isLinkType, number, 1, {frames_, last_}};
    const auto known = std::find_if(skipped_.begin(), skipped_.end(), [&](const Skipped& other) {
        return other.why == key.why && other.isLinkType == key.isLinkType && other.number == key.number;
    });
    if (known != skipped_.end())
        ++known->frames;
    else if (skipped_.size() < maxSkipReasons)
        skipped_.push_back(key);
}

void CaptureExpertScanner::prefetchRare(const FrameFacts& facts, const FrameOutline& outline, int step) const
{
    link_->prefetchStations(facts.sourceMac.low, facts.destinationMac.low, step);
    if (outline.network == FrameOutline::Network::arp && facts.source && facts.sourceMac)
        arp_->prefetch(facts.sourceMac, facts.source, facts.destination, step);
}

void CaptureExpertScanner::scanSegment(const FrameSight& sight, CopyScan::Copy copy, const FrameFacts& facts,
                                       std::uint32_t number, Session& session, int sender, TcpEvents events)
{
    auto place = std::uint32_t{session.watched};
    if (!place) [[unlikely]] {
        place = tcp_->placeOf(number);
        constexpr std::uint32_t most = (1 << 24) - 1; // of the field; connections beyond are searched every time
        session.watched = place <= most ? place & most : 0;
    }
    const auto header = sight.transport();
    const auto headerLength = (header[12] >> 4) * 4u;
    const SegmentSight segment{facts,
                               sight.at,
                               number,
                               place,
                               sender,
                               events,
                               copy,
                               sight.ttl(),
                               sight.isIpv6() || (sight.network()[6] & 0x40),
                               headerLength > 20 ? slice(header, 20, headerLength - 20) : Bytes{}};
    tcp_->scan(segment, log_);
    if (!facts.payload.empty() && copy == CopyScan::Copy::none)
        application_->scanSegment(segment, sight.frame.seconds(), log_);
}

void CaptureExpertScanner::scanTransport(const ConversationTable& table, FindingLog& findings) const
{
    tcp_->finish(table, *ip_, last_, findings);
    ip_->finishTransport(table, findings);
}

void CaptureExpertScanner::emitArpFindings(const ConversationTable& table, FindingLog& findings) const
{
    arp_->finish(table, findings, last_);
}

bool CaptureExpertScanner::isTimeCoarse() const
{
    constexpr std::uint32_t many = 20;
    return hasWholeSeconds_ && frames_ >= many && last_ > 0;
}

void CaptureExpertScanner::finishCapture(FindingLog& findings) const
{
    if (isTimeCoarse()) {
        for (auto& record : findings.records()) {
            if (record.finding == Finding::tcpSlowhandshake || record.finding == Finding::dnsSlow
                || record.finding == Finding::httpSlow)
                FindingLog::withdraw(record);
        }
    }
    if (auto* cut = findings.find(Finding::capTruncated, {})) {
        cut->measured = 100.0 * static_cast<double>(truncated_) / frames_;
        cut->threshold = preferences_.truncatedPercent;
        // Where segments are cut, what they carried is not counted whole, and acknowledgments seem to be for more.
        auto* loss = findings.find(Finding::capLoss, {});
        if (cut->measured < preferences_.truncatedPercent)
            FindingLog::withdraw(*cut);
        else if (loss)
            FindingLog::withdraw(*loss);
    }
    if (dropped_) {
        auto& loss = findings.record(Finding::capLoss, {}, {frames_, last_});
        if (loss.count > 1) { // told by acknowledgments already
            --loss.count;
        } else {
            loss.detail.clear();
            loss.measured =
                100.0 * static_cast<double>(dropped_) / (static_cast<double>(dropped_) + static_cast<double>(frames_));
        }
        loss.threshold = preferences_.captureLossPercent;
        loss.detail += fmt::format("{}the capturing machine dropped {}", loss.detail.empty() ? "" : "; ",
                                   units::counted(dropped_, "frame", "frames"));
    }
    for (const auto& skipped : skipped_) {
        if (skipped.why != FrameSkip::unclassified
            || (!skipped.isLinkType && skipped.number != noPacket && isKnownType(skipped.number)))
            continue;
        auto& finding = findings.record(Finding::capUnanalysed, {}, skipped.first);
        finding.count += skipped.frames - 1;
        finding.measured = static_cast<double>(finding.count);
        const auto what =
            skipped.isLinkType ? fmt::format("link type {}", skipped.number) : typeInWords(skipped.number);
        finding.detail += (finding.detail.empty() ? "" : ", ") + fmt::format("{} ({})", what, skipped.frames);
    }
    for (const auto& [address, sender] : senders_.entries()) {
        const auto share = 100.0 * sender.wrong / sender.checked;
        if (sender.wrong < 3 || share < preferences_.offloadPercent)
            continue;
        findings.record(Finding::capOffload, {address, {}, 0}, sender.first);
        auto& finding = findings.record(Finding::capOffload, {address, {}, 0}, sender.last);
        finding.count = sender.wrong;
        finding.measured = share;
        finding.threshold = preferences_.offloadPercent;
    }
}

std::vector<std::string> CaptureExpertScanner::remarks() const
{
    std::vector<std::string> lines;
    if (isNanosecond_ || isBeyondCalendar_)
        lines.push_back(
            "The file counts nanoseconds, which are read as microseconds: start, duration and rate are off.");
    if (isTimeCoarse())
        lines.push_back("All frames lie whole seconds apart: delays are not judged.");
    if (hasSecondMember_)
        lines.push_back("The file is compressed in several parts; only the first one is read.");
    if (copies_->along())
        lines.push_back(fmt::format(
            "{} seen again behind a router or at another capture point; the findings count {} once.",
            units::counted(copies_->along(), "frame was", "frames were"), copies_->along() == 1 ? "it" : "them"));
    for (const auto& skipped : skipped_) {
        if (skipped.isLinkType)
            lines.push_back(fmt::format("{} of {} not analysed.", units::counted(skipped.frames, "frame", "frames"),
                                        displayName(static_cast<LinkType>(skipped.number))));
    }
    return lines;
}

void CaptureExpertScanner::finishAccounting(CaptureExpertSummary& summary) const
{
    auto& accounting = summary.accounting;
    accounting.read = frames_ + beyond_;
    accounting.analysed = accounting.read - skippedFrames_;
    std::uint64_t told = 0;
    for (const auto& skipped : skipped_) {
        std::string reason;
        switch (skipped.why) {
        case FrameSkip::unclassified:
            reason = skipped.isLinkType
                ? fmt::format("{} is not analysed", displayName(static_cast<LinkType>(skipped.number)))
                : typeInWords(skipped.number);
            break;
        case FrameSkip::notIp: reason = "not IP: " + typeInWords(skipped.number); break;
        case FrameSkip::toItself: reason = "from a host to itself"; break;
        case FrameSkip::filtered: reason = "left out by the filter"; break;
        }
        told += skipped.frames;
        const auto same = std::find_if(accounting.skipped.begin(), accounting.skipped.end(),
                                       [&](const auto& other) { return other.reason == reason; });
        if (same != accounting.skipped.end())
            same->frames += skipped.frames;
        else
            accounting.skipped.push_back({std::move(reason), skipped.frames});
    }
    if (told < skippedFrames_)
        accounting.skipped.push_back({"other reasons", skippedFrames_ - told});
    std::stable_sort(accounting.skipped.begin(), accounting.skipped.end(),
                     [](const auto& a, const auto& b) { return a.frames > b.frames; });
}

CaptureExpertSummary CaptureExpertScanner::summary(FindingLog&& findings) const
{
    copies_->finish(findings, tcp_->duplicatedShare());
    link_->finish(findings);
    ip_->finish(findings, last_);
    application_->finish(findings, last_);
    finishCapture(findings);

    auto& records = findings.records();
    std::erase_if(records, [](const auto& record) { return record.count == 0; });
    for (auto& record : records) {
        std::ranges::sort(record.evidence);
        record.evidence.erase(std::ranges::unique(record.evidence).begin(), record.evidence.end());
    }
    CaptureExpertSummary summary;
    summary.findings = diagnose(records, preferences_.mutes);
    if (marks_ == FrameMarks::kept) { // for a window, which also diagnoses anew when something is muted
        for (const auto& finding : summary.findings) {
            for (const auto frame : finding.evidence)
                findings.annotate(frame, finding.finding);
        }
        summary.annotations = std::make_shared<const std::vector<FrameAnnotation>>(findings.takeAnnotations());
        summary.records = std::make_shared<const std::vector<ExpertFinding>>(std::move(records));
    }
    summary.remarks = remarks();
    summary.cutOff = findings.cutOff();
    link_->tellCutOff(summary.cutOff);
    arp_->tellCutOff(summary.cutOff);
    ip_->tellCutOff(summary.cutOff);
    application_->tellCutOff(summary.cutOff);
    tell(summary.cutOff, senders_, "hosts whose checksums are checked");
    if (beyond_)
        summary.cutOff.push_back(fmt::format("{} frames beyond number {} carry no marks", beyond_, frames_));
    finishAccounting(summary);
    return summary;
}

} // namespace netrondo
