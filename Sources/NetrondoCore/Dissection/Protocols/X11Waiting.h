// The requests of an X11 connection that wait for their replies, which name them by number alone.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace netrondo::x11 {

class WaitingRequests {
public:
    /// The connection begins: its requests count from 1.
    void begin() { *this = {}, isCounted_ = true; }
    /// The next request.
    void add(std::uint8_t opcode);
    /// The opcode of the request with a reply's number; 0 when that is not known. A server answers in order, so that a
    /// request that was passed over shows that some were missed: from then on nothing is known.
    std::uint8_t answered(std::uint16_t number);
    /// An error came instead of a reply.
    void failed(std::uint16_t number);

private:
    struct Entry {
        std::uint16_t number;
        std::uint8_t opcode;
        bool mayHaveNone; ///< whether it may go without a reply
    };
    static constexpr std::size_t most = 512; ///< toolkits ask for hundreds of atoms before the first reply

    Entry& at(std::size_t index) { return entries_[(first_ + index) % most]; }
    /// Drops those that were answered before the number.
    void passTo(std::uint16_t number);

    std::array<Entry, most> entries_{};
    std::size_t first_ = 0, count_ = 0;
    std::uint16_t number_ = 0; ///< of the last request
    bool isCounted_ = false;
};

} // namespace netrondo::x11
