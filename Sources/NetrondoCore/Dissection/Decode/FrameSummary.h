// The columns of the packet list, as values: text is made for the rows in sight.
#pragma once

#include "Base/Address.h"
#include "Dissection/Decode/Protocol.h"

#include <cstdint>

namespace netrondo {

struct FrameSummary {
    std::uint64_t number = 0;     ///< from 1
    std::int64_t nanoseconds = 0; ///< since the first frame of the capture; may be negative
    Address source;               ///< of the innermost network layer, else of the link
    Address destination;
    std::uint16_t sourcePort = 0;
    std::uint16_t destinationPort = 0;
    Transport transport = Transport::none; ///< the ports mean something unless this is `none`
    const Protocol* protocol = nullptr;    ///< the innermost that was recognised
    std::uint32_t length = 0;              ///< on the wire
};

/// "tcp", "udp" …, empty for none.
std::string_view transportKey(Transport transport);

} // namespace netrondo
