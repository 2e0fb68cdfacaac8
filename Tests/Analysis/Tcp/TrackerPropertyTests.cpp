// The tracker made fast, held against its rules written down plainly: one list of 64 fingerprints per flow, searched
// from end to end.
#include "Analysis/Tcp/TCPQualityTracker.h"
#include "Dissection/Wire/TcpHeader.h"

#include <deque>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <tuple>

namespace netrondo::test {
namespace {

using namespace tcpFlag;

struct PlainFingerprint {
    std::uint32_t seq;
    std::optional<std::uint16_t> ipId;
    std::uint32_t payloadLen;
    std::uint64_t payloadHash;
    std::uint8_t flags;
};

struct PlainFlow {
    std::deque<PlainFingerprint> recent;
    std::optional<double> synTime;
    TCPSessionQuality quality;
    std::optional<std::uint32_t> nextseq, lastack;
};

bool after(std::uint32_t a, std::uint32_t b)
{
    return static_cast<std::int32_t>(a - b) > 0;
}

class PlainTracker {
public:
    using Key = std::tuple<int, std::uint16_t, std::uint16_t>; // sender, source port, destination port
    std::map<Key, PlainFlow> flows;

    void observe(int sender, const TcpSegment& s)
    {
        auto& flow = flows[{sender, s.sourcePort, s.destinationPort}];
        auto& q = flow.quality;
        const std::uint32_t length = s.payloadLength + ((s.flags & syn) != 0) + ((s.flags & fin) != 0);
        const auto end = s.seq + length;
        ++q.tcpPackets;
        Counter32* const counts[] = {&q.finCount, &q.synCount, &q.rstCount, &q.pshCount,
                                     &q.ackCount, &q.urgCount, &q.eceCount, &q.cwrCount};
        for (int bit = 0; bit < 8; ++bit)
            if (s.flags >> bit & 1)
                ++*counts[bit];
        if (!(s.flags & rst)) {
            q.windowMin = q.hasWindowSample ? std::min(q.windowMin, s.window) : s.window;
            q.windowMax = q.hasWindowSample ? std::max(q.windowMax, s.window) : s.window;
            q.windowLast = s.window;
            q.hasWindowSample = true;
            if (s.window == 0 && !(s.flags & fin))
                ++q.zeroWindowCount;
            acknowledge(sender, flow, s);
            check(flow, s, length, end);
        }
        flow.recent.push_back({s.seq, s.ipId, s.payloadLength, s.payloadDigest, s.flags});
        if (flow.recent.size() > 64)
            flow.recent.pop_front();
        if (s.flags & syn)
            shake(sender, flow, s);
    }

private:
    PlainFlow& reverseOf(int sender, const TcpSegment& s)
    {
        return flows[{1 - sender, s.destinationPort, s.sourcePort}];
    }

    void acknowledge(int sender, PlainFlow& flow, const TcpSegment& s)
    {
        if (!(s.flags & ack) || !s.ack)
            return;
        auto& reverse = reverseOf(sender, s);
        if (reverse.nextseq && after(*s.ack, *reverse.nextseq))
            ++flow.quality.ackedUnseenCount;
        if (!reverse.lastack || after(*s.ack, *reverse.lastack))
            reverse.lastack = s.ack;
    }

    void check(PlainFlow& flow, const TcpSegment& s, std::uint32_t length, std::uint32_t end)
    {
        auto& q = flow.quality;
        const bool isSyn = s.flags & syn;
        bool test = isSyn || s.payloadLength > 0;
        if (flow.lastack && !isSyn && s.seq == *flow.lastack - 1 && s.payloadLength <= 1)
            test = false;
        if (test && flow.lastack && length && !after(end, *flow.lastack)) {
            ++q.spuriousRetransmitCount;
            test = false;
        }
        if (test)
            compare(flow, s);
        if (length && (!flow.nextseq || after(end, *flow.nextseq)))
            flow.nextseq = end;
    }

    void compare(PlainFlow& flow, const TcpSegment& s)
    {
        auto& q = flow.quality;
        for (auto f = flow.recent.rbegin(); f != flow.recent.rend(); ++f) {
            if (f->seq != s.seq || (f->payloadLen == 0 && !(f->flags & syn)))
                continue;
            if (s.ipId && f->ipId && *s.ipId == *f->ipId) {
                ++q.retransmitInfrastructure;
            } else {
                ++q.retransmitGuess;
                ++q.retransmitEndpoint;
            }
            return;
        }
        if (s.payloadLength == 0)
            return;
        for (const auto& f : flow.recent) {
            if (f.payloadLen == s.payloadLength && f.payloadHash == s.payloadDigest && f.seq != s.seq) {
                ++q.retransmitApplication;
                return;
            }
        }
    }

