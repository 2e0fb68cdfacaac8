// The filter language taken at its word: every value as text, every comparison made from scratch, the tree walked from
// the top. Slow, and what the fast evaluation is held to.
#pragma once

#include "Dissection/Decode/PacketDecoder.h"
#include "Dissection/Filter/DisplayFilter.h"
#include "Dissection/Filter/DisplayFilterCatalog.h"

#include <string>
#include <string_view>
#include <vector>

namespace netrondo::test {

/// All values that the frame has under the field, in order.
std::vector<std::string> plainValues(const DisplayFilterField& field, const DecodedFrame& frame);
bool plainHolds(std::string_view value, FilterOp op, std::string_view target);
bool plainMatches(const DisplayFilter& filter, const DecodedFrame& frame);

} // namespace netrondo::test
