// The circle and the services view beside pictures of them that somebody has looked at.
#include "Circle/CircleLayout.h"
#include "Circle/HostServiceLayout.h"
#include "NetrondoApp/Support/PictureGolden.h"

#include <fmt/format.h>
#include <random>

namespace netrondo::test {
namespace {

/// Few hosts serve, many ask; volumes span four decades.
std::vector<CommPair> conversations(std::uint32_t hosts, std::size_t count)
{
    constexpr std::string_view protocols[] = {"TLS", "HTTP", "DNS", "SMB", "SSH", "mDNS", "ICMP", "NTP"};
    constexpr std::uint16_t ports[] = {443, 80, 53, 445, 22, 5353, 0, 123};
    std::mt19937 random(hosts);
    std::vector<CommPair> pairs(count);
    for (std::size_t i = 0; i < count; ++i) {
        auto& pair = pairs[i];
        const auto client = i < hosts ? static_cast<std::uint32_t>(i) : static_cast<std::uint32_t>(random() % hosts);
        const auto server = static_cast<std::uint32_t>((client + 1 + random() % (hosts / 4 + 1)) % hosts);
        const auto kind = random() % std::size(protocols);
        pair.srcAddr = fmt::format("10.0.{}.{}", client / 100, client % 100);
        pair.dstAddr = fmt::format("10.0.{}.{}", server / 100, server % 100);
        pair.topProtocol = protocols[kind];
        pair.payloadProtocols = {std::string(protocols[kind])};
        pair.packetCount = 1 + (random() >> (random() % 14 + 18));
        pair.byteCount = pair.packetCount * 400;
        if (ports[kind])
            pair.dstPorts = {{ports[kind], {pair.packetCount, kind != 2, kind == 2}}};
        if (kind != 2)
            pair.tcpQuality.emplace().tcpPackets = pair.packetCount;
        if (kind == 1)
            pair.tcpQuality->rstCount = 6;
    }
    return pairs;
}

CircleScene ring(std::uint32_t hosts, std::size_t count, bool thickness, const SceneStyle& style)
{
    CircleLayout::Parameters parameters{
        .size = {480, 400}, .pairs = conversations(hosts, count), .showLineThickness = thickness};
    parameters.ringInset = ringInsetForLabels(CircleLayout(CircleLayout::Parameters(parameters)), approximateTextWidth);
    return circleScene(CircleLayout(std::move(parameters)), style, approximateTextWidth);
}

CircleScene services()
{
    HostServiceLayout::Parameters parameters{
        .size = {480, 400}, .pairs = conversations(14, 40), .showLineThickness = true};
    parameters.columnInset =
        columnInsetForLabels(HostServiceLayout(HostServiceLayout::Parameters(parameters)), approximateTextWidth);
    return serviceScene(HostServiceLayout(std::move(parameters)), {}, approximateTextWidth);
}

TEST(PictureGolden, ASparseRing)
{
    expectGoldenPicture("ring-sparse", drawnWithoutLetters(ring(9, 16, true, {})));
}

TEST(PictureGolden, ACrowdedRing)
{
    expectGoldenPicture("ring-crowded", drawnWithoutLetters(ring(260, 900, false, {})));
}

TEST(PictureGolden, ADarkRingColouredByQuality)
{
    const SceneStyle style{.theme = SceneTheme::dark, .colorMode = EdgeColorMode::quality};
    expectGoldenPicture("ring-dark", drawnWithoutLetters(ring(40, 90, true, style)));
}

TEST(PictureGolden, HostsAndServices)
{
    expectGoldenPicture("services", drawnWithoutLetters(services()));
}

/// A change to a picture, and whether it may pass.
struct Change {
    const char* name;
    void (*make)(CircleScene& scene);
    bool passes;
};

class PictureComparison : public testing::TestWithParam<Change> { };

TEST_P(PictureComparison, TellsWhatTheEyeWould)
{
    const auto before = ring(40, 90, false, {});
    auto after = before;
    GetParam().make(after);
    const auto found = difference(drawnWithoutLetters(before), drawnWithoutLetters(after));
    EXPECT_EQ(isSame(found), GetParam().passes) << found.differ << " pixels, most by " << found.most;
}

INSTANTIATE_TEST_SUITE_P(
    OfARing, PictureComparison,
    testing::Values(Change{"Nothing", [](CircleScene&) {}, true},
                    Change{"AChordMovedByThreePoints", [](CircleScene& s) { s.lines.back().from.y += 3; }, false},
                    Change{"AChordIsMissing", [](CircleScene& s) { s.lines.erase(s.lines.begin()); }, false},
                    Change{"AChordHasAnotherColour",
                           [](CircleScene& s) { std::swap(s.lines.back().color.rgb.r, s.lines.back().color.rgb.b); },
                           false},
                    Change{"ANodeIsMissing", [](CircleScene& s) { s.discs.pop_back(); }, false},
                    Change{"ALabelIsMissing", [](CircleScene& s) { s.labels.pop_back(); }, false},
                    Change{"EverythingMovedByAHairsBreadth",
                           [](CircleScene& s) {
                               for (auto& line : s.lines)
                                   line.from.x += 0.02;
                           },
                           true}),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace
} // namespace netrondo::test
