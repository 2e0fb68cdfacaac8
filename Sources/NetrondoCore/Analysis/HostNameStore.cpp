// Where names are looked for, and which are believed.
#include "Analysis/HostNameStore.h"

#include "Analysis/Names/DhcpNames.h"
#include "Analysis/Names/DnsAnswers.h"
#include "Analysis/Names/DomainName.h"
#include "Analysis/Names/NetBiosNames.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <utility>

namespace netrondo {
namespace {

constexpr std::size_t latestSlots = 64 * 1024;

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
    case Address::Kind::ipx: return true;
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
    if (latest_.empty())
        latest_.resize(latestSlots);
    const auto slot = hashOf(address);
    const auto said = XXH3_64bits_withSeed(name.data(), name.size(), slot);
    if (std::exchange(latest_[slot % latestSlots], said) == said)
        return;
    if (!isSingleHost(address) || !names::isAcceptable(name))
        return;
    if (const auto known = names_.find(address); known != names_.end())
        known->second.assign(name);
    else if (names_.size() < maxNames)
        names_.emplace(address, name);
}

std::string_view HostNameStore::name(const Address& address) const
{
    const auto known = names_.find(address);
    return known == names_.end() ? std::string_view{} : std::string_view(known->second);
}

} // namespace netrondo
