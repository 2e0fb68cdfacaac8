// What goes wrong on the link: stations, sizes, storms, spanning tree, neighbours.
#pragma once

#include "Analysis/Expert/BoundedTable.h"
#include "Analysis/Expert/FrameSight.h"
#include "Analysis/Expert/SeenMacs.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace netrondo {

class LinkScan {
public:
    explicit LinkScan(const ExpertPreferences& preferences) : preferences_(preferences) { }

    void scan(const FrameSight& sight, FindingLog& log);
    void finish(FindingLog& log) const;
    /// What was left out, in words.
    void tellCutOff(std::vector<std::string>& lines) const;

    /// For callers that scan many frames: brings closer what the scan of a frame looks up.
    void prefetch(std::uint64_t source, std::uint64_t destination) const
    {
        senders_.prefetch(source);
        senders_.prefetch(destination);
    }
    /// The same for a frame that is not an ordinary one: where its stations are found (step 0), then them (step 1).
    void prefetchStations(std::uint64_t source, std::uint64_t destination, int step) const;

private:
    /// What is known of a MAC address. Between stations that have both sent before, an ordinary frame asks for nothing
    /// of it.
    struct Station {
        std::uint32_t received = 0; ///< frames, until it sent one itself
        std::uint32_t firstReceived = 0;
        float firstReceivedSeconds = 0;
        std::uint32_t small = 0; ///< frames sent below the least size
        std::uint8_t sentLarge = 0, receivedLarge = 0;
        std::uint32_t rare = 0; ///< number of its `Rare`, 0 for none
    };
    struct Rare {
        std::uint16_t vlan = 0;     ///< of the last frame that carried a tag
        std::int64_t interface = 0; ///< where that was captured
        Address lastIp;             ///< its sender then
        BurstCount moves, pauses;
        std::uint32_t identityRequests = 0; ///< EAP, since the station’s last answer
    };
    struct Mac {
        std::uint64_t value = 0;
        friend bool operator==(const Mac&, const Mac&) = default;
        friend std::uint64_t hashOf(const Mac& mac) { return hashWords(mac.value, 0x6d61630000000000); }
    };

    /// Broadcasts, or multicasts.
    struct Storm {
        using Frames = std::array<Sighting, ExpertFinding::maxEvidence>;
        /// A time that was bad.
        struct Spell {
            std::uint32_t count = 0;   ///< in its second
            std::uint32_t seconds = 0; ///< how long it has lasted
            double share = 0;          ///< of a hundred frames
            std::uint64_t group = 0;   ///< the destination of the majority
            bool isOneStream = false;
            Frames frames; ///< its first ones
        };
        // The running second
        double second = -1;
        std::uint32_t count = 0;
        std::uint64_t group = 0;
        std::uint32_t majority = 0;
        bool isOneStream = false;
        Frames frames;
        std::uint64_t framesBefore = 0; ///< frames of all kinds up to its start
        // Seconds in a row in which they were a large share
        std::uint32_t inARow = 0;
        Frames rowFrames;
        Spell worst, longest;
    };
    struct Tree {
        std::int64_t interface = 0;
        std::uint64_t root = 0, rootBefore = 0;
        double changed = -1e300; ///< when the root did
    };
    /// What a neighbour announces of its end of the link.
    struct Neighbour {
        std::int64_t interface = 0;
        std::uint64_t mac = 0;
        bool isCdp = false;
        std::optional<std::uint16_t> nativeVlan;
        std::optional<std::uint32_t> mtu;
        std::optional<bool> fullDuplex;
        Sighting first;
    };

    Rare& rare(Station& station);
    void scanStations(const FrameSight& sight, FindingLog& log);
    void receive(const FrameSight& sight);
    void scanSource(const FrameSight& sight, FindingLog& log);
    void scanSizes(const FrameSight& sight, Station& source, FindingLog& log);
    void scanVlan(const FrameSight& sight, Station& source, FindingLog& log);
    void countGroup(Storm& storm, const FrameSight& sight);
    void endSecond(Storm& storm, double next) const;
    void scanCheckSequence(const FrameSight& sight, FindingLog& log);
    void scanPause(const FrameSight& sight, Station& source, FindingLog& log);
    void scanBridge(Bytes bpdu, const FrameSight& sight, FindingLog& log);
    void scanRoot(std::uint64_t root, std::uint16_t maxAge, const FrameSight& sight, FindingLog& log);
    void scanDot1x(Bytes packet, const FrameSight& sight, FindingLog& log);
    void scanLldp(Bytes packet, const FrameSight& sight);
    void scanCdp(Bytes packet, const FrameSight& sight);
    Neighbour* neighbour(const FrameSight& sight, bool isCdp);
    void finishStorm(Storm storm, const char* what, FindingLog& log) const;
    void finishFlood(FindingLog& log) const;
    void finishNeighbours(FindingLog& log) const;

    const ExpertPreferences& preferences_;
    BoundedTable<Mac, Station> stations_{65'536};
    SeenMacs senders_;       ///< the stations that have sent
    std::vector<Rare> rare_; ///< number 0 is not used
    Storm broadcasts_, multicasts_;
    std::uint64_t frames_ = 0, unicasts_ = 0;
    std::uint64_t small_ = 0, padded_ = 0;
    std::uint32_t trailers_ = 0, rightTrailers_ = 0;
    double treeChanged_ = -1e300; ///< last BPDU that said so
    BurstCount treeChanges_;
    std::vector<Tree> trees_;
    std::vector<Neighbour> neighbours_;
};

} // namespace netrondo
