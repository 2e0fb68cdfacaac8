// The findings of a capture as somebody looks at them: narrowed, in an order, in groups.
#pragma once

#include "Analysis/Expert/CaptureExpertSummary.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo {

/// What somebody wants to see. A field that is empty leaves nothing out.
struct FindingWish {
    enum class Order : std::uint8_t { pain, title, hosts, layer, count, first, last, confidence };
    enum class Groups : std::uint8_t { none, severity, layer, host };

    Severity least = Severity::info;
    std::optional<ExpertLayer> layer = {};
    Address host = {}, peer = {}; ///< one of the endpoints; and the other one
    /// Words, each of which stands in the title, the id, a host's address or name, or the detail; case of ASCII letters
    /// does not count.
    std::string text = {};
    bool withMuted = false;
    Order order = Order::pain; ///< `pain`: what hurts most first
    bool isReversed = false;
    Groups groups = Groups::none;

    friend bool operator==(const FindingWish&, const FindingWish&) = default;
};

/// "Link layer (L2)", "The capture itself".
std::string_view inWords(ExpertLayer layer);

/// Findings by their indices in the summary's list.
struct FindingGroup {
    std::string title; ///< empty without grouping
    Severity worst = Severity::info;
    std::vector<std::uint32_t> findings;
    friend bool operator==(const FindingGroup&, const FindingGroup&) = default;
};

struct FindingTable {
    std::vector<FindingGroup> groups; ///< those without findings are left out
    std::size_t shown = 0;
    std::size_t muted = 0;               ///< of all findings
    std::array<std::size_t, 4> counts{}; ///< of all findings that are not muted, by severity
};

/// How a host reads: its name and address.
using HostWords = std::function<std::string(const Address&)>;

/// Work for the background: a hostile capture has tens of thousands of findings.
FindingTable arrange(std::span<const ExpertFinding> findings, const FindingWish& wish, const HostWords& words);

/// The worst that is said, and not muted, of each host and of each conversation.
struct FindingMarks {
    struct Mark {
        Severity severity = Severity::info;
        std::vector<std::uint32_t> findings; ///< what hurts most first
        friend bool operator==(const Mark&, const Mark&) = default;
    };
    /// Conversations under their two hosts, the smaller address first; a host alone under it and no address.
    std::map<std::pair<Address, Address>, Mark> marks;

    const Mark* find(const Address& host) const { return find(host, {}); }
    const Mark* find(const Address& host, const Address& peer) const;
    friend bool operator==(const FindingMarks&, const FindingMarks&) = default;
};

FindingMarks marksOf(std::span<const ExpertFinding> findings);

/// What marks on frames are said of muted findings and their symptoms alone, or would be: a frame is marked when it
/// comes, and what is made of it in the end may be no finding.
class MutedMarks {
public:
    MutedMarks() = default;
    MutedMarks(std::span<const ExpertFinding> findings, std::vector<ExpertMute> mutes);

    /// Whether this is muted on frames between these two.
    bool have(Finding finding, const Address& source, const Address& destination) const;

private:
    struct Mark {
        Finding finding;
        std::pair<Address, Address> hosts; ///< as in `FindingMarks`
        friend auto operator<=>(const Mark&, const Mark&) = default;
    };
    std::vector<ExpertMute> mutes_;
    std::set<Mark> symptoms_; ///< of muted findings
};

} // namespace netrondo
