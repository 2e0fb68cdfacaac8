// Plants, meters and measurements: what answers mean by their requests, and checksums between blocks.
#include "Support/Dissect.h"
#include "Support/Hex.h"
#include "Support/Segments.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

TEST(Modbus, AnAnswerIsNumberedByItsQuery)
{
    Capture capture;
    capture.tcp(502, 40000, 1, hex("0007 0000 0006 01 03 006b 0003"));
    const auto answer = capture.tcp(40000, 502, 1, hex("0007 0000 0009 01 03 06 022b 0000 0064"));
    EXPECT_EQ(capture.values(answer, "modbus.register_at"), "107; 108; 109");
    EXPECT_EQ(capture.info(answer),
              "Read Holding Registers, reference 107, count 3, 3 registers = 555, 0, 100, unit 1, transaction 7");
    EXPECT_EQ(capture.dumpOutOfTurn(answer), capture.dump(answer));
}

TEST(Modbus, AnAnswerToAnotherQueryIsNotNumbered)
{
    Capture capture;
    capture.tcp(502, 40000, 1, hex("0007 0000 0006 01 03 006b 0003"));
    const auto answer = capture.tcp(40000, 502, 1, hex("0008 0000 0009 01 03 06 022b 0000 0064"));
    EXPECT_EQ(capture.values(answer, "modbus.register_at"), "");
    EXPECT_EQ(capture.values(answer, "modbus.register"), "555; 0; 100");
}

TEST(Modbus, CoilsAreAsManyAsWereAskedFor)
{
    Capture capture;
    capture.tcp(502, 40000, 1, hex("0001 0000 0006 01 01 0013 000a"));
    const auto answer = capture.tcp(40000, 502, 1, hex("0001 0000 0005 01 01 02 cd01"));
    EXPECT_EQ(capture.values(answer, "modbus.states"), "1011001110");
}

TEST(Cip, AReplyIsNamedByTheClassOfItsRequest)
{
    Capture capture;
    const auto message = [](std::string_view cip) {
        const auto content = hex(cip);
        const auto low = static_cast<std::uint8_t>(content.size());
        auto bytes =
            hex("6f00 0000 44332211 00000000 0000000000000000 00000000 00000000 0000 0200 0000 0000 b200 0000");
        bytes[2] = static_cast<std::uint8_t>(16 + low);
        bytes[bytes.size() - 2] = low;
        bytes.insert(bytes.end(), content.begin(), content.end());
        return bytes;
    };
    const auto request = message("4e 02 20 06 24 01 05 9d 0100 0100 78563412 00 00");
    capture.tcp(44818, 40000, 1, request);
    const auto reply = capture.tcp(40000, 44818, 1, message("ce 00 00 00 0100 0100 78563412 00 00"));
    EXPECT_EQ(capture.info(reply), "Forward Close reply: success, Connection Manager");
    EXPECT_EQ(capture.values(reply, "cip.originator_serial"), "0x12345678");
    EXPECT_EQ(capture.dumpOutOfTurn(reply), capture.dump(reply));
    Capture cold;
    EXPECT_EQ(cold.info(cold.tcp(40000, 44818, 1, message("ce 00 00 00"))), "Service 0x4e reply: success");
}

const auto flowHeader = hex("0009 0001 0000ea60 6553f100 00000002 0000002a");
const auto flowTemplate = hex("0000 0014 0100 0003 0008 0004 000c 0004 0007 0002");
const auto flowRecord = hex("0100 0010 c0000201 c6336402 c350 0000");

std::vector<std::uint8_t> joined(Bytes first, Bytes second)
{
    std::vector<std::uint8_t> bytes(first.begin(), first.end());
    bytes.insert(bytes.end(), second.begin(), second.end());
    return bytes;
}

TEST(Netflow, RecordsAreReadByATemplateOfAnEarlierMessage)
{
    Capture capture;
    capture.udp(2055, 40000, joined(flowHeader, flowTemplate));
    const auto records = capture.udp(2055, 40000, joined(flowHeader, flowRecord));
    EXPECT_EQ(capture.values(records, "netflow.src"), "192.0.2.1");
    EXPECT_EQ(capture.values(records, "netflow.source_port"), "50000");
    EXPECT_EQ(capture.info(records), "NetFlow 9, 1 flow, domain 42, 192.0.2.1 → 198.51.100.2");
    EXPECT_EQ(capture.dumpOutOfTurn(records), capture.dump(records));
}

TEST(Netflow, ATemplateHoldsForItsOwnDomain)
{
    Capture capture;
    auto elsewhere = joined(flowHeader, flowRecord);
    elsewhere[19] = 43;
    capture.udp(2055, 40000, joined(flowHeader, flowTemplate));
    const auto records = capture.udp(2055, 40000, elsewhere);
    EXPECT_EQ(capture.values(records, "netflow.src"), "");
    EXPECT_EQ(capture.info(records), "NetFlow 9, 1 set of a template not seen, domain 43");
}

