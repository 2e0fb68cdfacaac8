// Ethernet (IEEE 802.3), spanning tree (IEEE 802.1D), LLDP (IEEE 802.1AB) and CDP, 802.1X.
#include "Analysis/Expert/LinkScan.h"

#include "Dissection/Wire/EtherType.h"
#include "Dissection/Wire/IpProtocol.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>

namespace netrondo {
namespace {

constexpr std::uint64_t broadcast = 0xffffffffffff;
constexpr std::size_t maxTrees = 64, maxNeighbours = 64;
constexpr std::uint32_t evidenceWanted = ExpertFinding::maxEvidence;

bool isGroup(std::uint64_t mac)
{
    return mac >> 40 & 1;
}

std::string macText(std::uint64_t mac)
{
    return Address::mac(mac).text();
}

// The frame check sequence (IEEE 802.3, 3.2.9), least significant byte first on the wire.
constexpr auto crcTable = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        auto value = i;
        for (int bit = 0; bit < 8; ++bit)
            value = value >> 1 ^ (value & 1 ? 0xedb88320u : 0);
        table[i] = value;
    }
    return table;
}();

std::uint32_t checkSequence(Bytes bytes)
{
    std::uint32_t value = 0xffffffff;
    for (const auto byte : bytes)
        value = value >> 8 ^ crcTable[(value ^ byte) & 0xff];
    return ~value;
}

/// The innermost VLAN identifier, 0 without a tag.
std::uint16_t vlanOf(Bytes data)
{
    std::uint16_t vlan = 0;
    for (std::size_t at = 12; data.size() >= at + 4 && etherType::isVlanTag(load::be16(data.data() + at)); at += 4)
        vlan = load::be16(data.data() + at + 2) & 0xfff;
    return vlan;
}

std::uint32_t tagBytes(Bytes data)
{
    std::uint32_t count = 0;
    for (std::size_t at = 12; data.size() >= at + 4 && etherType::isVlanTag(load::be16(data.data() + at)); at += 4)
        count += 4;
    return count;
}

} // namespace

void LinkScan::scan(const FrameSight& sight, FindingLog& log)
{
    if (sight.frame.linkType != LinkType::ethernet || !sight.outline.hasSourceMac)
        return;
    ++frames_;
    scanStations(sight, log);
    if (sight.isIp() || sight.outline.network == FrameOutline::Network::arp)
        return;
    const auto payload = slice(sight.data(), sight.outline.networkOffset);
    if (sight.outline.network == FrameOutline::Network::llc) {
        if (payload.size() >= 7 && payload[0] == llcSap::stp)
            scanBridge(payload.subspan(3), sight, log);
        else if (payload.size() > 8 && payload[0] == llcSap::snap && payload[3] == 0
                 && load::be32(payload.data() + 4) == 0x000c2000)
            scanCdp(payload.subspan(8), sight);
    } else if (sight.outline.etherType == etherType::eapol) {
        scanDot1x(payload, sight, log);
    } else if (sight.outline.etherType == etherType::lldp) {
        scanLldp(payload, sight);
    }
}

void LinkScan::prefetchStations(std::uint64_t source, std::uint64_t destination, int step) const
{
    for (const auto mac : {source, destination})
        step == 0 ? stations_.prefetchIndex({mac}) : stations_.prefetchEntry({mac});
}

LinkScan::Rare& LinkScan::rare(Station& station)
{
    if (!station.rare) {
        if (rare_.empty())
            rare_.emplace_back();
        station.rare = static_cast<std::uint32_t>(rare_.size());
        rare_.emplace_back();
    }
    return rare_[station.rare];
}

