// Filters made from what a person points at: a node of the tree, a cell of the packet list, a conversation.
#pragma once

#include "Dissection/Decode/PacketDecoder.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace netrondo::FilterFrom {

/// A column of the packet list that has values of its own in filters.
enum class Cell : std::uint8_t {
    number,
    time,
    source,
    destination,
    sourcePort,
    destinationPort,
    protocol,
    length,
};

/// What new filter text does to the one that is there.
enum class Joint : std::uint8_t { replace, replaceByNot, and_, or_, andNot, orNot };

/// A filter that selects this frame for what the node says: "ip.ttl == 64", or the mere name where there is no value.
/// Empty where the catalogue has no name for it.
std::string node(const DecodedFrame& frame, std::uint32_t node);
/// The same for a cell of the packet list.
std::string cell(const FrameSummary& summary, Cell cell);
/// Every frame between the two ends of this one, either way, with its ports if it has any.
std::string conversation(const FrameSummary& summary);
/// Every frame between two hosts, given by the addresses that the packet list shows, or by their MAC addresses.
std::string hosts(std::string_view one, std::string_view other);

/// The two texts as one filter, with parentheses where they are needed to keep both meanings.
std::string joined(std::string_view present, std::string_view added, Joint joint);

} // namespace netrondo::FilterFrom
