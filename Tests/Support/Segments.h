// A capture put together frame by frame, decoded in order as it grows.
#pragma once

#include "Dissection/Decode/PacketDecoder.h"

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo::test {

class Capture {
public:
    /// A segment to and from the ports, between 10.0.0.1, which has the higher one, and 10.0.0.2. Gives the frame's
    /// index.
    std::size_t tcp(std::uint16_t to, std::uint16_t from, std::uint32_t sequence, Bytes payload,
                    std::uint8_t flags = 0x18);
    /// A UDP datagram between the same two, in the same way.
    std::size_t udp(std::uint16_t to, std::uint16_t from, Bytes payload);
    /// A piece of an IPv4 UDP datagram.
    std::size_t fragment(std::uint16_t id, std::uint16_t offset, bool moreFollow, Bytes payload);
    /// An Ethernet frame as it stands.
    std::size_t add(std::vector<std::uint8_t> bytes);

    std::string info(std::size_t frame) const { return decoded_[frame].info; }
    std::string protocol(std::size_t frame) const { return decoded_[frame].protocol; }
    std::string dump(std::size_t frame) const { return decoded_[frame].dump; }
    /// The values of the nodes with this id, as `netrondo::test::values` writes them.
    std::string values(std::size_t frame, std::string_view id) const;
    /// The tree of the frame when it is decoded by its number alone.
    std::string dumpOutOfTurn(std::size_t frame) const;

private:
    struct Kept {
        std::vector<std::uint8_t> bytes;
        DecodedFrame frame;
        std::string info, protocol, dump;
    };

    std::deque<Kept> decoded_;
    PacketDecoder decoder_{false, PacketDecoder::Keep::contexts};
};

} // namespace netrondo::test
