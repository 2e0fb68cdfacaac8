// One walk over the pairs for each table; ties are broken by the order of the pairs, so that output is stable.
#include "Ranking.h"

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <tuple>

namespace netrondo::cli {

std::vector<Talk> talks(const PairList& pairs)
{
    std::vector<Talk> found;
    std::vector<std::uint32_t> placeOf; // by conversation
    for (std::uint32_t i = 0; i < pairs.size(); ++i) {
        const auto pair = pairs.summary(i);
        if (placeOf.size() <= pair.conversation)
            placeOf.resize(std::max<std::size_t>(pair.conversation + 1, placeOf.size() * 2), Talk::none);
        auto& place = placeOf[pair.conversation];
        if (place == Talk::none) {
            place = static_cast<std::uint32_t>(found.size());
            found.push_back({.pair = i, .tcpScore = pair.tcpScore, .hasTcpComplaints = pair.hasTcpComplaints});
        } else {
            found[place].reverse = i;
        }
        auto& talk = found[place];
        talk.bytes += pair.byteCount;
        talk.packets += pair.packetCount;
    }
    return found;
}

std::vector<HostTotals> hosts(const PairList& pairs)
{
    std::vector<HostTotals> found;
    boost::unordered_flat_map<Address, std::uint32_t, AddressHash> places;
    std::vector<bool> counted; // conversations whose hosts have them among their peers
    const auto at = [&](const Address& address, std::uint32_t pair) -> HostTotals& {
        const auto [place, isNew] = places.try_emplace(address, static_cast<std::uint32_t>(found.size()));
        if (isNew)
            found.push_back({.address = address, .pair = pair});
        return found[place->second];
    };
    for (std::uint32_t i = 0; i < pairs.size(); ++i) {
        const auto pair = pairs.summary(i);
        if (counted.size() <= pair.conversation)
            counted.resize(std::max<std::size_t>(pair.conversation + 1, counted.size() * 2));
        const bool isFirst = !counted[pair.conversation];
        counted[pair.conversation] = true;
        auto& source = at(pair.source, i);
        source.packets += pair.packetCount;
        source.sentBytes += pair.byteCount;
        source.peers += isFirst;
        auto& destination = at(pair.destination, i);
        destination.packets += pair.packetCount;
        destination.receivedBytes += pair.byteCount;
        destination.peers += isFirst;
    }
    return found;
}

void busiestFirst(std::vector<Talk>& talks, std::size_t count)
{
    std::partial_sort(talks.begin(), talks.begin() + static_cast<std::ptrdiff_t>(std::min(count, talks.size())),
                      talks.end(), [](const Talk& a, const Talk& b) {
                          return std::tuple(b.bytes, b.packets, a.pair) < std::tuple(a.bytes, a.packets, b.pair);
                      });
}

void busiestFirst(std::vector<HostTotals>& hosts, std::size_t count)
{
    std::partial_sort(hosts.begin(), hosts.begin() + static_cast<std::ptrdiff_t>(std::min(count, hosts.size())),
                      hosts.end(), [](const HostTotals& a, const HostTotals& b) {
                          return std::tuple(b.bytes(), b.packets, a.pair) < std::tuple(a.bytes(), a.packets, b.pair);
                      });
}

} // namespace netrondo::cli