TEST(Netflow, ALaterTemplateReplacesAnEarlierOne)
{
    Capture capture;
    capture.udp(2055, 40000, joined(flowHeader, flowTemplate));
    capture.udp(2055, 40000, joined(flowHeader, hex("0000 000c 0100 0001 000c 0004")));
    const auto records = capture.udp(2055, 40000, joined(flowHeader, hex("0100 000c c6336402 c6336403")));
    EXPECT_EQ(capture.values(records, "netflow.dst"), "198.51.100.2; 198.51.100.3");
}

TEST(Netflow, ATemplateOfNothingMakesNoRecords)
{
    Capture capture;
    capture.udp(2055, 40000, joined(flowHeader, hex("0000 000c 0100 0001 0001 0000")));
    const auto records = capture.udp(2055, 40000, joined(flowHeader, flowRecord));
    EXPECT_EQ(capture.values(records, "netflow.records").size(), 24u);
}

std::uint16_t crcOf(Bytes bytes)
{
    // The same sum as a division in binary, highest bit first: 0x3d65 with its bits the other way round.
    std::uint32_t sum = 0;
    for (const auto byte : bytes) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            const bool carry = (sum >> 15 & 1) != (byte >> bit & 1u);
            sum = (sum << 1 & 0xffff) ^ (carry ? 0x3d65u : 0);
        }
    }
    std::uint16_t turned = 0;
    for (unsigned bit = 0; bit < 16; ++bit)
        turned = static_cast<std::uint16_t>(turned | (~sum >> (15 - bit) & 1u) << bit);
    return turned;
}

/// A frame of DNP3's link around user data, each block with its checksum.
std::vector<std::uint8_t> linked(std::uint8_t control, Bytes data)
{
    auto bytes = hex("0564 00 00 0100 0a00");
    bytes[2] = static_cast<std::uint8_t>(5 + data.size());
    bytes[3] = control;
    const auto close = [&](std::size_t from) {
        const auto sum = crcOf(Bytes(bytes).subspan(from));
        bytes.push_back(static_cast<std::uint8_t>(sum));
        bytes.push_back(static_cast<std::uint8_t>(sum >> 8));
    };
    close(0);
    for (std::size_t at = 0; at < data.size(); at += 16) {
        const auto block = slice(data, at, 16);
        const auto from = bytes.size();
        bytes.insert(bytes.end(), block.begin(), block.end());
        close(from);
    }
    return bytes;
}

TEST(Dnp3, ValuesAreReadAcrossTheChecksumsOfBlocks)
{
    Capture capture;
    const auto frame = capture.tcp(
        40000, 20000, 1, linked(0x44, hex("c0 cd 81 0000 1e 02 00 00 04 01 0100 01 0200 01 0300 01 0400 01 feff")));
    EXPECT_EQ(capture.values(frame, "dnp3.value"), "1; 2; 3; 4; -2");
    EXPECT_EQ(capture.values(frame, "dnp3.crc").find("wrong"), std::string::npos);
}

TEST(Dnp3, AWrongChecksumIsSaidOfItsBlockAlone)
{
    Capture capture;
    auto bytes = linked(0x44, hex("c0 cd 81 0000 1e 02 00 00 04 01 0100 01 0200 01 0300 01 0400 01 0500"));
    const auto sent = static_cast<unsigned>(bytes.back());
    bytes.back() = static_cast<std::uint8_t>(sent ^ 1);
    const auto frame = capture.tcp(40000, 20000, 1, bytes);
    const auto sums = capture.values(frame, "dnp3.crc");
    EXPECT_EQ(sums.find("(correct); "), std::string_view("0x0000 ").size()) << sums;
    EXPECT_NE(sums.find("(correct); 0x"), sums.rfind("(correct); 0x")) << "two of the three: " << sums;
    EXPECT_NE(sums.find("(wrong, should be"), std::string::npos) << sums;
    EXPECT_EQ(capture.values(frame, "dnp3.value"), "1; 2; 3; 4; 5");
}

TEST(Dnp3, AMessageInSeveralFramesIsReadWithTheLast)
{
    Capture capture;
    const auto first = linked(0x44, hex("41 cd 81 0000 1e 02 00 00 02 01 0100"));
    capture.tcp(40000, 20000, 1, first);
    const auto last = capture.tcp(40000, 20000, 1 + static_cast<std::uint32_t>(first.size()),
                                  linked(0x44, hex("82 01 0200 01 0300")));
    EXPECT_EQ(capture.values(last, "dnp3.value"), "1; 2; 3");
    EXPECT_EQ(capture.dumpOutOfTurn(last), capture.dump(last));
}

TEST(Dnp3, APieceOutOfItsTurnIsLeftAlone)
{
    Capture capture;
    const auto first = linked(0x44, hex("41 cd 81 0000 1e 02 00 00 02 01 0100"));
    capture.tcp(40000, 20000, 1, first);
    const auto last = capture.tcp(40000, 20000, 1 + static_cast<std::uint32_t>(first.size()),
                                  linked(0x44, hex("83 01 0200 01 0300")));
    EXPECT_EQ(capture.values(last, "dnp3.value"), "");
}

