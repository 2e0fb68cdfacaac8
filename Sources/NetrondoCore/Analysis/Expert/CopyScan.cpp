// A small table of fingerprints, each overwritten by the next one that falls on its place.
#include "Analysis/Expert/CopyScan.h"

#include "Dissection/Wire/IpProtocol.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <cstring>
#include <fmt/format.h>

namespace netrondo {
namespace {

/// The eight bytes from `at` on, with zeros for those that are not there.
std::uint64_t word(Bytes bytes, std::size_t at)
{
    if (at + 8 <= bytes.size()) [[likely]]
        return load::native<std::uint64_t>(bytes.data() + at);
    std::uint64_t value = 0;
    if (at < bytes.size())
        std::memcpy(&value, bytes.data() + at, bytes.size() - at);
    return value;
}

/// Mixes as the hash of addresses does, but the same in every run: which fingerprints displace which shows in results.
std::uint64_t mix(std::uint64_t a, std::uint64_t b)
{
    const auto product = static_cast<Uint128>(a ^ 0x9e3779b97f4a7c15) * (b ^ 0xd1b54a32d192ed03);
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> 64);
}

/// Where a frame was seen: the interface, and the VLANs it was in. A router says the same in each of its VLANs.
std::uint32_t placeOf(const FrameSight& sight)
{
    auto place = static_cast<std::uint32_t>(sight.frame.interfaceID);
    constexpr std::uint32_t untagged = 14;
    if (sight.outline.networkOffset > untagged) [[unlikely]] {
        const auto tags = word(sight.data(), untagged - 2);
        place ^= static_cast<std::uint32_t>(mix(tags, sight.outline.networkOffset));
    }
    return place;
}

/// Members of a group report in the same words several times at once (RFC 3810, 7.2), in packets without a number.
bool isListenerReport(const FrameSight& sight)
{
    const auto message = sight.transport();
    return sight.isIpv6() && sight.outline.ipProtocol == ipProtocol::icmpv6 && !message.empty()
        && ((message[0] >= 130 && message[0] <= 132) || message[0] == 143);
}

bool isGroup(std::uint64_t mac)
{
    return mac >> 40 & 1;
}

} // namespace

// All of a packet that stays the same on its way: a router changes the time to live, the header checksum and the MAC
// addresses, and a VLAN tag may come or go. The transport's checksum stands for the payload.
std::uint64_t CopyScan::fingerprintOf(const FrameSight& sight)
{
    const auto bytes = slice(sight.data(), sight.outline.networkOffset);
    std::uint64_t header, addresses;
    std::size_t next;
    if (sight.isIpv4()) {
        header = word(bytes, 0) ^ std::uint64_t{bytes[9]} << 56;
        addresses = word(bytes, 12);
        next = 20;
    } else if (sight.isIpv6()) {
        header = load::be64(bytes.data()) & ~std::uint64_t{0xff};
        addresses = mix(word(bytes, 8) ^ word(bytes, 24), word(bytes, 16) + word(bytes, 32));
        next = 40;
    } else {
        // No checksum stands for the rest here; group frames of such protocols are few.
        return mix(XXH3_64bits(bytes.data(), bytes.size()), sight.frame.originalLength) | 1;
    }
    return mix(mix(header, addresses) ^ word(bytes, next), mix(word(bytes, next + 8), word(bytes, next + 16))) | 1;
}

CopyScan::Copy CopyScan::scan(const FrameSight& sight, FindingLog& log)
{
    ++frames_;
    if (!sight.isIp() && !isGroup(sight.destinationMac()))
        return Copy::none;
    const auto fingerprint = fingerprintOf(sight);
    const auto slot = fingerprint >> 32 & (seen_.size() - 1);
    auto& seen = seen_[slot];
    if (fingerprints_[slot] == fingerprint) [[unlikely]] {
        if (sight.at.seconds - seen.first <= 1 && sight.at.seconds >= seen.first)
            return scanRepetition(sight, seen, log);
    }
    fingerprints_[slot] = fingerprint;
    seen = {sight.sourceMac(),
            sight.at.seconds,
            sight.at.seconds,
            sight.at.frame,
            placeOf(sight),
            sight.isIp() ? sight.ttl() : std::uint8_t{0},
            1,
            1};
    return Copy::none;
}

CopyScan::Copy CopyScan::scanRepetition(const FrameSight& sight, Seen& seen, FindingLog& log)
{
    const auto seconds = sight.at.seconds;
    const auto place = placeOf(sight);
    const std::uint8_t ttl = sight.isIp() ? sight.ttl() : 0;
    const bool isGroupFrame = isGroup(sight.destinationMac());
    const bool isNear = sight.at.frame - seen.frame <= 64 && seconds - seen.last <= 0.010;
    const bool isSamePlace = place == seen.place && sight.sourceMac() == seen.sourceMac;
    auto copy = Copy::none;
    if (ttl == seen.ttl && isSamePlace) {
        if (isNear) {
            copy = Copy::same;
            log.record(Finding::capDupes, {}, sight.at);
        }
        seen.copies = static_cast<std::uint8_t>(std::min(seen.copies + 1, 255));
        if (isGroupFrame && !isListenerReport(sight) && seen.copies >= preferences_.frameLoopCopies) {
            auto& loop = log.record(Finding::ethLoop, {Address::mac(sight.sourceMac()), {}, 0}, sight.at);
            loop.measured = std::max<double>(loop.measured, seen.copies);
            loop.threshold = preferences_.frameLoopCopies;
            if (loop.detail.empty())
                loop.detail = sight.destinationMac() == 0xffffffffffff ? "broadcast" : "multicast";
        }
    } else if (ttl < seen.ttl) {
        copy = Copy::along;
        seen.ttl = ttl;
        seen.passages = static_cast<std::uint8_t>(std::min(seen.passages + 1, 255));
        // Captured at several points, a packet is seen with several times to live; only in a loop does the same
        // station send it again.
        if (isSamePlace && seen.passages > preferences_.packetLoopPassages) {
            auto& loop = log.record(Finding::ipLoop, {sight.source(), sight.destination(), 0}, sight.at);
            loop.measured = std::max<double>(loop.measured, seen.passages);
            loop.threshold = preferences_.packetLoopPassages;
        }
    } else if (isNear && !isSamePlace) {
        copy = Copy::along;
    }
    along_ += copy == Copy::along;
    seen.frame = sight.at.frame;
    seen.last = seconds;
    return copy;
}

void CopyScan::finish(FindingLog& log, double duplicatedShare) const
{
    auto* dupes = log.find(Finding::capDupes, {});
    if (!dupes)
        return;
    dupes->measured = 100.0 * static_cast<double>(dupes->count) / static_cast<double>(frames_);
    dupes->threshold = preferences_.duplicatePercent;
    constexpr double nearlyAll = 80; // then it is the capture that has packets twice, not the network
    if (duplicatedShare >= nearlyAll)
        dupes->detail = fmt::format("{:.0f} % of the TCP connections have some.", duplicatedShare);
    else if (dupes->measured < preferences_.duplicatePercent || dupes->count < 20)
        FindingLog::withdraw(*dupes);
}

} // namespace netrondo
