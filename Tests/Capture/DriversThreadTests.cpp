// A growing file pulled from several threads at once.
#include "Capture/Drivers/GrowingPcapAnalyzer.h"
#include "Support/Captures.h"
#include "Support/Frames.h"

#include <gtest/gtest.h>
#include <thread>

namespace netrondo::test {

TEST(GrowingPcap, PullsFromSeveralThreadsQueueUp)
{
    const auto segment = ethernet(ipv4({}, tcp({}, "x")));
    PcapBytes capture;
    for (int i = 0; i < 2000; ++i)
        capture.frame(segment);
    const TempFile file(capture);
    GrowingPcapAnalyzer analyzer(AnalysisMode::l3IP, {});
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int pull = 0; pull < 5; ++pull)
                EXPECT_EQ(analyzer.pull(file.path(), AnalysisMode::l3IP, {})->totalPackets, 2000u);
        });
    }
}

TEST(GrowingPcap, PullsFromSeveralThreadsSeeTheFileGrow)
{
    const auto segment = ethernet(ipv4({}, tcp({}, "x")));
    const TempFile file(PcapBytes().frame(segment));
    const PcapBytes more = PcapBytes().frame(segment).frame(segment);
    GrowingPcapAnalyzer analyzer(AnalysisMode::l3IP, {});
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 3; ++i) {
            threads.emplace_back([&] {
                std::uint64_t seen = 0;
                for (int pull = 0; pull < 50; ++pull) {
                    const auto now = analyzer.pull(file.path(), AnalysisMode::l3IP, {})->totalPackets;
                    EXPECT_GE(now, seen) << "no frame is forgotten";
                    seen = now;
                }
            });
        }
        for (int i = 0; i < 20; ++i)
            append(file.path(), Bytes(more).subspan(24));
    }
    EXPECT_EQ(analyzer.pull(file.path(), AnalysisMode::l3IP, {})->totalPackets, 41u) << "none is counted twice";
}

TEST(AnalysisResult, IsReadByManyThreadsAtOnce)
{
    PcapBytes capture;
    for (const auto* host : {"10.0.0.2", "10.0.0.3", "10.0.0.4"})
        capture.frame(ethernet(ipv4({.destination = host}, tcp({}, "x"))));
    const TempFile file(capture);
    GrowingPcapAnalyzer analyzer(AnalysisMode::l3IP, {});
    const auto result = analyzer.pull(file.path(), AnalysisMode::l3IP, {}).value();
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                EXPECT_EQ(result.pairs[2].dstAddr, "10.0.0.4");
                EXPECT_EQ(result.pairs.tcpQuality(1)->tcpPackets, 1u);
            }
        });
    }
}

} // namespace netrondo::test