void LinkScan::scanStations(const FrameSight& sight, FindingLog& log)
{
    const auto source = sight.sourceMac(), destination = sight.destinationMac();
    const auto length = sight.frame.originalLength;
    const bool isOrdinary = length >= preferences_.runtBytes && length <= preferences_.oversizeBytes;
    if (isGroup(source)) [[unlikely]] {
        auto& finding = log.record(Finding::ethSrcgroup, {Address::mac(source), {}, 0}, sight.at);
        finding.measured = static_cast<double>(finding.count);
        return;
    }
    if (isGroup(destination)) {
        countGroup(destination == broadcast ? broadcasts_ : multicasts_, sight);
    } else {
        ++unicasts_;
        if (!isOrdinary || !senders_.contains(destination)) [[unlikely]]
            receive(sight);
    }
    padded_ += isOrdinary && length <= 64;
    const bool isTagged = sight.outline.networkOffset > 14 && sight.isIpv4();
    if (!isOrdinary || isTagged || sight.outline.etherType == etherType::macControl || !senders_.contains(source))
        [[unlikely]]
        scanSource(sight, log);
    scanCheckSequence(sight, log);
}

void LinkScan::receive(const FrameSight& sight)
{
    auto* to = stations_.at({sight.destinationMac()});
    if (!to)
        return;
    if (to->received++ == 0) {
        to->firstReceived = sight.at.frame;
        to->firstReceivedSeconds = static_cast<float>(sight.at.seconds);
    }
    if (sight.frame.originalLength > preferences_.oversizeBytes && to->receivedLarge < 255)
        ++to->receivedLarge;
}

void LinkScan::scanSource(const FrameSight& sight, FindingLog& log)
{
    const auto source = sight.sourceMac();
    auto* from = stations_.at({source});
    if (!from)
        return;
    if (!senders_.contains(source))
        senders_.add(source);
    scanSizes(sight, *from, log);
    if (sight.outline.networkOffset > 14 && sight.isIpv4())
        scanVlan(sight, *from, log);
    if (sight.outline.etherType == etherType::macControl)
        scanPause(sight, *from, log);
}

void LinkScan::scanVlan(const FrameSight& sight, Station& source, FindingLog& log)
{
    const auto vlan = vlanOf(sight.data());
    const auto ip = sight.source();
    auto& place = rare(source);
    const auto interface = sight.frame.interfaceID;
    if (place.vlan && place.interface != interface) // a capture at several points sees every station at several places
        return;
    // A router has one MAC address in many VLANs, but not one IP address.
    if (vlan && place.vlan && vlan != place.vlan && place.lastIp == ip && !isSharedByRouters(sight.sourceMac())) {
        const auto moves = place.moves.add(sight.at.seconds, 10);
        if (moves >= preferences_.macMoves) {
            auto& finding = log.record(Finding::ethMacflap, {Address::mac(sight.sourceMac()), {}, 0}, sight.at);
            finding.measured = std::max<double>(finding.measured, moves);
            finding.threshold = preferences_.macMoves;
            if (finding.detail.empty())
                finding.detail = fmt::format("VLAN {} and VLAN {}.", place.vlan, vlan);
        }
    }
    if (vlan) {
        place.vlan = vlan;
        place.interface = interface;
        place.lastIp = ip;
    }
}

void LinkScan::scanSizes(const FrameSight& sight, Station& source, FindingLog& log)
{
    const auto length = sight.frame.originalLength;
    if (sight.sourceMac() == 0) // no cable: a host that speaks to itself
        return;
    if (length < preferences_.runtBytes) {
        ++small_;
        if (++source.small <= evidenceWanted) {
            auto& finding = log.record(Finding::ethRunt, {Address::mac(sight.sourceMac()), {}, 0}, sight.at);
            finding.measured = finding.count == 1 ? length : std::min<double>(finding.measured, length);
            finding.threshold = preferences_.runtBytes;
        }
    } else if (length > preferences_.oversizeBytes + tagBytes(sight.data())) {
        if (source.sentLarge < 255)
            ++source.sentLarge;
        // TCP in large pieces is the work of a card that segments or merges, not of a link that takes such frames.
        const bool isOffload = sight.isIp() && sight.outline.ipProtocol == 6;
        if (!isOffload && source.sentLarge <= evidenceWanted) {
            auto& finding = log.record(Finding::ethOversize, {Address::mac(sight.sourceMac()), {}, 0}, sight.at);
            finding.measured = std::max<double>(finding.measured, length);
            finding.threshold = preferences_.oversizeBytes;
        }
    }
}

