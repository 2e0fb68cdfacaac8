// Real frames of every protocol: their trees, and what becomes of them when they are cut or damaged.
#include "Support/Allocations.h"
#include "Support/Dissect.h"
#include "Support/Golden.h"
#include "Support/Hex.h"
#include "Support/ProtocolFrames.h"
#include "Support/SampleFrames.h"
#include "Targets/Decode.h"

#include "Analysis/Expert/TcpHistory.h"
#include "Dissection/Decode/Dissector.h"
#include "Dissection/Filter/DisplayFilterCatalog.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <set>

#include "Capture/CaptureFile.h"

namespace netrondo::test {
namespace {

TEST(ProtocolFrames, DecodeToTheTreesInTheGoldenFiles)
{
    std::map<std::string, std::string> texts;
    for (const auto& sample : protocolFrames()) {
        const auto frame = decoded(sample.bytes, sample.link);
        texts[sample.file] += "== line " + std::to_string(sample.line) + "  " + protocolColumn(frame) + "  "
            + info(frame) + "\n" + dump(frame, true);
    }
    ASSERT_FALSE(texts.empty());
    for (const auto& [file, text] : texts)
        expectGolden("Dissection/" + file + ".expected", text);
}

TEST(ProtocolFrames, MeetEveryProtocol)
{
    std::set<std::string_view> met;
    for (const auto& sample : protocolFrames()) {
        const auto frame = decoded(sample.bytes, sample.link);
        for (const auto& layer : frame.frame.tree.layers())
            met.insert(layer.protocol->field.id);
    }
    for (const auto* protocol : Dissector::protocols())
        EXPECT_TRUE(met.contains(protocol->field.id)) << protocol->field.id;
}

TEST(ProtocolFrames, MeetEveryProtocolFromBothEnds)
{
    // An end is an address with its port; where addresses are of no network, it is the station's. Where there is none,
    // the cooked header tells the ends apart.
    std::map<std::string_view, std::set<std::string>> senders;
    for (const auto& sample : protocolFrames()) {
        const auto frame = decoded(sample.bytes, sample.link);
        const auto& summary = frame.frame.summary;
        const auto end = summary.source ? summary.source.text() : values(frame, "sll.type");
        const auto sender = end + " port " + std::to_string(summary.sourcePort);
        for (const auto& layer : frame.frame.tree.layers())
            senders[layer.protocol->field.id].insert(sender);
    }
    for (const auto& [protocol, ends] : senders)
        EXPECT_GE(ends.size(), 2u) << protocol << ": only " << *ends.begin();
}

TEST(ProtocolFrames, ProduceEveryFieldOfTheFilterCatalogue)
{
    std::set<std::string, std::less<>> met;
    for (const auto& sample : protocolFrames()) {
        const auto frame = decoded(sample.bytes, sample.link);
        for (const auto& node : frame.frame.tree.nodes())
            met.emplace(node.field->id);
    }
    for (const auto& field : DisplayFilterCatalog::fields()) {
        const bool isTree = field.extractor.kind == DisplayFilterExtractor::Kind::tree
            || field.extractor.kind == DisplayFilterExtractor::Kind::trees;
        for (const auto id : isTree ? field.extractor.payload : std::vector<std::string_view>())
            EXPECT_TRUE(met.contains(id)) << id << " of " << field.name;
    }
}

TEST(Protocols, CallTheirCatalogueFieldsAsTheFilterDoes)
{
    for (const auto* protocol : Dissector::filterProtocols()) {
        const auto* entry = DisplayFilterCatalog::field(protocol->field.id);
        ASSERT_TRUE(entry) << protocol->field.id;
        EXPECT_EQ(entry->summary, protocol->field.summary);
        for (const auto* field : protocol->catalogue) {
            const auto* known = DisplayFilterCatalog::field(field->id);
            ASSERT_TRUE(known) << field->id;
            EXPECT_EQ(known->name, field->id);
            EXPECT_EQ(known->summary, field->summary) << field->id;
        }
    }
}

TEST(ProtocolFrames, EveryPrefixDecodesWithinItsBytes)
{
    for (const auto& sample : protocolFrames()) {
        SCOPED_TRACE(sample.file + " line " + std::to_string(sample.line));
        for (std::size_t length = 0; length < sample.bytes.size(); ++length) {
            const auto cut = decodedCut(Bytes(sample.bytes).first(length),
                                        static_cast<std::uint32_t>(sample.bytes.size()), sample.link);
            fuzz::checkDecoded(cut.frame);
            const auto shorter = decoded(Bytes(sample.bytes).first(length), sample.link);
            fuzz::checkDecoded(shorter.frame);
        }
    }
}

TEST(ProtocolFrames, ACutFrameSaysOnceWhereItIsCutAndBlamesNobody)
{
    for (const auto& sample : protocolFrames()) {
        const auto whole = decoded(sample.bytes, sample.link);
        const auto size = static_cast<std::uint32_t>(sample.bytes.size());
        const auto isSound = experts(whole).find("decode.") == std::string::npos;
        for (std::uint32_t length = 0; length < size; ++length) {
            const auto cut = decodedCut(Bytes(sample.bytes).first(length), size, sample.link);
            const auto where = sample.file + " line " + std::to_string(sample.line) + ", " + std::to_string(length)
                + " of " + std::to_string(size) + " bytes:\n";
            const auto marked = [&](Expert expert) {
                return std::ranges::count(cut.frame.tree.nodes(), expert, &Node::expert);
            };
            // One that is not sound may contradict itself before the cut.
            const auto blamed = marked(Expert::malformed);
            const bool isTold = marked(Expert::cut) + blamed == 1 && (!isSound || !blamed);
            EXPECT_EQ(cut.frame.summary.length, size);
            EXPECT_LE(cut.frame.tree.size(), whole.frame.tree.size() + 8) << where;
            EXPECT_TRUE(isTold) << where << dump(cut, true);
            if (!isTold)
                break; // the longer ones mostly show the same
        }
    }
}

/// How many damaged frames of each protocol: a few in everyday runs, as many as NETRONDO_MUTATIONS says in long ones.
std::size_t mutationsEach()
{
    const char* wanted = std::getenv("NETRONDO_MUTATIONS");
    return wanted ? std::strtoul(wanted, nullptr, 10) : 120;
}

TEST(ProtocolFrames, DamagedBytesDoNoHarm)
{
    std::mt19937 random(20'240'501);
    std::map<std::string, std::vector<ProtocolFrame>> protocols;
    for (const auto& sample : protocolFrames())
        protocols[sample.file].push_back(sample);
    ASSERT_FALSE(protocols.empty());
    for (auto& [file, samples] : protocols) {
        SCOPED_TRACE(file);
        for (std::size_t i = 0; i < mutationsEach(); ++i) {
            auto& sample = samples[i % samples.size()];
            if (sample.bytes.empty())
                continue;
            auto& byte = sample.bytes[random() % sample.bytes.size()];
            const auto before = byte;
            byte = static_cast<std::uint8_t>(random());
            const auto frame = decoded(sample.bytes, sample.link);
            fuzz::checkDecoded(frame.frame);
            byte = before;
        }
    }
}

TEST(PacketDecoder, TakesNoMemoryOnceItIsWarm)
{
    const auto& samples = protocolFrames();
    DecodedFrame frame;
    const PacketDecoder decoder;
    const auto decodeAll = [&] {
        for (const auto& sample : samples) {
            // Certificates, decryption and header tables belong to libraries that keep their own memory.
            if (sample.file == "tls" || sample.file == "quic" || sample.file == "http2" || sample.file == "dtls")
                continue;
            CaptureFrame capture;
            capture.data = sample.bytes;
            capture.linkType = sample.link;
            capture.originalLength = capture.capturedLength = static_cast<std::uint32_t>(sample.bytes.size());
            decoder.decode(capture, 1, frame);
        }
    };
    decodeAll();
    EXPECT_NO_ALLOCATIONS(decodeAll());
}

/// Decodes the frames in their order, and then each by its number alone.
void expectTheSameOutOfTurn(const std::vector<KeptFrame>& frames)
{
    PacketDecoder decoder(false, PacketDecoder::Keep::contexts);
    std::vector<std::string> inOrder;
    DecodedFrame frame;
    for (const auto& kept : frames) {
        decoder.decodeNext(viewOf(kept), frame);
        fuzz::checkDecoded(frame);
        inOrder.push_back(dump(frame, true));
    }
    for (std::size_t i = frames.size(); i-- > 0;) {
        decoder.decode(viewOf(frames[i]), i + 1, frame);
        ASSERT_EQ(dump(frame, true), inOrder[i]) << i + 1;
    }
}

TEST(PacketDecoder, DecodesAnyFrameOfASampleAsItDidInOrder)
{
    for (const auto& capture : sampleCaptures(80)) {
        SCOPED_TRACE(capture.name);
        expectTheSameOutOfTurn(capture.frames);
    }
}

TEST(PacketDecoder, DecodesAnyFrameOfAJumbledSampleAsItDidInItsOrder)
{
    std::mt19937 random(14);
    for (auto& capture : sampleCaptures(80)) {
        SCOPED_TRACE(capture.name);
        auto& frames = capture.frames;
        for (std::size_t i = 0; i + 4 < frames.size(); ++i) {
            const auto other = i + random() % 4;
            if (random() % 8 == 0)
                frames[i] = frames[other]; // one is lost, another comes twice
            else
                std::swap(frames[i], frames[other]);
        }
        expectTheSameOutOfTurn(frames);
    }
}

TEST(PacketDecoder, ARowSaysOfAnyFrameWhatItsTreeSays)
{
    std::mt19937 random(11);
    int total = 0;
    for (auto& capture : sampleCaptures(60)) {
        PacketDecoder trees, rows;
        DecodedFrame tree, row;
        for (auto& kept : capture.frames) {
            if (++total % 3 == 0 && !kept.data.empty()) { // an odd one: headers that contradict themselves
                auto& byte = kept.data[random() % std::min<std::size_t>(kept.data.size(), 60)];
                byte = static_cast<std::uint8_t>(byte ^ 1u << random() % 8);
            }
            const auto frame = viewOf(kept);
            trees.decodeNext(frame, tree);
            rows.skip(frame);
            rows.decodeCounted(frame, row, DecodeDepth::row);
            ASSERT_EQ(info(row), info(tree)) << capture.name << " frame " << tree.summary.number;
            ASSERT_EQ(row.summary.protocol, tree.summary.protocol) << capture.name << " frame " << tree.summary.number;
            ASSERT_EQ(row.summary.source, tree.summary.source) << info(tree);
            ASSERT_EQ(row.summary.destination, tree.summary.destination) << info(tree);
            ASSERT_EQ(row.summary.transport, tree.summary.transport) << info(tree);
            ASSERT_EQ(row.summary.sourcePort, tree.summary.sourcePort) << info(tree);
            ASSERT_EQ(row.summary.destinationPort, tree.summary.destinationPort) << info(tree);
            ASSERT_EQ(row.summary.length, tree.summary.length) << info(tree);
        }
    }
    EXPECT_GT(total, 300);
}

TEST(PacketDecoder, ARowOfAnOrdinaryFrameTakesFewNodes)
{
    const auto bytes = hex("020000000002 020000000001 0800 45000028 00010000 4006 0000 0a000001 0a000002",
                           "c738 01bb 00000001 00000001 5010 03e8 0000 0000");
    CaptureFrame frame;
    frame.linkType = LinkType::ethernet;
    frame.data = bytes;
    frame.capturedLength = frame.originalLength = static_cast<std::uint32_t>(bytes.size());
    PacketDecoder decoder;
    DecodedFrame decoded;
    decoder.skip(frame);
    decoder.decodeCounted(frame, decoded, DecodeDepth::row);
    EXPECT_EQ(layers(decoded), "tcp");
    decoder.decodeCounted(frame, decoded);
    EXPECT_EQ(layers(decoded), "frame:eth:ip:tcp");
}

TEST(Protocols, GuessNothingOutsideTheirOpening)
{
    std::mt19937 random(12);
    int guessed = 0;
    for (const auto& capture : sampleCaptures(40)) {
        for (const auto& frame : capture.frames) {
            // Where payloads begin, and where none does.
            for (const std::size_t at : {14u, 28u, 34u, 42u, 54u, 62u, 66u}) {
                auto payload = frame.data;
                payload.erase(payload.begin(),
                              payload.begin() + static_cast<std::ptrdiff_t>(std::min(at, payload.size())));
                if (!payload.empty() && random() % 4 == 0)
                    payload[0] = static_cast<std::uint8_t>(random());
                for (const auto* protocol : Dissector::protocols()) {
                    for (const auto transport : {Transport::none, Transport::tcp, Transport::udp, Transport::sctp,
                                                 Transport::dccp, Transport::udpLite}) {
                        if (!protocol->guess || protocol->guess(payload, transport) == Likeness::none)
                            continue;
                        ++guessed;
                        ASSERT_TRUE(!payload.empty() && protocol->opening.allows(transport, payload[0]))
                            << protocol->field.id << " in " << capture.name;
                    }
                }
            }
        }
    }
    EXPECT_GT(guessed, 500);
}

TEST(PacketDecoder, KeepsTheMarksOfTheStreamsHistoryForFramesOutOfTurn)
{
    for (const auto& capture : sampleCaptures(200)) {
        PacketDecoder ordered(false, PacketDecoder::Keep::contexts);
        const auto history = followHistory();
        std::vector<std::string> marks;
        DecodedFrame decoded;
        for (const auto& frame : capture.frames) {
            ordered.decodeNext(viewOf(frame), decoded);
            ordered.mark(decoded, history(viewOf(frame)));
            marks.push_back(experts(decoded));
        }
        for (std::size_t i = capture.frames.size(); i-- > 0;) {
            ordered.decode(viewOf(capture.frames[i]), i + 1, decoded);
            ASSERT_EQ(experts(decoded), marks[i]) << capture.name << " frame " << i + 1;
        }
    }
}

TEST(PacketDecoder, SaysOfACertificateThatItHadExpiredAndThatItIsSelfSigned)
{
    // A day's capture with a server of each kind.
    const auto reader = CaptureFile::open(NETRONDO_SOURCE_DIR "/Samples/trouble.pcapng").value();
    PacketDecoder decoder(reader->isNanosecond());
    DecodedFrame decoded;
    std::map<std::string_view, std::string> told;
    while (const auto frame = reader->nextFrame().value()) {
        decoder.decodeNext(*frame, decoded);
        for (const auto* name : {"tls.cert.expired", "tls.cert.selfsigned"})
            if (experts(decoded).find(name) != std::string::npos)
                told[name] += std::to_string(decoded.summary.number) + " ";
    }
    EXPECT_EQ(told["tls.cert.expired"], "2435 ");
    EXPECT_EQ(told["tls.cert.selfsigned"], "2452 ");
}

TEST(Corpus, EveryFrameOfTheCollectionDecodesWithinItsBytes)
{
    const auto folder = collection();
    if (!folder)
        GTEST_SKIP() << noCollection;
    std::size_t frames = 0;
    DecodedFrame decodedFrame;
    for (const auto& file : filesBelow(*folder)) {
        const auto reader = CaptureFile::open(file);
        if (!reader)
            continue;
        SCOPED_TRACE(file);
        PacketDecoder decoder((*reader)->isNanosecond());
        while (true) {
            const auto frame = (*reader)->nextFrame();
            if (!frame || !*frame)
                break;
            decoder.decodeNext(**frame, decodedFrame);
            fuzz::checkDecoded(decodedFrame);
            ++frames;
        }
    }
    RecordProperty("frames", static_cast<int>(frames));
    EXPECT_GT(frames, 0u);
}

} // namespace
} // namespace netrondo::test
