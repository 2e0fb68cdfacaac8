// Looks at every frame of a capture for what is wrong, and says at the end what it adds up to.
#pragma once

#include "Analysis/Expert/ApplicationScan.h"
#include "Analysis/Expert/ArpScan.h"
#include "Analysis/Expert/CaptureExpertSummary.h"
#include "Analysis/Expert/CopyScan.h"
#include "Analysis/Expert/ExpertPreferences.h"
#include "Analysis/Expert/IpScan.h"
#include "Analysis/Expert/LinkScan.h"
#include "Analysis/Expert/TcpScan.h"
#include "Capture/CaptureFrame.h"

#include <array>
#include <cstdint>
#include <memory>

namespace netrondo {

class ConversationTable;

/// Why the analysis leaves a frame out.
enum class FrameSkip : std::uint8_t {
    unclassified, ///< no addresses that this mode counts
    notIp,        ///< in IP mode
    toItself,     ///< source and destination are the same host
    filtered,     ///< the user’s filter declined it
};

/// One per analysis. Memory is bounded by the numbers of hosts and connections that the scans keep, not by frames; the
/// marks of frames, where they are kept, take 8 bytes a frame that has a finding.
class CaptureExpertScanner {
public:
    CaptureExpertScanner(const ExpertPreferences& preferences, FrameMarks marks);
    CaptureExpertScanner(const CaptureExpertScanner&) = delete;
    CaptureExpertScanner& operator=(const CaptureExpertScanner&) = delete;

    /// Fractions of timestamps are nanoseconds; to be said before the first frame.
    void setNanosecond() { isNanosecond_ = true; }
    /// The file goes on behind the compressed part that was read.
    void setSecondMember() { hasSecondMember_ = true; }
    /// Frames that whoever captured has dropped.
    void setDropped(std::uint64_t frames) { dropped_ = frames; }

    /// The next frame, which is then scanned or left out. Its bytes and its outline are the caller's.
    FrameSight arrive(const CaptureFrame& frame, const FrameOutline& outline);
    /// Link layer, ARP, network layer and above; also of frames that the analysis then leaves out.
    CopyScan::Copy scanFrame(const FrameSight& sight);
    /// The frame does not count, for this reason.
    void skip(const FrameSight& sight, FrameSkip why);
    /// A TCP segment that the tracker has just counted.
    void scanSegment(const FrameSight& sight, CopyScan::Copy copy, const FrameFacts& facts, std::uint32_t number,
                     Session& session, int sender, TcpEvents events);
    /// A frame that scans and analysis leave out.
    void leaveOut(const CaptureFrame& frame);
    /// For callers that scan many frames: bring closer what the scan of a frame looks up.
    void prefetchStations(const FrameFacts& facts) const
    {
        link_->prefetch(facts.sourceMac.low, facts.destinationMac.low);
    }
    void prefetchConnection(const Session& session) const
    {
        if (session.watched)
            tcp_->prefetchConnection(session.watched);
    }
    /// The same for the few frames that ask for much: those of ARP, and those with tags. Called for step 0, and for
    /// step 1 some frames later.
    void prefetchRare(const FrameFacts& facts, const FrameOutline& outline, int step) const;

    // The end, for as many frames as came so far: called on the findings that `begin` gives, in this order.
    FindingLog begin() const { return log_; }
    /// What only whole conversations show.
    void scanTransport(const ConversationTable& table, FindingLog& findings) const;
    void emitArpFindings(const ConversationTable& table, FindingLog& findings) const;
    CaptureExpertSummary summary(FindingLog&& findings) const;

    /// The findings of the newest frame so far.
    std::array<Finding, 4> latest() const { return log_.latest(frames_); }

private:
    /// Frames skipped for one reason.
    struct Skipped {
        FrameSkip why;
        bool isLinkType; ///< else `number` is an EtherType
        std::uint16_t number;
        std::uint64_t frames;
        Sighting first;
    };
    /// How a host’s checksums look.
    struct Sender {
        std::uint32_t checked = 0, wrong = 0;
        Sighting first, last;
    };

    void scanTime(const Sighting& at, double before);
    void scanChecksum(const FrameSight& sight);
    bool isTimeCoarse() const;
    void finishCapture(FindingLog& findings) const;
    void finishAccounting(CaptureExpertSummary& summary) const;
    std::vector<std::string> remarks() const;

    // Large and shared by pointer: the scanner’s owner moves.
    ExpertPreferences preferences_;
    FrameMarks marks_;
    FindingLog log_;
    std::unique_ptr<CopyScan> copies_;
    std::unique_ptr<LinkScan> link_;
    std::unique_ptr<ArpScan> arp_;
    std::unique_ptr<IpScan> ip_;
    std::unique_ptr<TcpScan> tcp_;
    std::unique_ptr<ApplicationScan> application_;
    BoundedTable<Address, Sender> senders_{4096};

    std::uint32_t frames_ = 0;
    std::uint64_t beyond_ = 0; ///< frames whose numbers no longer fit
    std::uint64_t skippedFrames_ = 0;
    std::vector<Skipped> skipped_;
    std::uint64_t truncated_ = 0, checked_ = 0, wrongChecksums_ = 0;
    std::uint64_t startSeconds_ = 0, startFraction_ = 0;
    double last_ = 0;
    std::uint64_t dropped_ = 0;
    bool hasWholeSeconds_ = true; ///< all frames lie whole seconds apart
    bool isNanosecond_ = false;
    bool hasSecondMember_ = false;
    bool isBeyondCalendar_ = false; ///< the reader took nanoseconds for microseconds: no capture begins after 9999
};

} // namespace netrondo
