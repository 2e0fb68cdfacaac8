// What is kept of a session: frames between two ports of two hosts, in both directions.
#pragma once

#include "Analysis/Tcp/RecentSegments.h"
#include "Base/Address.h"
#include "Base/Counter.h"

#include <cstdint>

namespace netrondo {

/// A pair of hosts, by the number its owner has given it.
using ConversationId = std::uint32_t;

/// One direction of a session: what it carried and, of TCP, how far it has come. What every frame changes is here, what
/// few do is in `TcpHandshake` and `TcpTrouble`.
struct FlowState {
    enum Known : std::uint8_t {
        exists = 1, ///< to the TCP tracker: a segment was sent, or acknowledged by the other side
        nextseqKnown = 2,
        lastackKnown = 4,
        windowSampled = 8,
        carriedPayload = 16
    };
    Counter64 frames;
    Counter64 bytes;
    double lastSeen = 0;              ///< seconds
    std::uint32_t newestFrameLow = 0; ///< see `newestFrame`
    std::uint8_t newestFrameHigh = 0;
    std::uint8_t known = 0;
    std::uint16_t windowLast = 0;
    std::uint32_t nextseq = 0; ///< the highest sequence end sent on this flow
    std::uint32_t lastack = 0; ///< the highest acknowledgement the peer has sent for it
    RecentSegments::Ring recent;
    Counter32 pshCount;
    std::uint16_t windowMin = 65535;
    std::uint16_t windowMax = 0;

    bool knows(Known what) const { return known & what; }
    /// The number of the flow's last frame among all that were counted. 40 bits of it are kept: a file with more frames
    /// than that takes 50 TB.
    std::uint64_t newestFrame() const { return std::uint64_t{newestFrameHigh} << 32 | newestFrameLow; }
    void setNewestFrame(std::uint64_t number)
    {
        newestFrameLow = static_cast<std::uint32_t>(number);
        newestFrameHigh = static_cast<std::uint8_t>(number >> 32);
    }
};

/// Both directions between two ports. Host 0 is the one with the lower address. A session is all that an ordinary frame
/// looks up and changes, and it fills two neighbouring cache lines.
struct alignas(128) Session {
    enum class Kind : std::uint8_t {
        tcp,    ///< what the TCP tracker watches
        cutTcp, ///< TCP whose header was not captured whole
        udp,
        tcpWithoutPorts,
        udpWithoutPorts,
        other, ///< neither TCP nor UDP, or the later part of a fragmented packet
    };
    std::uint32_t hosts[2] = {0, 0}; ///< numbers in the `AddressBook`
    /// Of host 0 and of host 1. A session without ports keeps its frames' protocol name and category here instead:
    /// there is one for each.
    std::uint16_t ports[2] = {0, 0};
    Address::Kind hostKind : 4 = Address::Kind::none;
    Kind kind : 4 = Kind::other;
    std::uint32_t watched : 24 = 0; ///< where the expert scan keeps what it knows of it; 0: not here
    FlowState flows[2];             ///< [0] is sent by host 0

    bool hasPorts() const { return kind <= Kind::udp; }
};
static_assert(sizeof(Session) == 128);

/// What is kept of a session besides, under the same number: frames seldom ask for it.
struct SessionDetails {
    ConversationId conversation = 0;
    std::uint32_t handshake = 0;       ///< number of its `TcpHandshake`, 0 for none
    std::uint32_t order[2] = {0, 0};   ///< TCP flows are numbered as they appear
    std::uint32_t trouble[2] = {0, 0}; ///< numbers of the flows' `TcpTrouble`, 0 for none
};

} // namespace netrondo
