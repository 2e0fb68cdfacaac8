// The counters of a TCP conversation read as an engineer would read them aloud.
#include "Analysis/Tcp/Complaints.h"

#include "Base/Units.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace netrondo {

using namespace units;

namespace {

void addCosts(std::vector<Complaint>& found, const TCPSessionQuality& quality)
{
    const auto off = quality.deductions();
    if (off.reset > 0) {
        const auto resets = counted(quality.rstCount, "reset", "resets");
        // Hardly a stack sends data without PSH: where none was seen, the reset was the answer to the attempt.
        found.push_back({off.reset, resets,
                         resets
                             + (quality.pshCount == 0 ? " before any data: the connection was refused"
                                                      : ": a side broke the connection off")});
    }
    if (off.retransmission > 0) {
        const auto share = percent(quality.retransmitGuess, static_cast<double>(quality.tcpPackets));
        found.push_back({off.retransmission, share + " sent again",
                         fmt::format("{} of {} segments sent again ({}): lost on the way, or acknowledged too late",
                                     grouped(quality.retransmitGuess), grouped(quality.tcpPackets), share)});
    }
    if (off.zeroWindow > 0) {
        const auto windows = counted(quality.zeroWindowCount, "zero window", "zero windows");
        found.push_back({off.zeroWindow, windows, windows + ": a receiver had no room left and stopped the sender"});
    }
    if (off.handshake > 0) {
        const auto time = timeSpan(*quality.rttMsEstimate / 1000);
        found.push_back({off.handshake, "handshake " + time, fmt::format("the quickest handshake took {}", time)});
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const Complaint& a, const Complaint& b) { return a.points > b.points; });
}

bool wasNeverAnswered(const TCPSessionQuality& quality)
{
    return quality.synCount > 0 && quality.synCount == quality.tcpPackets;
}

/// Says `detail` about a counter that is not zero.
void addFact(std::vector<Complaint>& found, std::uint32_t count, const char* one, const char* many, const char* detail)
{
    if (count > 0)
        found.push_back({0, counted(count, one, many), counted(count, one, many) + detail});
}

} // namespace

bool hasComplaints(const TCPSessionQuality& quality)
{
    const auto off = quality.deductions();
    return off.reset > 0 || off.retransmission > 0 || off.zeroWindow > 0 || off.handshake > 0
        || wasNeverAnswered(quality) || quality.retransmitInfrastructure > 0 || quality.spuriousRetransmitCount > 0
        || quality.ackedUnseenCount > 0 || quality.sackInvalidCount > 0;
}

std::vector<Complaint> complaints(const TCPSessionQuality& quality)
{
    std::vector<Complaint> found;
    addCosts(found, quality);
    if (wasNeverAnswered(quality))
        found.push_back({0, "no answer", "no answer to any attempt to connect"});
    addFact(found, quality.retransmitInfrastructure, "packet", "packets",
            " seen twice: duplicated on the way, or captured twice");
    addFact(found, quality.spuriousRetransmitCount, "segment", "segments", " sent again although already acknowledged");
    addFact(found, quality.ackedUnseenCount, "acknowledgement", "acknowledgements",
            " of data that is not in the capture: frames are missing from it");
    addFact(found, quality.sackInvalidCount, "segment", "segments", " with an impossible SACK block");
    return found;
}

std::string pointsOff(double points)
{
    points = std::max(points, 0.1); // the least share of a point still costs one when the score is cut to an integer
    return std::abs(points - std::round(points)) < 0.05 ? fmt::format("−{:.0f}", points)
                                                        : fmt::format("−{:.1f}", points);
}

std::string briefly(const std::vector<Complaint>& complaints)
{
    std::string text;
    for (const auto& complaint : complaints) {
        if (complaint.points <= 0)
            continue;
        if (!text.empty())
            text += ", ";
        text += fmt::format("{} {}", complaint.brief, pointsOff(complaint.points));
    }
    return text;
}

} // namespace netrondo
