#include "Models/TalkTable.h"

#include "Dissection/Classify/PortServices.h"

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <map>
#include <tuple>

namespace netrondo {
namespace {

auto ends(const TalkRow& talk)
{
    return std::minmax(talk.hosts[0], talk.hosts[1]);
}

void takeDirection(TalkRow& talk, int side, const PairList::Summary& pair, std::string_view protocol)
{
    talk.bytes[side] = pair.byteCount;
    talk.packets[side] = pair.packetCount;
    // One direction may have seen nothing but bare acknowledgements.
    if (talk.protocol.empty() || PortServices::isTransportOnly(talk.protocol))
        talk.protocol = protocol;
    const bool isFirst = talk.pairs[1 - side] == TalkRow::none;
    talk.first = isFirst ? pair.firstSeen : std::min(talk.first, pair.firstSeen);
    talk.last = isFirst ? pair.lastSeen : std::max(talk.last, pair.lastSeen);
    if (pair.tcpScore)
        talk.score = *pair.tcpScore;
}

void spokeFirst(TalkRow& talk, int side)
{
    if (side == 0)
        return;
    std::swap(talk.hosts[0], talk.hosts[1]);
    std::swap(talk.pairs[0], talk.pairs[1]);
    std::swap(talk.bytes[0], talk.bytes[1]);
    std::swap(talk.packets[0], talk.packets[1]);
}

} // namespace

TalkTable::TalkTable(std::shared_ptr<const AnalysisResult> result) : result_(std::move(result))
{
    boost::unordered_flat_map<Address, std::uint32_t, AddressHash> hostOf;
    boost::unordered_flat_map<std::uint32_t, std::uint32_t> talkOf;
    std::vector<double> starts; // of the first direction of each talk
    const auto hostIndex = [&](const Address& address) {
        const auto [at, added] = hostOf.try_emplace(address, static_cast<std::uint32_t>(hosts_.size()));
        if (added)
            hosts_.push_back({address, address.text(), std::string(result_->pairs.hostName(address)), 0, 0, 0, 0});
        return at->second;
    };
    for (std::uint32_t i = 0; i < result_->pairs.size(); ++i) {
        const auto pair = result_->pairs.summary(i);
        const auto protocol = result_->pairs.topProtocol(i);
        const auto source = hostIndex(pair.source), destination = hostIndex(pair.destination);
        hosts_[source].sentBytes += pair.byteCount;
        hosts_[destination].receivedBytes += pair.byteCount;
        hosts_[source].packets += pair.packetCount;
        if (source != destination)
            hosts_[destination].packets += pair.packetCount;

        const auto [at, isNew] = talkOf.try_emplace(pair.conversation, static_cast<std::uint32_t>(talks_.size()));
        if (isNew) {
            auto& talk = talks_.emplace_back();
            talk.hosts[0] = source;
            talk.hosts[1] = destination;
            talk.pairs[0] = i;
            takeDirection(talk, 0, pair, protocol);
            starts.push_back(pair.firstSeen);
            ++hosts_[source].peers;
            if (source != destination)
                ++hosts_[destination].peers;
        } else {
            auto& talk = talks_[at->second];
            talk.pairs[1] = i;
            takeDirection(talk, 1, pair, protocol);
            spokeFirst(talk, pair.firstSeen < starts[at->second] ? 1 : 0);
        }
    }

    std::map<std::string_view, ProtocolRow> protocols;
    for (const auto& talk : talks_) {
        auto& row = protocols[talk.protocol];
        row.name = talk.protocol;
        ++row.talks;
        row.bytes += talk.allBytes();
        row.packets += talk.allPackets();
    }
    for (const auto& protocol : protocols)
        protocols_.push_back(protocol.second);

    hostsByText_.resize(hosts_.size());
    for (std::uint32_t i = 0; i < hosts_.size(); ++i)
        hostsByText_[i] = i;
    std::ranges::sort(hostsByText_, {}, [&](std::uint32_t i) -> const std::string& { return hosts_[i].text; });
    talksByHosts_.resize(talks_.size());
    for (std::uint32_t i = 0; i < talks_.size(); ++i)
        talksByHosts_[i] = i;
    std::ranges::sort(talksByHosts_, {},
                      [&](std::uint32_t i) { return std::pair<std::uint32_t, std::uint32_t>(ends(talks_[i])); });
}

std::uint32_t TalkTable::findHost(std::string_view address) const
{
    const auto at = std::ranges::lower_bound(hostsByText_, address, {},
                                             [&](std::uint32_t i) { return std::string_view(hosts_[i].text); });
    return at != hostsByText_.end() && hosts_[*at].text == address ? *at : TalkRow::none;
}

std::uint32_t TalkTable::findTalk(std::string_view a, std::string_view b) const
{
    const auto first = findHost(a), second = findHost(b);
    if (first == TalkRow::none || second == TalkRow::none)
        return TalkRow::none;
    const std::pair<std::uint32_t, std::uint32_t> wanted = std::minmax(first, second);
    const auto key = [&](std::uint32_t i) { return std::pair<std::uint32_t, std::uint32_t>(ends(talks_[i])); };
    const auto at = std::ranges::lower_bound(talksByHosts_, wanted, {}, key);
    return at != talksByHosts_.end() && key(*at) == wanted ? *at : TalkRow::none;
}

std::vector<CommPair> TalkTable::pairsOf(const TalkRow& talk) const
{
    std::vector<CommPair> pairs;
    for (const auto index : talk.pairs)
        if (index != TalkRow::none)
            pairs.push_back(result_->pairs[index]);
    return pairs;
}

} // namespace netrondo
