// `netrondo convert`: the same frames in another file.
#include "Capture/PcapNgReader.h"
#include "Support/Captures.h"
#include "Support/Command.h"
#include "Support/Frames.h"
#include "Support/Readers.h"

#include <csignal>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

const auto web = ethernet(ipv4({}, tcp({.destinationPort = 80}, "data")));
const auto name = ethernet(ipv4({}, udp({.destinationPort = 53}, "data")));

PcapBytes someFrames()
{
    return PcapBytes().frame(web, {.seconds = 1}).frame(name, {.seconds = 2}).frame(web, {.seconds = 3});
}

std::string refusal(const Ended& run)
{
    EXPECT_EQ(run.output, "");
    return std::to_string(run.status) + " " + run.errors;
}

TEST(ConvertCommand, WritesTheFormatThatTheNameAsksFor)
{
    const TempFile in(someFrames());
    const TempFolder folder;
    for (const auto* out : {"out.pcap", "out.pcapng"}) {
        const auto run = netrondo({"convert", in.path().string(), (folder / out).string()});
        EXPECT_EQ(run.status, 0) << run.errors;
        EXPECT_EQ(run.output + run.errors, "");
        EXPECT_EQ(readFile(folder / out), readFile(in)) << out;
        const auto format = CaptureFile::open(folder / out).value()->format();
        EXPECT_EQ(rawValue(format), std::string_view(out).substr(4));
    }
}

TEST(ConvertCommand, CopiesTheFramesThatAFilterSelects)
{
    const TempFile in(someFrames());
    const TempFolder folder;
    const auto run = netrondo({"convert", in.path().string(), (folder / "out.pcap").string(), "--filter", "tcp"});
    EXPECT_EQ(run.status, 0) << run.errors;
    const auto out = readFile(folder / "out.pcap");
    ASSERT_EQ(out.frames.size(), 2u);
    EXPECT_EQ(out.frames[1].seconds, 3u);
}

TEST(ConvertCommand, ReadsAndWritesPipes)
{
    const auto bytes = someFrames().bytes();
    const auto run = netrondo({"convert", "-", "-"}, {}, bytes);
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.output, asText(bytes));
}

TEST(ConvertCommand, MayWriteOverItsSource)
{
    const TempFile in(someFrames());
    const auto run = netrondo({"convert", in.path().string(), in.path().string(), "--filter", "dns"});
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(readFile(in).frames.size(), 1u);
}

TEST(ConvertCommand, AnEmptyCaptureKeepsItsLinkType)
{
    const TempFile in(PcapBytes({.linkType = 113}));
    const TempFolder folder;
    EXPECT_EQ(netrondo({"convert", in.path().string(), (folder / "out.pcap").string()}).status, 0);
    EXPECT_EQ(CaptureFile::open(folder / "out.pcap").value()->interfaceLinkTypes()[0], LinkType::linuxSLL);
}

TEST(ConvertCommand, ADamagedSourceLeavesNothing)
{
    const TempFile in(someFrames().cut(web.size() + 8));
    const TempFolder folder;
    const auto run = netrondo({"convert", in.path().string(), (folder / "out.pcap").string()});
    EXPECT_EQ(refusal(run), "1 netrondo: " + in.path().string() + ": Truncated frame in capture.\n");
    EXPECT_EQ(folder.count(), 0u);
}

TEST(ConvertCommand, AnInterruptionLeavesNothing)
{
    const TempFolder folder;
    Process process({"convert", "-", (folder / "out.pcap").string()});
    process.write(someFrames());
    while (folder.count() == 0) { } // it has begun to write
    process.signal(SIGINT);
    process.write(someFrames().bytes()); // a wait for input does not end by the first signal
    EXPECT_EQ(process.end().status, -SIGINT);
    EXPECT_EQ(folder.count(), 0u);
}

