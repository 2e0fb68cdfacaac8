// What one pass over a capture knows: conversations, protocols, totals, time span. Never changes once made.
#pragma once

#include "Analysis/Expert/CaptureExpertSummary.h"
#include "Analysis/Model/CommPair.h"
#include "Base/Address.h"
#include "Dissection/Classify/AnalysisMode.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace netrondo {

class ConversationTable;

/// The directed pairs of a result in the order of their key "{srcAddr}->{dstAddr}". They are kept as numbers and become
/// `CommPair`s one at a time, when somebody reads them: a capture of half a million pairs costs no text until then.
class PairList {
public:
    PairList() = default;
    explicit PairList(std::shared_ptr<const ConversationTable> table);

    std::size_t size() const { return order_.size(); }
    bool empty() const { return order_.empty(); }
    /// The pair in words.
    CommPair operator[](std::size_t index) const;
    /// The same into an existing record, whose memory is used again.
    void read(std::size_t index, CommPair& into) const;
    /// The pair's `tcpQuality`, without the rest of the record.
    std::optional<TCPSessionQuality> tcpQuality(std::size_t index) const;

    /// What ranking and totalling need, without text. Made to be asked of one pair after the other.
    struct Summary {
        Address source;
        Address destination;
        std::uint64_t packetCount = 0;
        std::uint64_t byteCount = 0;
        std::uint32_t conversation = 0; ///< the same for both directions
        bool hasTcp = false;
        std::optional<int> tcpScore;        ///< of the TCP of both directions, as `tcpQuality` has it
        bool hasTcpComplaints = false;      ///< likewise: there is something to say of it
        double firstSeen = 0, lastSeen = 0; ///< seconds
    };
    Summary summary(std::size_t index) const;
    /// The pair's `topProtocol`, without the rest of the record.
    std::string_view topProtocol(std::size_t index) const;
    /// The name that the capture tells of a host; empty when it tells none.
    std::string_view hostName(const Address& host) const;

    class Iterator {
    public:
        using value_type = CommPair;
        using difference_type = std::ptrdiff_t;
        CommPair operator*() const { return (*list_)[index_]; }
        Iterator& operator++()
        {
            ++index_;
            return *this;
        }
        void operator++(int) { ++index_; }
        friend bool operator==(const Iterator&, const Iterator&) = default;

    private:
        friend class PairList;
        Iterator(const PairList* list, std::size_t index) : list_(list), index_(index) { }
        const PairList* list_;
        std::size_t index_;
    };
    Iterator begin() const { return {this, 0}; }
    Iterator end() const { return {this, size()}; }
    std::vector<CommPair> all() const;

private:
    std::shared_ptr<const ConversationTable> table_;
    std::vector<std::uint32_t> order_; ///< pair numbers (conversation * 2 + direction) in key order
};

struct AnalysisResult {
    PairList pairs;
    std::vector<ProtocolStats> protocols; ///< by count descending, then by name in byte order
    std::uint64_t totalPackets = 0;
    std::uint64_t totalBytes = 0;
    AnalysisMode mode = AnalysisMode::l3IP;
    double durationSeconds = 0;
    std::optional<double> captureStartSeconds;
    CaptureExpertSummary expertSummary;
};

void write(JsonWriter& json, const AnalysisResult& result);

} // namespace netrondo
