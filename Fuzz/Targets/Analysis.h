// Arbitrary frames through the classifier, and arbitrary captures through the whole analysis.
#pragma once

#include "Analysis/PairAggregator.h"
#include "Base/Json.h"
#include "Capture/Drivers/AnalyzeFile.h"
#include "Capture/PcapReader.h"
#include "Dissection/Classify/ClassifiedEndpoint.h"
#include "Dissection/Classify/FrameClassifier.h"
#include "Targets/Input.h"

#include <string>

namespace netrondo::fuzz {

inline bool liesWithin(Bytes part, Bytes whole)
{
    return part.empty() || (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

/// The first byte chooses the link, the rest is the frame.
inline void classify(Bytes input)
{
    if (input.empty())
        return;
    constexpr LinkType links[] = {LinkType::ethernet, LinkType::raw, LinkType::linuxSLL, LinkType::linuxSLL2,
                                  LinkType::null};
    CaptureFrame frame;
    frame.linkType = links[input[0] % std::size(links)];
    frame.data = input.subspan(1);
    frame.capturedLength = frame.originalLength = static_cast<std::uint32_t>(frame.data.size());
    for (const auto mode : {AnalysisMode::l3IP, AnalysisMode::l2MAC}) {
        FrameFacts facts;
        if (!netrondo::classify(frame, mode, facts))
            continue;
        NR_ASSERT(facts.source && facts.destination);
        NR_ASSERT(liesWithin(facts.payload, frame.data) && liesWithin(facts.tcpOptions, frame.data));
        NR_ASSERT(!(facts.isTcp && facts.isUdp));
        std::string text;
        TextOutput out(text);
        JsonWriter json(out);
        write(json, ClassifiedEndpoint(facts));
    }
}

inline std::string analysis(PcapReader& reader, AnalysisMode mode)
{
    const auto result = CaptureFile::analyze(reader, mode, {});
    if (!result)
        return result.error().errorDescription();
    std::uint64_t packets = 0, bytes = 0, frames = 0;
    for (std::size_t i = 0; i < result->pairs.size(); ++i) {
        const auto pair = result->pairs.summary(i);
        packets += pair.packetCount;
        bytes += pair.byteCount;
    }
    for (const auto& protocol : result->protocols)
        frames += protocol.count;
    NR_ASSERT(packets == result->totalPackets && frames == result->totalPackets && bytes == result->totalBytes);
    std::string text;
    TextOutput out(text);
    JsonWriter json(out);
    write(json, *result);
    out.flush();
    return text;
}

/// A pcap file without its header: the totals add up, and frame by frame gives what batches give.
inline void aggregate(Bytes input)
{
    for (const auto link : {LinkType::ethernet, LinkType::raw}) {
        for (const auto mode : {AnalysisMode::l3IP, AnalysisMode::l2MAC}) {
            const PcapHeader header{false, false, 65'535, link};
            PcapReader batches(asFile(input), header), frames(asFile(input), header);
            const auto whole = analysis(batches, mode);
            PairAggregator aggregator(mode, {});
            while (true) {
                const auto frame = frames.nextFrame();
                if (!frame || !*frame)
                    break;
                aggregator.ingest(**frame);
            }
            if (!whole.starts_with('{'))
                continue;
            std::string text;
            {
                TextOutput out(text);
                JsonWriter json(out);
                write(json, aggregator.result());
            }
            NR_ASSERT(text == whole);
        }
    }
}

} // namespace netrondo::fuzz
