// Where names are looked for, and which are believed.
#include "Analysis/HostNameStore.h"

#include "Analysis/Names/DhcpNames.h"
#include "Analysis/Names/DnsAnswers.h"
#include "Analysis/Names/DomainName.h"
#include "Analysis/Names/NetBiosNames.h"
#include "Base/Prefetch.h"

#include <algorithm>
#include <cstring>

namespace netrondo {
namespace {

bool isSingleHost(const Address& address)
{
    switch (address.kind) {
    case Address::Kind::none: return false;
    case Address::Kind::mac: return address.low != 0 && !(address.low >> 40 & 1); // the group bit
    case Address::Kind::ipv4: {
        const auto first = address.low >> 24;
        return address.low != 0 && first != 127 && (first < 224 || first >= 240) && address.low != 0xffffffff;
    }
    case Address::Kind::ipv6: return (address.high != 0 || address.low > 1) && address.high >> 56 != 0xff;
    case Address::Kind::ipx:
    case Address::Kind::decnet: return true;
    }
    return false;
}

// Over TCP each message stands behind its length; a segment is read where it begins with a whole one.
void learnFromDnsStream(Bytes segment, HostNameStore& store)
{
    Cursor cursor(segment);
    while (cursor.left() >= 2) {
        const auto message = cursor.take(cursor.u16());
        if (cursor.failed())
            return;
        names::learnFromDns(message, names::DnsKind::unicast, store);
    }
}

} // namespace

void HostNameStore::harvest(const FrameFacts& facts)
{
    if (!mayHoldNames(facts))
        return;
    if (facts.isTcp)
        return learnFromDnsStream(facts.payload, *this);
    switch (facts.sourcePort) {
    case 53: return names::learnFromDns(facts.payload, names::DnsKind::unicast, *this);
    case 5353: return names::learnFromDns(facts.payload, names::DnsKind::multicast, *this);
    case 5355: return names::learnFromDns(facts.payload, names::DnsKind::linkLocal, *this);
    case 137: return names::learnFromNetBios(facts.payload, facts.sourceIp, *this);
    default: return names::learnFromDhcp(facts.payload, *this);
    }
}

void HostNameStore::learn(const Address& address, std::string_view name)
{
    if (!isSingleHost(address) || !names::isAcceptable(name))
        return;
    const auto hash = hashOf(address);
    if (hosts_.size() + tidingCount_ >= maxNames) [[unlikely]] {
        fileTidings();
        if (hosts_.size() == maxNames && find(address, hash) == SlotIndex::none)
            return;
    }
    if (tidingCount_ == mostTidings)
        fileTidings();
    index_.prefetch(hash);
    auto& tiding = tidings_[tidingCount_++];
    tiding.address = address;
    tiding.hash = hash;
    tiding.length = static_cast<std::uint8_t>(name.size());
    std::memcpy(tiding.text.data(), name.data(), name.size());
}

void HostNameStore::fileTidings()
{
    for (const auto& tiding : tidings()) {
        if (const auto guess = index_.guess(tiding.hash); guess != SlotIndex::none)
            prefetch(&hosts_[guess]);
    }
    for (const auto& tiding : tidings())
        file(tiding);
    tidingCount_ = 0;
}

void HostNameStore::file(const Tiding& tiding)
{
    auto number = find(tiding.address, tiding.hash);
    if (number == SlotIndex::none) {
        number = hosts_.append();
        hosts_[number].address = tiding.address;
        index_.insert(tiding.hash, number);
    }
    auto& host = hosts_[number];
    host.length = tiding.length;
    if (tiding.length <= host.text.size()) {
        std::memcpy(host.text.data(), tiding.text.data(), tiding.length);
    } else if (host.longName > 0) {
        longNames_[host.longName - 1] = tiding.name();
    } else {
        longNames_.emplace_back(tiding.name());
        host.longName = static_cast<std::uint32_t>(longNames_.size());
    }
}

std::uint32_t HostNameStore::find(const Address& address, std::uint64_t hash) const
{
    return index_.find(hash, [&](std::uint32_t number) { return hosts_[number].address == address; });
}

std::string_view HostNameStore::nameOf(const Host& host) const
{
    if (host.length <= host.text.size())
        return {host.text.data(), host.length};
    return longNames_[host.longName - 1];
}

std::string_view HostNameStore::name(const Address& address) const
{
    const auto newest = std::find_if(tidings().rbegin(), tidings().rend(),
                                     [&](const Tiding& tiding) { return tiding.address == address; });
    if (newest != tidings().rend())
        return newest->name();
    const auto number = find(address, hashOf(address));
    return number == SlotIndex::none ? std::string_view{} : nameOf(hosts_[number]);
}

std::size_t HostNameStore::size() const
{
    std::size_t count = hosts_.size();
    for (std::size_t i = 0; i < tidingCount_; ++i) {
        const auto& tiding = tidings_[i];
        const auto isSame = [&](const Tiding& earlier) { return earlier.address == tiding.address; };
        if (find(tiding.address, tiding.hash) == SlotIndex::none && std::ranges::none_of(tidings().first(i), isSame))
            ++count;
    }
    return count;
}

} // namespace netrondo
