// The busiest of a result, found in numbers: text is made for the few rows that are shown.
#pragma once

#include "Analysis/Model/AnalysisResult.h"

#include <cstdint>
#include <vector>

namespace netrondo::cli {

/// Two hosts and what went between them, both directions together.
struct Talk {
    static constexpr std::uint32_t none = UINT32_MAX;
    std::uint64_t bytes = 0;
    std::uint64_t packets = 0;
    std::uint32_t pair = none;     ///< index of a directed pair of the result
    std::uint32_t reverse = none;  ///< index of the other one, where there is one
    std::optional<int> tcpScore;   ///< of all its TCP
    bool hasTcpComplaints = false; ///< likewise
};

/// A host and all it sent and received.
struct HostTotals {
    Address address;
    std::uint64_t packets = 0;
    std::uint64_t sentBytes = 0;
    std::uint64_t receivedBytes = 0;
    std::uint64_t peers = 0;
    std::uint32_t pair = 0; ///< index of one of its pairs, which knows its name
    std::uint64_t bytes() const { return sentBytes + receivedBytes; }
};

std::vector<Talk> talks(const PairList& pairs);
std::vector<HostTotals> hosts(const PairList& pairs);

/// The first `count` places are taken by the largest by `bytes`, in order; the rest follows in no order.
void busiestFirst(std::vector<Talk>& talks, std::size_t count);
void busiestFirst(std::vector<HostTotals>& hosts, std::size_t count);

} // namespace netrondo::cli
