// All conversations of an analysis as numbers: what the aggregator fills and a result reads.
#pragma once

#include "Analysis/HostNameStore.h"
#include "Analysis/Model/CommPair.h"
#include "Analysis/Tcp/TCPQualityTracker.h"
#include "Base/Address.h"
#include "Base/Counter.h"
#include "Base/PagedVector.h"
#include "Dissection/Classify/ProtocolCategory.h"
#include "Dissection/Classify/ProtocolName.h"

#include <cstdint>
#include <span>
#include <vector>

namespace netrondo {

/// One direction of a conversation.
struct PairTotals {
    enum Flag : std::uint8_t { exists = 1, hasTcp = 2, hasUdp = 4, isMac = 8, udpWithoutPorts = 16 };
    Counter64 packets;
    Counter64 bytes;
    double lastSeen = 0; ///< seconds
    ProtocolName topProtocol = ProtocolName::other;
    ProtocolCategory category = ProtocolCategory::unknown;
    std::uint8_t flags = 0;

    bool is(Flag flag) const { return flags & flag; }
};

/// Two hosts, and the totals of both directions. The hosts are in ascending order, so that both directions find the
/// same row.
struct alignas(64) Conversation {
    Address hosts[2];
    PairTotals pairs[2]; ///< [0] is sent by hosts[0]
    /// The connection and the port session seen last, with their ports: most frames belong to the one before.
    struct Latest {
        std::uint16_t ports[2] = {0, 0}; ///< of hosts[0] and of hosts[1]
        std::uint32_t number = SlotIndex::none;
    };
    Latest connection;
    Latest session;
};

/// What the first frame of a pair told of it besides its hosts.
struct PairOrigin {
    double firstSeen = 0; ///< seconds
    /// The addresses of the other layer: MAC addresses of IP hosts, IP addresses of MAC hosts, where the frame had
    /// them.
    Address otherSource, otherDestination;
};

/// Frames between two ports that the TCP tracker does not count: all of UDP, and TCP whose header was cut.
struct PortSession {
    ConversationId conversation = 0;
    std::uint16_t ports[2] = {0, 0};
    bool isTcp = false;
    Counter64 frames[2]; ///< sent by hosts[0] and by hosts[1]
};

/// A pair is a conversation and a direction: number = conversation * 2 + direction.
class ConversationTable {
public:
    PagedVector<Conversation> conversations;
    PagedVector<PairOrigin> origins; ///< by pair number
    PagedVector<PortSession> sessions;
    TCPQualityTracker tracker;
    HostNameStore names;

    /// Notes which connections and sessions belong to which conversation. Called once, when all frames are in; the
    /// functions below need it.
    void group();

    const PairTotals& pair(std::uint32_t number) const { return conversations[number / 2].pairs[number & 1]; }
    const Address& source(std::uint32_t number) const { return conversations[number / 2].hosts[number & 1]; }
    const Address& destination(std::uint32_t number) const { return conversations[number / 2].hosts[1 - (number & 1)]; }
    /// The numbers of all pairs, in the order of the texts "{source}->{destination}".
    std::vector<std::uint32_t> pairsByKey() const;

    /// The whole record in words, into `into`, whose memory is used again.
    void read(std::uint32_t pairNumber, CommPair& into) const;

    /// The TCP quality of one direction, over all its flows in the order in which they appeared; nothing without TCP.
    std::optional<TCPSessionQuality> quality(std::uint32_t pairNumber) const;
    /// The same with that of the other direction merged into it: how the conversation went.
    std::optional<TCPSessionQuality> conversationQuality(std::uint32_t pairNumber) const;

private:
    std::span<const std::uint32_t> connectionsOf(ConversationId conversation) const;
    std::span<const std::uint32_t> sessionsOf(ConversationId conversation) const;
    void readPorts(std::uint32_t pairNumber, CommPair& into) const;
    void readQuality(std::uint32_t pairNumber, CommPair& into) const;

    /// Numbers grouped by conversation: those of conversation c stand from starts[c] to starts[c + 1].
    struct Groups {
        std::vector<std::uint32_t> starts;
        std::vector<std::uint32_t> numbers;
        std::span<const std::uint32_t> of(ConversationId conversation) const
        {
            return std::span(numbers).subspan(starts[conversation], starts[conversation + 1] - starts[conversation]);
        }
    };
    Groups connectionGroups_;
    Groups sessionGroups_;
};

} // namespace netrondo