TEST(ConvertCommand, AFullDiskIsToldAndKeepsTheSource)
{
    PcapBytes many;
    for (int i = 0; i < 1000; ++i)
        many.frame(pattern(1000));
    const TempFile in(many);
    const TempFolder folder;
    const auto out = (folder / "out.pcap").string();
    const auto run = netrondo({"convert", in.path().string(), out}, {.fileSizeLimit = 300'000});
    EXPECT_EQ(refusal(run), "1 netrondo: " + out + ": File too large\n");
    EXPECT_EQ(folder.count(), 0u);
    EXPECT_EQ(readFile(in).frames.size(), 1000u);
    EXPECT_EQ(refusal(netrondo({"convert", in.path().string(), "/dev/full"})),
              "1 netrondo: /dev/full: No space left on device\n");
}

TEST(ConvertCommand, AReaderThatGoesAwayEndsItQuietly)
{
    PcapBytes many;
    for (int i = 0; i < 3000; ++i)
        many.frame(pattern(1000));
    Process process({"convert", "-", "-"});
    process.closeOutput();
    process.write(many);
    const auto run = process.end();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.errors, "");
}

TEST(ConvertCommand, RefusesWhatItCannotWriteBeforeItReads)
{
    EXPECT_THAT(refusal(netrondo({"convert", "missing", "out.pcap.gz"})),
                testing::HasSubstr("compressed captures are not written"));
    EXPECT_EQ(netrondo({"convert", "missing"}).status, 2);
    EXPECT_EQ(netrondo({"convert", "missing", "out.pcap", "--filter", "nonsense =="}).status, 2);
    EXPECT_EQ(refusal(netrondo({"convert", "missing", "out.pcap"})),
              "1 netrondo: missing: No such file or directory\n");
}

/// An option of a pcapng block.
std::vector<std::uint8_t> option(ByteOrder order, std::uint16_t code, Bytes value)
{
    OrderedBytes out(order);
    out.u16(code);
    out.u16(static_cast<std::uint16_t>(value.size()));
    out.bytes(value);
    out.padTo4();
    return out.all();
}

std::vector<std::uint8_t> number(ByteOrder order, std::uint64_t value)
{
    OrderedBytes out(order);
    out.u32(order == ByteOrder::big ? value >> 32 : value & 0xffffffff);
    out.u32(order == ByteOrder::big ? value & 0xffffffff : value >> 32);
    return out.all();
}

/// Comments on everything, three interfaces of which the second gave no frame and the third counts in its own way, and
/// what they counted.
PcapNgBytes annotated(ByteOrder order)
{
    const auto words = [&](std::initializer_list<std::uint32_t> values) {
        OrderedBytes out(order);
        for (const auto value : values)
            out.u32(value);
        return out.all();
    };
    const auto text = [&](std::uint16_t code, std::string_view value) { return option(order, code, asBytes(value)); };
    const auto block = [](std::vector<std::uint8_t> body, std::initializer_list<std::vector<std::uint8_t>> options) {
        for (const auto& one : options)
            body.insert(body.end(), one.begin(), one.end());
        body.resize(body.size() + 4); // the end of the options
        return body;
    };
    const auto interface = [&](const char* label, std::uint8_t resolution) {
        OrderedBytes out(order);
        out.u16(1);
        out.u16(0);
        out.u32(96);
        return block(
            out.all(),
            {text(2, label), option(order, 9, {&resolution, 1}), option(order, 8, number(order, 1'000'000'000))});
    };
    OrderedBytes section(order);
    section.u32(0x1a2b3c4d);
    section.u16(1);
    section.u16(0);
    section.u32(0xffffffff);
    section.u32(0xffffffff);
    const auto packet = [&](std::uint32_t on, std::uint32_t time) {
        auto body = words({on, 0, time, 60, 60});
        const auto data = pattern(60);
        body.insert(body.end(), data.begin(), data.end());
        return body;
    };
    constexpr std::uint8_t tenths = 1, binary = 0x80 | 20;
    return PcapNgBytes(order)
        .block(0x0a0d0d0a, block(section.all(), {text(1, "a bad day"), text(2, "a probe")}))
        .block(1, interface("eth0", tenths))
        .block(1, interface("eth1", 6))
        .block(1, interface("eth2", binary))
        .block(6, block(packet(2, 1'234'567), {text(1, "first"), text(1, "and more"), option(order, 2, words({1}))}))
        .block(6, packet(0, 57))
        .block(
            5,
            block(words({1, 0, 7'000'000}), {option(order, 4, number(order, 99)), option(order, 7, number(order, 3))}));
}

TEST(ConvertCommand, KeepsCommentsNamesResolutionsAndStatistics)
{
    const TempFolder folder;
    const auto expected = annotated(ByteOrder::little).bytes();
    for (const auto order : {ByteOrder::little, ByteOrder::big}) {
        const TempFile source(annotated(order), "in.pcapng");
        const auto copy = folder / "out.pcapng";
        const auto run = netrondo({"convert", source.path().string(), copy.string()});
        ASSERT_EQ(run.status, 0) << run.errors;
        const auto notesOf = [](const std::filesystem::path& path) {
            const auto file = CaptureFile::open(path).value();
            auto& reader = dynamic_cast<PcapNgReader&>(*file);
            PcapNgNotes notes;
            std::vector<PcapNgOptions> options;
            std::vector<std::int64_t> times;
            while (const auto frame = reader.nextFrame().value()) {
                options.push_back(reader.optionsOf(*frame));
                times.push_back(reader.nanoseconds(*frame));
            }
            notes = reader.notes();
            notes.section.remove(PcapNgOptions::sectionApplication); // who wrote it
            return std::tuple(notes, options, times);
        };
        const TempFile plain(expected, "plain.pcapng");
        const auto [notes, options, times] = notesOf(copy);
        const auto [wantedNotes, wantedOptions, wantedTimes] = notesOf(plain);
        EXPECT_EQ(notes, wantedNotes);
        EXPECT_EQ(options, wantedOptions);
        EXPECT_EQ(times, wantedTimes);
        ASSERT_EQ(notes.interfaces.size(), 3u);
        EXPECT_EQ(asText(notes.section.find(PcapNgOptions::comment).value()), "a bad day");
        EXPECT_EQ(asText(notes.interfaces[1].options.find(PcapNgOptions::interfaceName).value()), "eth1");
        EXPECT_EQ(notes.interfaces[2].timeResolution, 0x80 | 20);
        EXPECT_EQ(notes.interfaces[1].statistics.value().nanoseconds, 7'000'000'000);
        EXPECT_EQ(load::le64(notes.interfaces[1].statistics->options.find(4)->data()), 99u);
        EXPECT_EQ(asText(options.at(0).find(PcapNgOptions::comment).value()), "first");
        EXPECT_EQ(times, (std::vector<std::int64_t>{1'177'374'839, 5'700'000'000}));
    }
}

} // namespace
} // namespace netrondo::test