void LinkScan::countGroup(Storm& storm, const FrameSight& sight)
{
    const auto second = std::floor(sight.at.seconds);
    if (second != storm.second) {
        endSecond(storm, second);
        storm.second = second;
        storm.count = 0;
        storm.majority = 0;
    }
    if (storm.count < evidenceWanted)
        storm.frames[storm.count] = sight.at;
    ++storm.count;
    const auto group = sight.destinationMac();
    if (storm.majority == 0)
        storm.group = group;
    storm.group == group ? ++storm.majority : --storm.majority;
    // More than four fifths to one group leave the majority vote above three fifths of all.
    storm.isOneStream = group != broadcast && sight.isIp() && sight.outline.ipProtocol == ipProtocol::udp
        && storm.majority * 5 >= storm.count * 3;
}

// A second is over: was it the worst, and how do the last ten of them look?
void LinkScan::endSecond(Storm& storm, double next) const
{
    if (storm.second < 0)
        return;
    if (storm.count > storm.worst.count) {
        storm.worst.count = storm.count;
        storm.worst.isOneStream = storm.isOneStream;
        storm.worst.group = storm.group;
        storm.worst.frames = storm.frames;
    }
    constexpr std::uint32_t shareFloor = 100, span = 10; // a second, seconds
    const auto frames = frames_ - storm.framesBefore;    // of all kinds, until the next group frame
    storm.framesBefore = frames_;
    const bool isMany = storm.count >= shareFloor
        && static_cast<double>(storm.count) >= preferences_.stormPercent / 100 * static_cast<double>(frames);
    storm.inARow = !isMany ? 0 : storm.inARow + 1;
    if (storm.inARow == 1)
        storm.rowFrames = storm.frames;
    if (storm.inARow >= span && storm.inARow > storm.longest.seconds) {
        storm.longest.seconds = storm.inARow;
        storm.longest.share = 100.0 * storm.count / static_cast<double>(frames);
        storm.longest.group = storm.group;
        storm.longest.isOneStream = storm.isOneStream;
        storm.longest.frames = storm.rowFrames;
    }
    if (next != storm.second + 1)
        storm.inARow = 0;
}

// A frame check sequence stands behind the padding where the capturing card left it; whether it did shows in a few
// frames whose last four bytes are no part of the packet.
void LinkScan::scanCheckSequence(const FrameSight& sight, FindingLog& log)
{
    const auto data = sight.data();
    if (!sight.isIp() || data.size() < 64 || sight.outline.networkEnd + 4 != data.size()
        || sight.frame.originalLength != data.size()) [[likely]]
        return;
    constexpr std::uint32_t enough = 16;
    const bool isRight = checkSequence(data.first(data.size() - 4)) == load::le32(data.data() + data.size() - 4);
    ++trailers_;
    rightTrailers_ += isRight;
    if (isRight || trailers_ < enough || rightTrailers_ * 10 < trailers_ * 9)
        return;
    auto& finding = log.record(Finding::ethFcs, {Address::mac(sight.sourceMac()), {}, 0}, sight.at);
    finding.measured = static_cast<double>(finding.count);
}

void LinkScan::scanPause(const FrameSight& sight, Station& source, FindingLog& log)
{
    const auto payload = slice(sight.data(), sight.outline.networkOffset);
    if (payload.size() < 4)
        return;
    const auto opcode = load::be16(payload.data());
    const bool isPause = opcode == 0x0001 && load::be16(payload.data() + 2) != 0; // 0 lets the sender go on
    const bool isPriorityPause = opcode == 0x0101;
    if (!isPause && !isPriorityPause)
        return;
    const auto rate = rare(source).pauses.add(sight.at.seconds, 1);
    if (rate < preferences_.pausePerSecond)
        return;
    auto& finding = log.record(Finding::ethPause, {Address::mac(sight.sourceMac()), {}, 0}, sight.at);
    finding.measured = std::max<double>(finding.measured, rate);
    finding.threshold = preferences_.pausePerSecond;
}

