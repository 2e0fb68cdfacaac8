// What must hold for any bytes in the options area of a TCP header.
#pragma once

#include "Base/Result.h"
#include "Dissection/Wire/TcpOptions.h"

#include <algorithm>

namespace netrondo::fuzz {

inline void tcpOptions(Bytes input)
{
    const auto options = parseTcpOptions(input);
    NR_ASSERT(options.sackBlocks().size() <= 4);
    const auto names = options.extraNames();
    NR_ASSERT(names.size() == options.extraKinds.count());
    NR_ASSERT(std::is_sorted(names.begin(), names.end()));
    NR_ASSERT(std::adjacent_find(names.begin(), names.end()) == names.end());
    for (const unsigned common : {0u, 1u, 2u, 3u, 4u, 5u, 8u})
        NR_ASSERT(!options.extraKinds[common]);
    // What follows the end of the list is not looked at.
    if (!input.empty()) {
        std::vector<std::uint8_t> ended(input.begin(), input.end());
        ended.insert(ended.begin(), 0);
        NR_ASSERT(parseTcpOptions(ended).empty());
    }
}

} // namespace netrondo::fuzz
