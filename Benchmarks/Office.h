// A made-up office whose circle is laid out and drawn.
#pragma once

#include "Analysis/Model/CommPair.h"

#include <algorithm>
#include <fmt/format.h>
#include <random>
#include <set>
#include <vector>

namespace netrondo {

/// An office: few hosts serve, many ask, volumes span six decades.
inline std::vector<CommPair> office(std::uint32_t hosts, std::size_t conversations, bool bothDirections)
{
    constexpr std::string_view protocols[] = {"TLS", "HTTP", "DNS", "SMB", "SSH", "mDNS", "ICMP", "NTP"};
    constexpr std::uint16_t ports[] = {443, 80, 53, 445, 22, 5353, 0, 123};
    std::mt19937 random(7);
    const auto address = [](std::uint32_t n) { return fmt::format("10.{}.{}.{}", n >> 16, n >> 8 & 255, n & 255); };
    std::set<std::pair<std::uint32_t, std::uint32_t>> known;
    std::vector<CommPair> pairs;
    while (known.size() < conversations) {
        const auto client = static_cast<std::uint32_t>(random() % hosts);
        const auto server = static_cast<std::uint32_t>(random() % (random() % 3 ? std::max(hosts / 20, 2u) : hosts));
        if (client == server || !known.insert(std::minmax(client, server)).second)
            continue;
        for (int direction = 0; direction < (bothDirections ? 2 : 1); ++direction) {
            auto& pair = pairs.emplace_back();
            pair.srcAddr = address(direction ? server : client);
            pair.dstAddr = address(direction ? client : server);
            const auto kind = random() % std::size(protocols);
            pair.topProtocol = protocols[kind];
            pair.payloadProtocols = {protocols[kind]};
            pair.packetCount = 1 + (random() >> (random() % 20 + 11));
            pair.byteCount = pair.packetCount * 400;
            if (ports[kind])
                pair.dstPorts = {{ports[kind], {pair.packetCount, true, false}}};
            pair.tcpQuality.emplace().tcpPackets = pair.packetCount;
        }
    }
    return pairs;
}

} // namespace netrondo