    void shake(int sender, PlainFlow& flow, const TcpSegment& s)
    {
        const auto time = static_cast<double>(s.timestampSeconds) + static_cast<double>(s.timestampFraction) / 1e6;
        if (!(s.flags & ack)) {
            flow.synTime = time;
            return;
        }
        const auto reverse = flows.find({1 - sender, s.destinationPort, s.sourcePort});
        if (reverse == flows.end() || !reverse->second.synTime || *reverse->second.synTime > time)
            return;
        const auto sample = (time - *reverse->second.synTime) * 1000;
        if (sample > 0 && sample < 60'000)
            flow.quality.rttMsEstimate = std::min(flow.quality.rttMsEstimate.value_or(sample), sample);
    }
};

/// A segment from a small world, so that repetitions, wraps and acknowledgements meet often.
TcpSegment randomSegment(std::mt19937& random, std::uint64_t time)
{
    const auto below = [&](std::uint32_t n) { return static_cast<std::uint32_t>(random() % n); };
    TcpSegment s;
    s.sourcePort = static_cast<std::uint16_t>(below(2));
    s.destinationPort = static_cast<std::uint16_t>(below(2));
    constexpr std::uint8_t common[] = {ack, ack, ack, ack | psh, syn, syn | ack, ack | fin, rst, rst | ack, psh};
    s.flags = below(20) ? common[below(10)] : static_cast<std::uint8_t>(below(256));
    s.window = static_cast<std::uint16_t>(below(4) * 100);
    const std::uint32_t base = below(2) ? 0xfffffff0u : 0u;
    s.seq = base + below(below(3) ? 40 : 4000);
    s.ack = base + below(60);
    if (below(3))
        s.ipId = static_cast<std::uint16_t>(below(4));
    s.payloadLength = below(3) ? below(4) * 5 : 0;
    // Payloads of different lengths are different payloads.
    s.payloadDigest = s.payloadLength ? below(6) * 64 + s.payloadLength + (below(2) ? 1ull << 39 : 0) : 0;
    s.timestampSeconds = time / 3;
    s.timestampFraction = time % 3 * 300'000;
    return s;
}

/// Mostly orderly: long runs ahead of all that was sent, now and then a repetition, a reset, a bare FIN or a far jump.
class OrderlyFlow {
public:
    explicit OrderlyFlow(unsigned seed) : random_(seed) { }

    TcpSegment next()
    {
        TcpSegment s;
        s.flags = ack | (below(50) == 0 ? fin : 0) | (below(120) == 0 ? rst : 0) | (below(150) == 0 ? syn : 0);
        s.payloadLength = below(6) ? 1 + below(30) : 0;
        s.ack = 0;
        s.seq = seq_;
        switch (below(90)) {
        case 0: s.seq -= below(400); break;
        case 1: seq_ += 1u << 25; break;
        case 2: seq_ += (1u << 24) - below(3); break;
        case 3: seq_ -= below(1000); break;
        default: break;
        }
        s.payloadDigest = s.payloadLength ? s.seq * 64ull + s.payloadLength : 0;
        if (s.seq == seq_)
            seq_ += s.payloadLength + below(2) * below(100);
        return s;
    }

private:
    std::uint32_t below(std::uint32_t n) { return static_cast<std::uint32_t>(random_() % n); }

    std::mt19937 random_;
    std::uint32_t seq_ = 0xffff0000u;
};

/// The tracker with the sessions that its owner keeps for it.
class FastTracker {
public:
    void observe(int sender, const TcpSegment& segment)
    {
        auto& session = sessionOf(sender, segment.sourcePort, segment.destinationPort);
        ++session.row.flows[sender].frames;
        tracker_.observe(session.row, session.details, sender, segment);
    }
    TCPSessionQuality quality(int sender, std::uint16_t sourcePort, std::uint16_t destinationPort)
    {
        const auto& session = sessionOf(sender, sourcePort, destinationPort);
        return tracker_.quality(session.row, session.details, sender);
    }

private:
    struct Kept {
        Session row;
        SessionDetails details;
    };
    Kept& sessionOf(int sender, std::uint16_t source, std::uint16_t destination)
    {
        return sessions_[sender == 0 ? std::pair(source, destination) : std::pair(destination, source)];
    }

    TCPQualityTracker tracker_;
    std::map<std::pair<std::uint16_t, std::uint16_t>, Kept> sessions_;
};

} // namespace

TEST(TcpTrackerProperty, OrderlyFlowsAreCountedTheSameToo)
{
    std::uint32_t repeated = 0;
    for (unsigned seed = 1; seed <= 40; ++seed) {
        OrderlyFlow flow(seed);
        FastTracker fast;
        PlainTracker plain;
        for (int i = 0; i < 3000; ++i) {
            const auto segment = flow.next();
            fast.observe(0, segment);
            plain.observe(0, segment);
            const auto expected = plain.flows.at({0, 0, 0}).quality;
            ASSERT_EQ(fast.quality(0, 0, 0), expected) << "seed " << seed << ", segment " << i;
            repeated = std::max<std::uint32_t>(repeated, expected.retransmitEndpoint);
        }
    }
    EXPECT_GT(repeated, 10u); // the flows do repeat themselves
}

TEST(TcpTrackerProperty, FastAndPlainTrackersCountTheSame)
{
    for (unsigned seed = 1; seed <= 60; ++seed) {
        std::mt19937 random(seed);
        FastTracker fast;
        PlainTracker plain;
        for (std::uint64_t time = 0; time < 1500; ++time) {
            const auto segment = randomSegment(random, time);
            const int sender = static_cast<int>(random() % 2);
            fast.observe(sender, segment);
            plain.observe(sender, segment);
        }
        for (const auto& [key, flow] : plain.flows) {
            const auto [sender, source, destination] = key;
            ASSERT_EQ(fast.quality(sender, source, destination), flow.quality) << "seed " << seed;
        }
    }
}

} // namespace netrondo::test
