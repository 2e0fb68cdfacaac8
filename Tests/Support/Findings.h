// A capture made frame by frame, and what the expert findings say of it.
#pragma once

#include "Analysis/PairAggregator.h"
#include "Support/Frames.h"

#include <algorithm>
#include <deque>
#include <string>

namespace netrondo::test {

/// `Trouble().add(frame, 0.0).add(frame, 0.1).found("tcp.rst")`: the finding with that id, or null.
class Trouble {
public:
    explicit Trouble(const ExpertPreferences& preferences = {})
        : aggregator_(AnalysisMode::l3IP, preferences, FrameMarks::kept)
    { }

    Trouble& add(const ByteVector& bytes, double seconds, std::int64_t interface = 0)
    {
        auto frame = frameOf(bytes, LinkType::ethernet, 1'700'000'000 + seconds);
        frame.interfaceID = interface;
        aggregator_.ingest(frame);
        return *this;
    }
    /// The frame was longer on the wire.
    Trouble& addCut(const ByteVector& bytes, double seconds, std::uint32_t length)
    {
        auto frame = frameOf(bytes, LinkType::ethernet, 1'700'000'000 + seconds);
        frame.originalLength = length;
        aggregator_.ingest(frame);
        return *this;
    }

    const CaptureExpertSummary& summary()
    {
        summary_ = aggregator_.result().expertSummary;
        return summary_;
    }
    const ExpertFinding* found(std::string_view id)
    {
        const auto& findings = summary().findings;
        const auto place = std::find_if(findings.begin(), findings.end(),
                                        [&](const ExpertFinding& finding) { return finding.kind().id == id; });
        return place == findings.end() ? nullptr : &*place;
    }
    /// The ids of all findings with their severity, sorted: "tcp.rst note".
    std::vector<std::string> all()
    {
        std::vector<std::string> ids;
        for (const auto& finding : summary().findings)
            ids.push_back(std::string(finding.kind().id) + " " + std::string(rawValue(finding.severity)));
        std::sort(ids.begin(), ids.end());
        return ids;
    }
    PairAggregator& aggregator() { return aggregator_; }

private:
    PairAggregator aggregator_;
    CaptureExpertSummary summary_;
};

/// One TCP conversation, segment by segment: 10.0.0.1:51000 asks, 10.0.0.2:80 answers. Identifications count up.
class TcpTalk {
public:
    explicit TcpTalk(Trouble& capture) : capture_(capture) { }

    struct Segment {
        std::uint32_t seq = 0, ack = 0;
        std::uint8_t flags = tcpFlag::ack;
        std::uint16_t window = 1000;
        std::string_view payload = {};
        std::uint8_t ttl = 64;
        std::optional<std::uint16_t> identification = std::nullopt;
        std::string_view options = {};
    };
    TcpTalk& client(double seconds, const Segment& segment) { return send(seconds, segment, false); }
    TcpTalk& server(double seconds, const Segment& segment) { return send(seconds, segment, true); }
    /// The handshake, the server's answer after `roundTrip`; both begin with the sequence number 100.
    TcpTalk& open(double seconds = 0, double roundTrip = 0.01)
    {
        client(seconds, {.seq = 99, .flags = tcpFlag::syn, .options = "02 04 05b4"});
        server(seconds + roundTrip,
               {.seq = 99, .ack = 100, .flags = tcpFlag::syn | tcpFlag::ack, .options = "02 04 05b4"});
        return client(seconds + roundTrip * 1.1, {.seq = 100, .ack = 100});
    }

private:
    TcpTalk& send(double seconds, const Segment& segment, bool isServer)
    {
        const std::uint16_t client = 51000, server = 80;
        const TcpFields fields{.sourcePort = isServer ? server : client,
                               .destinationPort = isServer ? client : server,
                               .seq = segment.seq,
                               .ack = segment.ack,
                               .flags = segment.flags,
                               .window = segment.window,
                               .options = segment.options};
        const Ipv4Fields ip{.source = isServer ? "10.0.0.2" : "10.0.0.1",
                            .destination = isServer ? "10.0.0.1" : "10.0.0.2",
                            .identification = segment.identification.value_or(++identification_[isServer]),
                            .fragment = 0x4000, // as TCP does: it may not be fragmented
                            .ttl = segment.ttl};
        const EthernetFields link{.source = isServer ? "02:00:00:00:00:02" : "02:00:00:00:00:01",
                                  .destination = isServer ? "02:00:00:00:00:01" : "02:00:00:00:00:02"};
        capture_.add(ethernet(ipv4(ip, tcp(fields, segment.payload)), link), seconds);
        return *this;
    }

    Trouble& capture_;
    std::uint16_t identification_[2] = {0, 0};
};

} // namespace netrondo::test