void LinkScan::scanBridge(Bytes bpdu, const FrameSight& sight, FindingLog& log)
{
    const auto type = bpdu[3];
    const bool isConfiguration = (type == 0x00 || type == 0x02) && bpdu.size() >= 35;
    const bool isNotification = type == 0x80;
    const bool saysChange = isNotification || (isConfiguration && bpdu[4] & 0x01);
    if (saysChange) {
        constexpr double pause = 5; // hellos come every two seconds for as long as the change is told
        const bool isNew = isNotification || sight.at.seconds - treeChanged_ > pause;
        treeChanged_ = sight.at.seconds;
        auto& finding = log.record(Finding::stpChange, {}, sight.at);
        finding.threshold = preferences_.treeChangesError;
        if (isNew)
            finding.measured = std::max<double>(finding.measured, treeChanges_.add(sight.at.seconds, 60));
        if (finding.detail.empty())
            finding.detail = isConfiguration ? macText(load::be48(bpdu.data() + 19)) : macText(sight.sourceMac());
        // Every port that comes up is told to the whole tree; a bridge that notifies has lost a link, or several came.
        if (finding.count == 1)
            finding.severity = Severity::note;
        if (isNotification)
            finding.severity = std::max(finding.severity, Severity::warning);
        if (finding.measured >= preferences_.treeChangesError)
            finding.severity = Severity::error;
    }
    if (isConfiguration)
        scanRoot(load::be64(bpdu.data() + 5), static_cast<std::uint16_t>(bpdu[29]), sight, log);
}

void LinkScan::scanRoot(std::uint64_t root, std::uint16_t maxAge, const FrameSight& sight, FindingLog& log)
{
    const auto interface = sight.frame.interfaceID;
    // The system identifier in the priority's low bits is the VLAN or instance: one tree each.
    const auto instance = [](std::uint64_t id) { return id >> 48 & 0xfff; };
    auto tree = std::find_if(trees_.begin(), trees_.end(), [&](const Tree& candidate) {
        return candidate.interface == interface && instance(candidate.root) == instance(root);
    });
    if (tree == trees_.end()) {
        if (trees_.size() < maxTrees)
            trees_.push_back({interface, root, 0, -1e300});
        return;
    }
    if (tree->root == root)
        return;
    const auto inWords = [](std::uint64_t id) { return fmt::format("{}/{}", id >> 48, macText(id & 0xffffffffffff)); };
    const bool isBack = tree->rootBefore == root && sight.at.seconds - tree->changed <= 2.0 * maxAge;
    if (isBack) {
        auto& finding = log.record(Finding::stpTworoots, {}, sight.at);
        finding.measured = static_cast<double>(finding.count);
        finding.threshold = 2.0 * maxAge;
        if (finding.detail.empty())
            finding.detail = fmt::format("{} and {}", inWords(tree->root), inWords(root));
    } else {
        auto& finding = log.record(Finding::stpRoot, {}, sight.at);
        finding.measured = static_cast<double>(finding.count);
        finding.detail = fmt::format("{} instead of {}", inWords(root), inWords(tree->root));
    }
    tree->rootBefore = std::exchange(tree->root, root);
    tree->changed = sight.at.seconds;
}

