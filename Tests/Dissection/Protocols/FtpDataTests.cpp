// Data connections of FTP: known by what the control connection said of them.
#include "Support/Segments.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

constexpr std::uint8_t syn = 0x02, synAck = 0x12;

struct Announcement {
    std::string_view name;
    std::uint16_t to, from; ///< ports of the line
    std::string_view line;
    std::uint16_t server, client; ///< ports of the connection that follows
    bool isServers;               ///< whether the server opens it
    std::string_view protocol;    ///< of its data
};

class FtpData : public testing::TestWithParam<Announcement> { };

TEST_P(FtpData, GoesWhereItWasAnnounced)
{
    const auto& row = GetParam();
    Capture capture;
    capture.tcp(row.to, row.from, 1, asBytes(row.line));
    const auto first = row.isServers ? std::pair(row.client, row.server) : std::pair(row.server, row.client);
    capture.tcp(first.first, first.second, 100, {}, syn);
    capture.tcp(first.second, first.first, 200, {}, synAck);
    const auto data = capture.tcp(row.client, row.server, row.isServers ? 101 : 201, asBytes("\x01\x02\x03\x04"));
    EXPECT_EQ(capture.protocol(data), row.protocol);
    EXPECT_EQ(capture.dumpOutOfTurn(data), capture.dump(data));
}

INSTANTIATE_TEST_SUITE_P(
    Announcements, FtpData,
    testing::Values(
        Announcement{"Passive", 40000, 21, "227 Entering Passive Mode (10,0,0,2,28,86)\r\n", 7254, 40001, false,
                     "FTP-DATA"},
        Announcement{"PassiveWithoutBrackets", 40000, 21, "227 at 10,0,0,2,28,86\r\n", 7254, 40001, false, "FTP-DATA"},
        Announcement{"ExtendedPassive", 40000, 21, "229 Extended Passive Mode Entered (|||7254|)\r\n", 7254, 40001,
                     false, "FTP-DATA"},
        Announcement{"Active", 21, 40000, "PORT 10,0,0,1,156,65\r\n", 2020, 40001, true, "FTP-DATA"},
        Announcement{"AnotherPort", 40000, 21, "227 Entering Passive Mode (10,0,0,2,28,87)\r\n", 7254, 40001, false,
                     "TCP"},
        Announcement{"AnotherHost", 40000, 21, "227 Entering Passive Mode (10,0,0,3,28,86)\r\n", 7254, 40001, false,
                     "TCP"},
        Announcement{"TooFewNumbers", 40000, 21, "227 Entering Passive Mode (10,0,0,2,28)\r\n", 7254, 40001, false,
                     "TCP"},
        Announcement{"NumbersTooLarge", 40000, 21, "227 Entering Passive Mode (10,0,0,2,284,86)\r\n", 7254, 40001,
                     false, "TCP"},
        Announcement{"NoNumbers", 40000, 21, "227\r\n", 7254, 40001, false, "TCP"},
        Announcement{"ExtendedWithoutAnEnd", 40000, 21, "229 Entered (|||7254\r\n", 7254, 40001, false, "TCP"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(FtpData, IsExpectedOfTheLatestAnnouncementsOnly)
{
    Capture capture;
    capture.tcp(40000, 21, 1, asBytes("227 Entering Passive Mode (10,0,0,2,28,86)\r\n"));
    std::uint32_t sequence = 45;
    for (int i = 0; i < 16; ++i) {
        const auto line = "227 Entering Passive Mode (10,0,0,2,30," + std::to_string(i) + ")\r\n";
        capture.tcp(40000, 21, sequence, asBytes(line));
        sequence += static_cast<std::uint32_t>(line.size());
    }
    capture.tcp(7254, 40001, 100, {}, syn);
    const auto old = capture.tcp(40001, 7254, 1, asBytes("\x01\x02\x03\x04"));
    capture.tcp(30 * 256 + 3, 40002, 100, {}, syn);
    const auto late = capture.tcp(40002, 30 * 256 + 3, 1, asBytes("\x01\x02\x03\x04"));
    EXPECT_EQ(capture.protocol(old), "TCP");
    EXPECT_EQ(capture.protocol(late), "FTP-DATA");
}

} // namespace
} // namespace netrondo::test
