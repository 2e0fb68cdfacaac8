#include "Circle/CircleScene.h"

#include "Circle/CircleLayout.h"
#include "Circle/HostServiceLayout.h"
#include "Circle/ScenePage.h"
#include "Support/Conversations.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <random>

namespace netrondo::test {
namespace {

/// The corners of the rectangle that a label covers.
std::array<Point, 4> corners(const SceneLabel& label)
{
    const double width = approximateTextWidth(label.text, label.size, label.isBold), half = lineHeight(label.size) / 2;
    const double left = label.align == SceneLabel::Align::start ? 0
        : label.align == SceneLabel::Align::middle              ? -width / 2
                                                                : -width;
    const double c = std::cos(label.angle), s = std::sin(label.angle);
    std::array<Point, 4> found;
    std::size_t i = 0;
    for (const auto& [x, y] :
         {Point{left, -half}, Point{left + width, -half}, Point{left + width, half}, Point{left, half}})
        found[i++] = {label.at.x + x * c - y * s, label.at.y + x * s + y * c};
    return found;
}

/// True when two rectangles share more than an edge: no line along a side of either parts them.
bool overlap(const std::array<Point, 4>& a, const std::array<Point, 4>& b)
{
    for (const auto* one : {&a, &b})
        for (std::size_t i = 0; i < 2; ++i) {
            const Point along{(*one)[i + 1].x - (*one)[i].x, (*one)[i + 1].y - (*one)[i].y};
            const double length = std::hypot(along.x, along.y);
            const auto range = [&](const std::array<Point, 4>& points) {
                double least = 1e300, most = -1e300;
                for (const auto& p : points) {
                    const double place = (p.x * along.x + p.y * along.y) / length;
                    least = std::min(least, place);
                    most = std::max(most, place);
                }
                return std::pair(least, most);
            };
            const auto [leastA, mostA] = range(a);
            const auto [leastB, mostB] = range(b);
            if (mostA <= leastB + 1e-6 || mostB <= leastA + 1e-6)
                return false;
        }
    return true;
}

void expectLabelsApart(const CircleScene& scene)
{
    std::vector<std::array<Point, 4>> placed;
    for (const auto& label : scene.labels) {
        if (label.text.empty())
            continue;
        placed.push_back(corners(label));
        for (const auto& corner : placed.back()) {
            EXPECT_GE(corner.x, 0) << label.text;
            EXPECT_GE(corner.y, 0) << label.text;
            EXPECT_LE(corner.x, scene.size.width) << label.text;
            EXPECT_LE(corner.y, scene.size.height) << label.text;
        }
        for (std::size_t i = 0; i + 1 < placed.size(); ++i)
            EXPECT_FALSE(overlap(placed[i], placed.back())) << label.text << " over " << scene.labels[i].text;
    }
}

std::vector<CommPair> office(int hosts, int conversations)
{
    std::mt19937 random(static_cast<unsigned>(hosts));
    std::vector<CommPair> list;
    for (int i = 0; i < conversations; ++i) {
        const auto a = i < hosts ? i : static_cast<int>(random() % static_cast<unsigned>(hosts));
        const auto b = static_cast<int>(random() % static_cast<unsigned>(hosts));
        list.push_back(pair(
            fmt::format("10.20.{}.{} 10.20.{}.{} HTTP {}", a / 250, a % 250, b / 250, b % 250, 1 + random() % 1000)));
    }
    return list;
}

CircleScene ring(const std::vector<CommPair>& list, Size size, SceneStyle style = {})
{
    CircleLayout::Parameters parameters{.size = size, .pairs = list};
    parameters.ringInset = ringInsetForLabels(CircleLayout(CircleLayout::Parameters(parameters)), approximateTextWidth);
    return circleScene(CircleLayout(std::move(parameters)), style, approximateTextWidth);
}

CircleScene empty(Size size)
{
    CircleScene scene;
    scene.size = size;
    return scene;
}

struct RingCase {
    int hosts;
    Size size;
};

class RingSizes : public testing::TestWithParam<RingCase> { };

} // namespace

TEST_P(RingSizes, LabelsStayWithinTheViewAndOffEachOther)
{
    const auto scene = ring(office(GetParam().hosts, 3 * GetParam().hosts), GetParam().size);
    expectLabelsApart(scene);
    EXPECT_EQ(scene.labels.size() + scene.unlabelled, static_cast<std::size_t>(GetParam().hosts));
    if (std::min(GetParam().size.width, GetParam().size.height) >= 400) {
        EXPECT_GE(scene.labels.size(), static_cast<std::size_t>(std::min(GetParam().hosts, 60)));
    }
}

INSTANTIATE_TEST_SUITE_P(FromTenToTwoThousandHosts, RingSizes,
                         testing::Values(RingCase{2, {800, 800}}, RingCase{10, {800, 800}}, RingCase{25, {800, 600}},
                                         RingCase{60, {1600, 1000}}, RingCase{150, {800, 800}},
                                         RingCase{500, {1000, 1600}}, RingCase{2000, {1600, 1000}},
                                         RingCase{40, {200, 200}}, RingCase{300, {120, 90}}, RingCase{5, {20, 20}}),
                         [](const auto& row) {
                             return fmt::format("Hosts{}On{}x{}", row.param.hosts, row.param.size.width,
                                                row.param.size.height);
                         });

TEST(CircleScene, FewLabelsAreLevelAndManyTurnWithTheRing)
{
    for (const auto& label : ring(office(8, 20), {800, 800}).labels)
        EXPECT_EQ(label.angle, 0) << label.text;
    const auto many = ring(office(150, 300), {800, 800});
    EXPECT_TRUE(std::ranges::any_of(many.labels, [](const SceneLabel& label) { return label.angle != 0; }));
    for (const auto& label : many.labels)
        EXPECT_GT(std::cos(label.angle), -1e-6) << label.text << " stands on its head";
}

TEST(CircleScene, WhereNotAllLabelsFindRoomTheBusiestHostsKeepTheirs)
{
    auto list = office(2000, 4000);
    list.push_back(pair("10.20.3.3 10.20.4.4 HTTP 100000000"));
    const auto scene = ring(list, {800, 800});
    EXPECT_GT(scene.unlabelled, 0u);
    for (const auto* busiest : {"10.20.3.3", "10.20.4.4"})
        EXPECT_TRUE(std::ranges::find(scene.labels, busiest, &SceneLabel::text) != scene.labels.end()) << busiest;
}

TEST(CircleScene, BothDirectionsAreOneChordInTheColourOfTheHeavierOne)
{
    const auto scene = ring(pairs({"A B HTTP 1", "B A DNS 2", "C A TLS 9", "D D TCP 9"}), {800, 800});
    ASSERT_EQ(scene.lines.size(), 2u) << "a host that talks to itself has no chord";
    EXPECT_EQ(scene.lines[0].color.rgb, ProtocolColors::color("DNS"));
    EXPECT_EQ(scene.lines[1].color.rgb, ProtocolColors::color("TLS")) << "the heavy one is drawn last, on top";
    EXPECT_EQ(scene.lines[0].width, 1.6) << "a hairline shows little colour where there are few";
}

TEST(CircleScene, ChordsAreAsWideAsTheirVolumeWhenThatIsAskedFor)
{
    const CircleLayout layout(
        {.size = {800, 800}, .pairs = pairs({"A B HTTP 50", "C A TLS 100"}), .showLineThickness = true});
    const auto scene = circleScene(layout, {}, approximateTextWidth);
    EXPECT_EQ(scene.lines[0].width, 6.0);
    EXPECT_EQ(scene.lines[1].width, 10.0);
}

TEST(CircleScene, ChordsAreColouredByQualityWhenThatIsAskedFor)
{
    auto list = pairs({"A B HTTP 50", "C A TLS 100"});
    list[1].tcpQuality.emplace().tcpPackets = 5;
    const auto scene = ring(list, {800, 800}, {.colorMode = EdgeColorMode::quality});
    EXPECT_EQ(scene.lines[0].color.rgb, (ProtocolColors::RGB{128, 128, 128}));
    EXPECT_EQ(scene.lines[1].color.rgb, (ProtocolColors::RGB{0, 200, 80}));
}

TEST(CircleScene, NothingGivesAnEmptyRing)
{
    const auto scene = ring({}, {800, 800});
    EXPECT_EQ(scene.discs.size(), 1u) << "the ring itself";
    EXPECT_TRUE(scene.lines.empty());
    EXPECT_TRUE(scene.labels.empty());
    EXPECT_EQ(ring({}, {0, 0}).labels.size(), 0u);
}

TEST(CircleScene, TheSameLayoutGivesTheSameScene)
{
    const auto list = office(100, 300);
    EXPECT_EQ(ring(list, {800, 800}), ring(list, {800, 800}));
    EXPECT_NE(ring(list, {800, 800}), ring(list, {800, 800}, {.theme = SceneTheme::dark}));
}

TEST(CircleScene, AWideViewHasTheRingAsLargeAsItsHeightLetsIt)
{
    CircleLayout::Parameters parameters{.size = {1600, 600}, .pairs = office(10, 20)};
    const double inset = ringInsetForLabels(CircleLayout(std::move(parameters)), approximateTextWidth);
    EXPECT_LT(inset, 60) << "level labels stand beside the ring, where there is room";
}

TEST(ServiceScene, LabelsStayWithinTheViewAndOffEachOther)
{
    for (const int hosts : {3, 40, 400, 2000}) {
        HostServiceLayout::Parameters parameters{.size = {1000, 800}, .pairs = office(hosts, 2 * hosts)};
        parameters.columnInset =
            columnInsetForLabels(HostServiceLayout(HostServiceLayout::Parameters(parameters)), approximateTextWidth);
        const auto scene = serviceScene(HostServiceLayout(std::move(parameters)), {}, approximateTextWidth);
        expectLabelsApart(scene);
        EXPECT_GE(scene.labels.size(), static_cast<std::size_t>(std::min(hosts, 40)));
        EXPECT_FALSE(scene.curves.empty());
    }
}

TEST(ScenePage, HasAHeadingAboveThePictureAndALegendBelow)
{
    ScenePage page{
        {800, 800}, SceneTheme::light, "office.pcapng", "12 hosts", {{"HTTP", {1, 2, 3}}, {"DNS", {4, 5, 6}}}};
    ASSERT_LT(page.pictureSize().height, 800);
    auto picture = empty(page.pictureSize());
    picture.labels.push_back({"A", {10, 10}, 0, SceneLabel::Align::start, 12, false, {}});
    const auto scene = page.compose(picture, approximateTextWidth);
    EXPECT_EQ(scene.size, (Size{800, 800}));
    EXPECT_EQ(scene.boxes.size(), 2u);
    expectLabelsApart(scene);
    EXPECT_EQ(scene.labels.size(), 5u);
}

TEST(ScenePage, CountsWhatTheLegendHasNoRoomFor)
{
    ScenePage page{{400, 400}, SceneTheme::light, "office.pcapng", "12 hosts", {}};
    for (int i = 0; i < 30; ++i)
        page.legend.push_back({fmt::format("Protocol {}", i), {1, 2, 3}});
    const auto scene = page.compose(empty(page.pictureSize()), approximateTextWidth);
    const auto shown = scene.boxes.size();
    EXPECT_GT(shown, 0u);
    EXPECT_EQ(scene.labels.back().text, fmt::format("+{} more", 30 - shown));
    expectLabelsApart(scene);
}

TEST(ScenePage, ASmallPageHoldsThePictureAlone)
{
    const ScenePage page{{200, 200}, SceneTheme::light, "office.pcapng", "12 hosts", {{"HTTP", {1, 2, 3}}}};
    EXPECT_EQ(page.pictureSize(), (Size{200, 200}));
    EXPECT_TRUE(page.compose(empty({200, 200}), approximateTextWidth).labels.empty());
}

TEST(ScenePage, ALongHeadingIsCutToThePage)
{
    const ScenePage page{{400, 400}, SceneTheme::light, std::string(500, 'x'), std::string(500, 'y'), {}};
    expectLabelsApart(page.compose(empty(page.pictureSize()), approximateTextWidth));
}

} // namespace netrondo::test