// EAP over LANs (IEEE 802.1X, RFC 3748).
void LinkScan::scanDot1x(Bytes packet, const FrameSight& sight, FindingLog& log)
{
    constexpr std::uint8_t eapPacket = 0, request = 1, response = 2, failure = 4, identity = 1;
    if (packet.size() < 8 || packet[1] != eapPacket)
        return;
    const auto code = packet[4];
    const auto station = Address::mac(code == response ? sight.sourceMac() : sight.destinationMac());
    auto* row = stations_.at({station.low});
    if (!row)
        return;
    auto* known = &rare(*row);
    if (code == response) {
        known->identityRequests = 0;
    } else if (code == failure) {
        auto& finding = log.record(Finding::dot1xFail, {station, {}, 0}, sight.at);
        finding.measured = static_cast<double>(finding.count);
        finding.threshold = preferences_.identityRequests;
        finding.detail = "the authenticator says “failure”";
    } else if (code == request && packet.size() > 8 && packet[8] == identity
               && ++known->identityRequests >= preferences_.identityRequests) {
        auto& finding = log.record(Finding::dot1xFail, {station, {}, 0}, sight.at);
        finding.measured = known->identityRequests;
        finding.threshold = preferences_.identityRequests;
        finding.detail = "nobody answers when asked for an identity";
    }
}

LinkScan::Neighbour* LinkScan::neighbour(const FrameSight& sight, bool isCdp)
{
    const auto mac = sight.sourceMac();
    const auto place = std::find_if(neighbours_.begin(), neighbours_.end(), [&](const Neighbour& known) {
        return known.interface == sight.frame.interfaceID && known.mac == mac && known.isCdp == isCdp;
    });
    if (place != neighbours_.end())
        return &*place;
    if (neighbours_.size() == maxNeighbours)
        return nullptr;
    auto& made = neighbours_.emplace_back();
    made.interface = sight.frame.interfaceID;
    made.mac = mac;
    made.isCdp = isCdp;
    made.first = sight.at;
    return &made;
}

void LinkScan::scanLldp(Bytes packet, const FrameSight& sight)
{
    auto* known = neighbour(sight, false);
    if (!known)
        return;
    for (Cursor tlvs(packet); tlvs.left() >= 2;) {
        const auto head = tlvs.u16();
        const auto value = tlvs.take(head & 0x1ff);
        if (head >> 9 == 0 || tlvs.failed())
            return;
        if (head >> 9 != 127 || value.size() < 6)
            continue;
        const auto kind = load::be32(value.data()); // organisation and subtype
        if (kind == 0x0080c201)
            known->nativeVlan = load::be16(value.data() + 4);
        else if (kind == 0x00120f04)
            known->mtu = load::be16(value.data() + 4);
    }
}

void LinkScan::scanCdp(Bytes packet, const FrameSight& sight)
{
    auto* known = neighbour(sight, true);
    if (!known)
        return;
    Cursor tlvs(packet);
    for (tlvs.skip(4); tlvs.left() >= 4;) {
        const auto type = tlvs.u16();
        const auto length = tlvs.u16();
        if (length < 4)
            return;
        const auto value = tlvs.take(length - 4u);
        if (tlvs.failed())
            return;
        if (type == 0x000a && value.size() >= 2)
            known->nativeVlan = load::be16(value.data());
        else if (type == 0x000b && !value.empty())
            known->fullDuplex = value[0] != 0;
        else if (type == 0x0011 && value.size() >= 4)
            known->mtu = load::be32(value.data());
    }
}

void LinkScan::finishStorm(Storm storm, const char* what, FindingLog& log) const
{
    endSecond(storm, storm.second + 1);
    const bool isRate = storm.worst.count >= preferences_.stormPerSecond;
    if (!isRate && storm.longest.seconds == 0)
        return;
    const auto& shown = isRate ? storm.worst : storm.longest;
    // Broadcasts and multicasts are two findings: the group's address is the subject.
    const Subject subject{Address::mac(shown.group), {}, 0};
    const auto count = isRate ? std::min<std::size_t>(storm.worst.count, evidenceWanted) : evidenceWanted;
    for (std::size_t i = 0; i < count; ++i)
        log.record(Finding::ethStorm, subject, shown.frames[i]);
    auto* finding = log.find(Finding::ethStorm, subject);
    if (!finding)
        return;
    finding->detail = what;
    if (isRate) {
        finding->count = storm.worst.count;
        finding->measured = storm.worst.count;
        finding->threshold = preferences_.stormPerSecond;
    } else {
        finding->measured = storm.longest.share;
        finding->threshold = preferences_.stormPercent;
    }
    finding->severity = shown.isOneStream                                 ? Severity::note
        : isRate && storm.worst.count >= preferences_.stormErrorPerSecond ? Severity::error
                                                                          : Severity::warning;
}

