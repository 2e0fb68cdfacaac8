// All conversations of an analysis as numbers: what the aggregator fills and a result reads.
#pragma once

#include "Analysis/AddressBook.h"
#include "Analysis/HostNameStore.h"
#include "Analysis/Model/CommPair.h"
#include "Analysis/Session.h"
#include "Analysis/Tcp/TCPQualityTracker.h"
#include "Base/Address.h"
#include "Base/Counter.h"
#include "Base/PagedVector.h"
#include "Base/Prefetch.h"
#include "Dissection/Classify/ProtocolCategory.h"
#include "Dissection/Classify/ProtocolName.h"

#include <cstdint>
#include <span>
#include <vector>

namespace netrondo {

/// What the first frame of a pair told of it besides its hosts.
struct PairOrigin {
    double firstSeen = 0; ///< seconds
    /// The addresses of the other layer, source and destination: MAC addresses of IP hosts, IP addresses of MAC hosts,
    /// where the frame had them. Numbers in the `AddressBook`.
    std::uint32_t others[2] = {0, 0};
};

/// Two hosts, in ascending order, so that both directions find the same row. It is looked up when a session begins.
struct Conversation {
    std::uint32_t hosts[2] = {0, 0}; ///< numbers in the `AddressBook`
    PairOrigin origins[2];           ///< [0] of what hosts[0] sends
    Address::Kind hostKind = Address::Kind::none;
    bool hasPair[2] = {false, false};
    Address::Kind otherKinds[2][2] = {}; ///< of `others`
};

/// One direction of a conversation, summed up.
struct PairTotals {
    Counter64 packets;
    Counter64 bytes;
    double lastSeen = 0; ///< seconds
    ProtocolName topProtocol = ProtocolName::other;
    ProtocolCategory category = ProtocolCategory::unknown;
    bool hasTcp = false;
    bool hasUdp = false;
    /// Of the TCP of both directions: its score, or `noScore` without TCP, and whether there is something to say of it.
    std::int8_t tcpScore = noScore;
    bool hasTcpComplaints = false;
    static constexpr std::int8_t noScore = -1;
};

/// A pair is a conversation and a direction: number = conversation * 2 + direction.
class ConversationTable {
public:
    AddressBook addresses;
    PagedVector<Conversation> conversations;
    PagedVector<Session> sessions;
    PagedVector<SessionDetails> details; ///< by session number
    TCPQualityTracker tracker;
    HostNameStore names;

    /// A copy for reading results: no frame can be added to it.
    ConversationTable snapshot() const;

    /// Sums the sessions up by conversation. Called once, when all frames are in; the functions below need it.
    void sumUp();

    const PairTotals& pair(std::uint32_t number) const { return totals_[number]; }
    Address source(std::uint32_t number) const { return host(number / 2, number & 1); }
    Address destination(std::uint32_t number) const { return host(number / 2, 1 - (number & 1)); }
    double firstSeen(std::uint32_t number) const { return conversations[number / 2].origins[number & 1].firstSeen; }
    /// The one of `pair`, or where that says no more than how bytes were carried, what its ports are known for.
    ProtocolName topProtocol(std::uint32_t pairNumber) const;
    /// The sessions of a conversation, in the order in which they appeared.
    std::span<const std::uint32_t> sessionsOf(ConversationId conversation) const;
    /// The numbers of all pairs, in the order of the texts "{source}->{destination}".
    std::vector<std::uint32_t> pairsByKey() const;

    /// The whole record in words, into `into`, whose memory is used again.
    void read(std::uint32_t pairNumber, CommPair& into) const;

    /// Brings closer what `pair`, `source` and `destination` read.
    void prefetchPair(std::uint32_t number) const
    {
        prefetch(&totals_[number]);
        prefetch(&conversations[number / 2]);
    }
    /// The TCP quality of one direction, over all its flows in the order in which they appeared; nothing without TCP.
    std::optional<TCPSessionQuality> quality(std::uint32_t pairNumber) const;
    /// The same with that of the other direction merged into it: how the conversation went.
    std::optional<TCPSessionQuality> conversationQuality(std::uint32_t pairNumber) const;

private:
    Address host(ConversationId conversation, std::uint32_t side) const
    {
        const auto& row = conversations[conversation];
        return addresses.address(row.hostKind, row.hosts[side]);
    }
    void group();
    PairTotals total(std::uint32_t pairNumber) const;
    void judge(ConversationId conversation);
    TCPSessionQuality qualityOf(std::uint32_t session, std::uint32_t side) const;
    void readPorts(std::uint32_t pairNumber, CommPair& into) const;
    void readQuality(std::uint32_t pairNumber, CommPair& into) const;

    std::vector<PairTotals> totals_; ///< by pair number
    /// Session numbers grouped by conversation: those of conversation c stand from starts_[c] to starts_[c + 1].
    std::vector<std::uint32_t> starts_;
    std::vector<std::uint32_t> grouped_;
};

} // namespace netrondo
