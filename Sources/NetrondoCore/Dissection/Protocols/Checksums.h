// Verification of checksums as the nodes keep it.
#pragma once

#include "Dissection/Decode/Layer.h"

namespace netrondo::checksums {

/// The node's number for a checksum field: what was sent, what it should be, and the outcome.
constexpr std::uint64_t verdict(std::uint16_t sent, std::uint16_t expected, ChecksumOutcome outcome)
{
    return std::uint64_t{static_cast<std::uint8_t>(outcome)} << 32 | std::uint64_t{expected} << 16 | sent;
}

/// Reads the checksum `field` at the current offset and judges it over `covered`, the bytes it is in, whose sum with
/// what else counts (the pseudo-header) should be all ones. Tells the outcome; a wrong sum marks the node.
ChecksumOutcome read(Layer& layer, const Field& field, Bytes covered, std::uint64_t pseudoHeader, Expert wrong);

/// The same for whoever adds up the covered bytes himself.
ChecksumOutcome readSum(Layer& layer, const Field& field, std::uint64_t total, Expert wrong);

/// The same for a transport under IP: adds the pseudo-header, leaves fragments, cut frames and quotes unjudged, and
/// knows the half-made sums of a sender that leaves the rest to its network card.
ChecksumOutcome readTransport(Layer& layer, const Field& field, std::uint8_t protocol, Expert wrong);

} // namespace netrondo::checksums