// A switch floods what it has no place for. Where most stations are silent the capture sees one direction only.
void LinkScan::finishFlood(FindingLog& log) const
{
    const auto isSilent = [this](const Mac& mac, const Station& station) {
        return station.received && !senders_.contains(mac.value);
    };
    std::uint64_t frames = 0, silent = 0;
    for (const auto& [mac, station] : stations_.entries()) {
        if (isSilent(mac, station)) {
            frames += station.received;
            ++silent;
        }
    }
    const auto share = 100.0 * static_cast<double>(frames) / static_cast<double>(std::max<std::uint64_t>(unicasts_, 1));
    if (silent < 3 || share < preferences_.floodPercent || share > 50)
        return;
    for (const auto& [mac, station] : stations_.entries()) {
        if (!isSilent(mac, station))
            continue;
        auto& finding = log.record(Finding::ethFlood, {}, {station.firstReceived, station.firstReceivedSeconds});
        finding.count = frames;
        finding.measured = share;
        finding.threshold = preferences_.floodPercent;
    }
}

void LinkScan::finishNeighbours(FindingLog& log) const
{
    for (std::size_t i = 0; i < neighbours_.size(); ++i) {
        const auto& a = neighbours_[i];
        std::size_t onLink = 0;
        const Neighbour* peer = nullptr;
        for (const auto& b : neighbours_) {
            if (b.interface != a.interface || b.isCdp != a.isCdp)
                continue;
            ++onLink;
            if (b.mac != a.mac)
                peer = &b;
        }
        if (onLink != 2 || a.mac > peer->mac) // more are seen on a mirror port: not one link
            continue;
        std::string what;
        const auto compare = [&](const auto& mine, const auto& theirs, const char* name) {
            if (mine && theirs && *mine != *theirs)
                what += fmt::format("{}{} {} and {}", what.empty() ? "" : ", ", name, *mine, *theirs);
        };
        compare(a.nativeVlan, peer->nativeVlan, "native VLAN");
        compare(a.mtu, peer->mtu, "MTU");
        compare(a.fullDuplex, peer->fullDuplex, "full duplex");
        if (what.empty())
            continue;
        const Subject subject{Address::mac(a.mac), Address::mac(peer->mac), 0};
        log.record(Finding::l2Mismatch, subject, a.first);
        auto& finding = log.record(Finding::l2Mismatch, subject, peer->first);
        finding.measured = 1 + static_cast<double>(std::count(what.begin(), what.end(), ','));
        finding.detail = what;
    }
}

void LinkScan::finish(FindingLog& log) const
{
    finishStorm(broadcasts_, "broadcast", log);
    finishStorm(multicasts_, "multicast", log);
    finishFlood(log);
    finishNeighbours(log);
    for (auto& record : log.records()) {
        const auto* station =
            record.hosts[0].kind == Address::Kind::mac ? stations_.find({record.hosts[0].low}) : nullptr;
        if (record.finding == Finding::ethRunt && station) {
            // On a host, or in a virtual network, nobody pads: then short frames say nothing.
            record.count = station->small;
            if (padded_ < 5 * small_)
                FindingLog::withdraw(record);
        } else if (record.finding == Finding::ethOversize && station) {
            if (station->sentLarge >= 3 && station->receivedLarge >= 3) // a conversation in jumbo frames
                FindingLog::withdraw(record);
        }
    }
}

void LinkScan::tellCutOff(std::vector<std::string>& lines) const
{
    tell(lines, stations_, "stations");
}

} // namespace netrondo
