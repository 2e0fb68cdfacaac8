// The nodes that end a layer early: where reading stopped, and why.
#pragma once

#include "Dissection/Decode/Field.h"

namespace netrondo::stop {

/// The number of these nodes is the address of the `Field` that could not be read; Render names it.
inline constexpr Field cut{"decode.cut", "The capture ends here", Wire::madeText};
inline constexpr Field malformed{"decode.malformed", "Malformed", Wire::madeText};
inline constexpr Field continues{"decode.continues", "Goes on in another segment", Wire::madeText};
inline constexpr Field quoteEnds{"decode.quote_end", "The quoted packet ends here", Wire::madeText};
/// Bytes of a message that began in an earlier segment.
inline constexpr Field continuation{"decode.continuation", "Continuation of a message", Wire::bytes};
/// Bytes behind everything that the dissector knows.
inline constexpr Field undecoded{"decode.rest", "Not decoded further", Wire::bytes};

// Reasons that are no field of the protocol.
inline constexpr Field skipped{"decode.reason", "the announced bytes", Wire::none};
inline constexpr Field tooManyNodes{"decode.reason", "more nodes than a frame may have", Wire::none};
inline constexpr Field tooManyLayers{"decode.reason", "more layers than a frame may have", Wire::none};

} // namespace netrondo::stop
