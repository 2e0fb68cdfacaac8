// Who claims which IPv4 address, who asks for it, and whether anybody answers (RFC 826, RFC 5227).
#pragma once

#include "Analysis/Expert/BoundedTable.h"
#include "Analysis/Expert/FrameSight.h"

#include <array>
#include <cstdint>
#include <set>
#include <vector>

namespace netrondo {

class ConversationTable;

/// One host asking for another.
struct ArpQuestion {
    std::uint32_t sender = 0, target = 0;
    friend bool operator==(const ArpQuestion&, const ArpQuestion&) = default;
};
inline std::uint64_t hashOf(const ArpQuestion& question)
{
    return hashWords(question.sender, question.target);
}

class ArpScan {
public:
    explicit ArpScan(const ExpertPreferences& preferences) : preferences_(preferences) { }

    void scan(const FrameSight& sight, FindingLog& log);
    /// A DHCP server says that this is the way out.
    void learnGateway(const Address& router);
    void finish(const ConversationTable& table, FindingLog& log, double end) const;
    /// What was left out, in words.
    void tellCutOff(std::vector<std::string>& lines) const;

    /// For callers that scan many frames: brings closer where the tables find what a request looks up (step 0), then
    /// what they find (step 1).
    void prefetch(const Address& mac, const Address& sender, const Address& target, int step) const;

private:
    struct Claim {
        std::uint64_t mac = 0, before = 0; ///< `before`: the station that claimed it until then
        Sighting at;
        std::uint32_t returns = 0;   ///< how often the address went back to the station before
        std::uint32_t mostFlips = 0; ///< the same within a minute
        BurstCount flips, unsolicited;
        bool isGateway = false;
        double lastSeen = -1e300; ///< when the station last sent ARP for it
    };
    struct Question {
        std::uint32_t unanswered = 0;
        Sighting first, last;
        std::array<Sighting, 3> latest{};
    };
    struct Asker {
        BurstCount targets;
        std::uint32_t all = 0;        ///< targets since the scan began
        double latest = 0;            ///< when a target was new
        std::vector<Sighting> frames; ///< of the running burst, until it is a scan
    };
    struct Announcer {
        BurstCount announcements;
        std::uint32_t answered = 0; ///< addresses it answers for
    };

    void scanClaim(std::uint64_t mac, std::uint32_t ip, const FrameSight& sight, FindingLog& log);
    std::set<std::uint64_t> routersAmong(const std::set<std::uint64_t>& macs, const ConversationTable& table) const;
    void finishConflicts(const ConversationTable& table, FindingLog& log) const;
    void scanRequest(std::uint32_t sender, std::uint32_t target, const FrameSight& sight, FindingLog& log);

    const ExpertPreferences& preferences_;
    BoundedTable<Address, Claim> claims_{65'536};
    BoundedTable<Address, Announcer> announcers_{16'384};
    BoundedTable<ArpQuestion, Question> questions_{65'536};
    BoundedTable<Address, Asker> askers_{16'384};
    BurstCount requests_;
    Sighting stormFirst_;
    std::uint64_t unicastReplies_ = 0;
};

} // namespace netrondo