/// A payload on ports of nobody, or of somebody else.
struct OnAnyPort {
    std::string_view name;
    bool isTcp;
    std::uint16_t port;
    std::string_view payload, protocol;
};

class IndustryOnAnyPort : public testing::TestWithParam<OnAnyPort> { };

TEST_P(IndustryOnAnyPort, IsKnownByItsContentAlone)
{
    const auto& row = GetParam();
    Capture capture;
    const auto payload = hex(row.payload);
    const auto frame = row.isTcp ? capture.tcp(row.port, 40000, 1, payload) : capture.udp(row.port, 40000, payload);
    EXPECT_EQ(capture.protocol(frame), row.protocol);
}

INSTANTIATE_TEST_SUITE_P(
    Payloads, IndustryOnAnyPort,
    testing::Values(
        OnAnyPort{"EtherNetIp", true, 12345, "6500 0400 00000000 00000000 0000000000000000 00000000 0100 0000",
                  "EtherNet/IP"},
        OnAnyPort{"ACommandNobodyKnows", true, 12345, "6700 0400 00000000 00000000 0000000000000000 00000000 0100 0000",
                  "TCP"},
        OnAnyPort{"Zeros", true, 12345, "0000000000000000 0000000000000000 0000000000000000 000000000000", "TCP"},
        OnAnyPort{"Ipfix", false, 12345, "000a 0020 6553f100 00000001 00000063 0002 0010 0100 0002 0008 0004 000c 0004",
                  "NetFlow"},
        OnAnyPort{"IpfixWhoseSetsDoNotFillIt", false, 12345,
                  "000a 0020 6553f100 00000001 00000063 0002 000f 0100 0002 0008 0004 000c 0004", "UDP"},
        OnAnyPort{"Sflow", false, 12345, "00000005 00000001 c0000209 00000000 00000001 0000ea60 00000000", "sFlow"},
        OnAnyPort{"SflowWithoutRoomForItsSamples", false, 12345,
                  "00000005 00000001 c0000209 00000000 00000001 0000ea60 00000009", "UDP"},
        OnAnyPort{"BacnetWhoIs", false, 12345, "81 0b 000c 01 20 ffff 00 ff 10 08", "BACnet"},
        OnAnyPort{"BacnetOfAnotherLength", false, 12345, "81 0b 000d 01 20 ffff 00 ff 10 08", "UDP"},
        OnAnyPort{"DiameterWatchdog", true, 12345,
                  "01 000028 80 000118 00000000 00000001 00000002 00000108 40 000012 636c69656e742e61 6263 0000",
                  "Diameter"},
        OnAnyPort{"APeerOnDiametersPort", true, 3868, "fa00b62bfacb12383209d232", "TCP"}),
    [](const auto& row) { return std::string(row.param.name); });

struct ElementCase {
    std::string_view name, unit, id, value;
};

class Iec104Element : public testing::TestWithParam<ElementCase> { };

TEST_P(Iec104Element, IsToldAsItsTypeSays)
{
    auto message = hex("68 00 0000 0000", GetParam().unit);
    message[1] = static_cast<std::uint8_t>(message.size() - 2);
    Capture capture;
    const auto frame = capture.tcp(40000, 2404, 1, message);
    EXPECT_EQ(capture.values(frame, GetParam().id), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Types, Iec104Element,
    testing::Values(ElementCase{"SinglePoint", "01 01 03 00 0100 010000 01", "iec104.state", "1 (on)"},
                    ElementCase{"DoublePoint", "03 01 03 00 0100 010000 03", "iec104.state", "3 (indeterminate)"},
                    ElementCase{"StepBelowZero", "05 01 03 00 0100 010000 7f 00", "iec104.position", "-1"},
                    ElementCase{"Normalized", "09 01 03 00 0100 010000 00c0 00", "iec104.normalized", "-0.5"},
                    ElementCase{"Scaled", "0b 01 03 00 0100 010000 9cff 00", "iec104.scaled", "-100"},
                    ElementCase{"Float", "0d 01 03 00 0100 010000 0000c842 00", "iec104.float", "100"},
                    ElementCase{"Quality", "0d 01 03 00 0100 010000 0000c842 c1", "iec104.quality",
                                "0xc1 (invalid, not topical, overflow)"},
                    ElementCase{"TimeInSummer", "1e 01 03 00 0100 010000 01 a00f 1e 8e 4b 07 18", "iec104.time",
                                "2024-07-11 14:30:04.000, summer time"},
                    ElementCase{"Execute", "2d 01 06 00 0100 010000 01", "iec104.select", "0"},
                    ElementCase{"Select", "2d 01 06 00 0100 010000 81", "iec104.select", "1"},
                    ElementCase{"AddressesOfASequence", "01 83 14 00 0100 640000 01 00 01", "iec104.address",
                                "100; 101; 102"}),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace
} // namespace netrondo::test
