// What must hold for any bytes on the ports where names are told.
#pragma once

#include "Analysis/HostNameStore.h"
#include "Analysis/Names/DomainName.h"
#include "Base/Result.h"

#include <algorithm>
#include <vector>

namespace netrondo::fuzz {

/// The first byte chooses the service; the rest is the payload.
inline void hostNames(Bytes input)
{
    if (input.empty())
        return;
    struct Service {
        std::uint16_t port;
        bool isTcp;
    };
    constexpr Service services[] = {{53, false}, {53, true}, {5353, false}, {5355, false}, {137, false}, {67, false}};
    const auto service = services[input[0] % std::size(services)];
    // A copy of its exact size, so that the sanitizer sees a read past the end.
    const std::vector<std::uint8_t> payload(input.begin() + 1, input.end());

    FrameFacts facts;
    facts.isTcp = service.isTcp;
    facts.isUdp = !service.isTcp;
    facts.sourcePort = service.port;
    facts.sourceIp = Address::ipv4(0x0a000001);
    facts.payload = payload;
    NR_ASSERT(HostNameStore::mayHoldNames(facts));

    HostNameStore store;
    store.harvest(facts);
    const auto learnt = store.size();
    NR_ASSERT(learnt <= payload.size()); // a name takes more than a byte to tell
    if (const auto name = store.name(facts.sourceIp); !name.empty())
        NR_ASSERT(names::isAcceptable(name));
    store.harvest(facts); // the same again teaches no new address
    NR_ASSERT(store.size() == learnt);

    names::DomainName domain;
    for (std::size_t offset = 0; offset < std::min<std::size_t>(payload.size(), 64);) {
        const auto before = offset;
        if (!domain.read(payload, offset))
            break;
        NR_ASSERT(offset > before && offset <= payload.size() && domain.text().size() <= 253);
    }
}

} // namespace netrondo::fuzz
