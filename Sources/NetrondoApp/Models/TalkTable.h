// The conversations and hosts of an analysis as rows: numbers to sort and filter by, text for the rows in sight.
#pragma once

#include "Analysis/Model/AnalysisResult.h"
#include "Base/Address.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo {

struct HostRow {
    Address address;
    std::string text; ///< the address in words: the host's identity
    std::string name; ///< as the capture tells it; empty when it does not
    std::uint64_t sentBytes = 0;
    std::uint64_t receivedBytes = 0;
    std::uint64_t packets = 0;
    std::uint32_t peers = 0;

    std::uint64_t bytes() const { return sentBytes + receivedBytes; }
};

/// Two hosts and both directions between them; the one that spoke first stands first.
struct TalkRow {
    static constexpr std::uint32_t none = UINT32_MAX;
    std::uint32_t hosts[2] = {none, none}; ///< indices of the host rows
    std::uint32_t pairs[2] = {none, none}; ///< indices in the result's pairs: sent by hosts[0], by hosts[1]
    std::uint64_t bytes[2] = {0, 0};       ///< sent by hosts[0], by hosts[1]
    std::uint64_t packets[2] = {0, 0};
    std::string_view protocol;
    int score = -1;             ///< of its TCP quality, −1 without
    double first = 0, last = 0; ///< seconds

    std::uint64_t allBytes() const { return bytes[0] + bytes[1]; }
    std::uint64_t allPackets() const { return packets[0] + packets[1]; }
    std::uint64_t volume(bool useBytes) const { return useBytes ? allBytes() : allPackets(); }
};

/// A protocol that names conversations.
struct ProtocolRow {
    std::string_view name;
    std::uint64_t talks = 0, bytes = 0, packets = 0;
};

/// Immutable once made; making it looks at every pair once, which is work for the background.
class TalkTable {
public:
    TalkTable() = default;
    explicit TalkTable(std::shared_ptr<const AnalysisResult> result);

    const std::shared_ptr<const AnalysisResult>& result() const { return result_; }
    const std::vector<TalkRow>& talks() const { return talks_; }
    const std::vector<HostRow>& hosts() const { return hosts_; }
    /// By name.
    const std::vector<ProtocolRow>& protocols() const { return protocols_; }
    const HostRow& host(const TalkRow& talk, int side) const { return hosts_[talk.hosts[side]]; }

    /// The row of a conversation or host; `TalkRow::none` when there is none.
    std::uint32_t findTalk(std::string_view a, std::string_view b) const;
    std::uint32_t findHost(std::string_view address) const;

    /// The directed pairs of a talk in words: one or two.
    std::vector<CommPair> pairsOf(const TalkRow& talk) const;

private:
    std::shared_ptr<const AnalysisResult> result_;
    std::vector<TalkRow> talks_;
    std::vector<HostRow> hosts_;
    std::vector<ProtocolRow> protocols_;
    std::vector<std::uint32_t> hostsByText_;
    std::vector<std::uint32_t> talksByHosts_; ///< sorted by the smaller, then the larger host index
};

} // namespace netrondo
