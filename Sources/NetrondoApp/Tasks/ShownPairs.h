// Which conversations the picture shows.
#pragma once

#include "Circle/CircleLayout.h"
#include "Models/Selection.h"
#include "Models/TalkTable.h"

#include <cstdint>
#include <memory>
#include <set>
#include <string>

namespace netrondo {

struct ShownPairsWish {
    std::shared_ptr<const TalkTable> talks;
    std::set<std::string, std::less<>> hiddenProtocols;
    Selected focused;
    int limit = 0; ///< conversations, the largest first; 0 for all
    bool useBytes = true;
    bool seatAnew = false; ///< seat the hosts for the first time
};

struct ShownPairs {
    PairArray pairs;             ///< both directions of each conversation, the largest first
    std::uint64_t shown = 0;     ///< conversations
    std::uint64_t leftOut = 0;   ///< by the limit
    std::uint64_t hidden = 0;    ///< by their protocol
    std::uint64_t unfocused = 0; ///< outside of what is focused
    AngleByAddress angles;       ///< first places, heavy conversations across; none where there are too many hosts
};

/// Every conversation is shown or counted in one of the reasons why it is not. Work for the background.
ShownPairs shownPairs(const ShownPairsWish& wish);

} // namespace netrondo
