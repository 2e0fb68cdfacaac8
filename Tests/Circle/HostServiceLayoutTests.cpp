#include "Circle/HostServiceLayout.h"

#include "Circle/BarycentreSweep.h"
#include "Support/Conversations.h"

#include <algorithm>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <random>

namespace netrondo::test {
namespace {

using Texts = std::vector<std::string>;

HostServiceLayout laidOut(std::vector<CommPair> list, HostServiceLayout::Parameters parameters = {.size = {800, 600}})
{
    parameters.pairs = std::move(list);
    return HostServiceLayout(std::move(parameters));
}

/// The links as "host->svc:NAME volume".
Texts links(const HostServiceLayout& layout)
{
    Texts found;
    for (const auto& link : layout.links)
        found.push_back(fmt::format("{} {}", layout.id(link), link.volume));
    std::sort(found.begin(), found.end());
    return found;
}

std::string found(const HostServiceLayout& layout, const HostServiceLayout::Link* link)
{
    return link ? layout.id(*link) : "nothing";
}

/// Two hosts and two services whose links do not cross.
HostServiceLayout parallel(bool showLineThickness = false)
{
    auto list = pairs({"A A HTTP 10", "B B DNS 100"});
    return laidOut(list, {.size = {800, 600}, .showLineThickness = showLineThickness, .columnInset = 100});
}

} // namespace

TEST(HostServiceLayout, HostsStandOnTheLeftAndServicesOnTheRight)
{
    const auto layout = laidOut(pairs({"A B HTTP", "A C DNS"}), {.size = {800, 600}, .columnInset = 150});
    ASSERT_EQ(layout.nodes.size(), 5u);
    EXPECT_EQ(layout.hostCount, 3u);
    for (std::size_t i = 0; i < layout.nodes.size(); ++i) {
        const auto& node = layout.nodes[i];
        const bool isHost = i < layout.hostCount;
        EXPECT_EQ(node.role, isHost ? CircleNode::Role::host : CircleNode::Role::service);
        EXPECT_EQ(node.position.x, isHost ? 150 : 650);
        EXPECT_GT(node.position.y, 0);
        EXPECT_LT(node.position.y, 600);
        EXPECT_EQ(node.address.starts_with("svc:"), !isHost);
        EXPECT_EQ(node.serviceName.has_value(), !isHost);
    }
    EXPECT_NE(layout.position("svc:HTTP"), nullptr);
    EXPECT_EQ(layout.position("HTTP"), nullptr);
}

TEST(HostServiceLayout, BothEndsOfAPairAreLinkedToItsService)
{
    EXPECT_EQ(links(laidOut(pairs({"A B HTTP 5", "B A HTTP 2"}))), (Texts{"A->svc:HTTP 7", "B->svc:HTTP 7"}));
}

TEST(HostServiceLayout, APairIsSharedOutAmongTheServicesOfItsPortsToTheLastPacket)
{
    auto list = pairs({"A B TCP 10 1000"});
    list[0].dstPorts = {
        {53, {1, false, true}}, {80, {1, true, false}}, {443, {1, true, false}}, {51000, {7, true, false}}};
    EXPECT_EQ(
        links(laidOut(list)),
        (Texts{"A->svc:DNS 3", "A->svc:HTTP 3", "A->svc:TLS 4", "B->svc:DNS 3", "B->svc:HTTP 3", "B->svc:TLS 4"}));
    EXPECT_EQ(laidOut(list, {.size = {800, 600}, .useBytes = true}).maxVolume, 334u);
}

TEST(HostServiceLayout, APairWithoutANamedPortBelongsToItsTopProtocol)
{
    auto list = pairs({"A B ICMP 10"});
    list[0].dstPorts = {{51000, {7, true, false}}};
    EXPECT_EQ(links(laidOut(list)), (Texts{"A->svc:ICMP 10", "B->svc:ICMP 10"}));
}

TEST(HostServiceLayout, AHostThatTalksToItselfIsLinkedOnce)
{
    EXPECT_EQ(links(laidOut(pairs({"A A HTTP 5"}))), Texts{"A->svc:HTTP 5"});
}

TEST(HostServiceLayout, HugeVolumesAreSharedOutWithoutOverflow)
{
    auto list = pairs({"A B TCP 18446744073709551615"});
    list[0].dstPorts = {{53, {9'000'000'000'000'000'000u, false, true}},
                        {80, {9'000'000'000'000'000'000u, true, false}}};
    EXPECT_EQ(laidOut(list).maxVolume, 9223372036854775808u);
}

TEST(HostServiceLayout, LinksHaveTheColourOfTheirServiceAndHostsThatOfTheirMainOne)
{
    const auto layout = laidOut(pairs({"A B HTTP 1", "A C DNS 9"}));
    for (const auto& link : layout.links)
        EXPECT_EQ(layout.linkColor(link), ProtocolColors::color(*layout.nodes[link.service].serviceName));
    for (const auto& node : layout.nodes)
        if (node.address == "A") {
            EXPECT_EQ(node.protocolColor, ProtocolColors::color("DNS"));
        }
}

TEST(HostServiceLayout, ALinkLastsFromTheFirstToTheLastOfItsPairs)
{
    auto list = pairs({"A B HTTP", "B A HTTP", "A C HTTP"});
    const double times[][2] = {{20, 30}, {21, 50}, {10, 25}};
    for (std::size_t i = 0; i < list.size(); ++i) {
        list[i].firstSeenSeconds = times[i][0];
        list[i].lastSeenSeconds = times[i][1];
    }
    const HostServiceLayout layout({.size = {800, 600}, .pairs = list});
    std::map<std::string, std::pair<double, double>> lasts;
    for (const auto& link : layout.links)
        lasts[layout.nodes[link.host].address] = {link.firstSeconds, link.lastSeconds};
    EXPECT_EQ(lasts,
              (std::map<std::string, std::pair<double, double>>{{"A", {10, 50}}, {"B", {20, 50}}, {"C", {10, 25}}}));
}

TEST(HostServiceLayout, NothingGivesAnEmptyPicture)
{
    const auto layout = laidOut({});
    EXPECT_TRUE(layout.nodes.empty());
    EXPECT_TRUE(layout.links.empty());
    EXPECT_EQ(layout.maxVolume, 1u);
    EXPECT_EQ(layout.findNode({0, 0}), nullptr);
    EXPECT_EQ(layout.findLink({0, 0}), nullptr);
}

TEST(HostServiceLayout, ManyHostsDoNotRunIntoEachOther)
{
    std::vector<CommPair> list;
    for (int i = 0; i < 1000; ++i)
        list.push_back(pair(fmt::format("{} {} HTTP", i, i)));
    const auto layout = laidOut(list);
    EXPECT_LT(2 * layout.nodeRadius, layout.nodes[1].position.y - layout.nodes[0].position.y + 1.5);
}

TEST(HostServiceLayout, NodesAndLinksAreHitByTheRulesOfTheRing)
{
    const auto layout = parallel();
    ASSERT_EQ(layout.crossings, 0u);
    EXPECT_EQ(layout.findNode({100, 150})->address, "A");
    EXPECT_EQ(layout.findNode({700, 450})->address, "svc:DNS");
    EXPECT_EQ(layout.findNode({100, 165}), nullptr);
    EXPECT_EQ(found(layout, layout.findLink({400, 154.9})), "A->svc:HTTP");
    EXPECT_EQ(found(layout, layout.findLink({400, 155.1})), "nothing");
    EXPECT_EQ(found(layout, layout.findLink({400, 153.9}, 0)), "A->svc:HTTP") << "never less than four points";
    const auto sized = parallel(true);
    EXPECT_EQ(found(sized, sized.findLink({400, 462.9})), "B->svc:DNS") << "ten wide";
    EXPECT_EQ(found(sized, sized.findLink({400, 463.1})), "nothing");
}

TEST(HostServiceLayout, ABentLinkIsHitWhereItIsDrawn)
{
    const auto layout = laidOut(pairs({"A B HTTP"}), {.size = {800, 600}, .columnInset = 100});
    for (const auto& link : layout.links) {
        const auto line = layout.curve(link);
        EXPECT_EQ(line[0], layout.nodes[link.host].position);
        EXPECT_EQ(line[3], layout.nodes[link.service].position);
        const double y = (line[0].y + line[3].y) / 2; // the middle of the curve is the middle of its ends
        EXPECT_EQ(found(layout, layout.findLink({400, y})), layout.id(link));
    }
}

TEST(HostServiceLayout, HysteresisKeepsTheSelectedLink)
{
    // Both hosts' links end in the same service: near it they are close together.
    const auto layout = laidOut(pairs({"A B HTTP"}), {.size = {800, 600}, .columnInset = 100});
    const Point near{690, 299};
    const auto nearest = found(layout, layout.findLink(near));
    const auto other = nearest == "A->svc:HTTP" ? "B->svc:HTTP" : "A->svc:HTTP";
    EXPECT_EQ(found(layout, layout.findLink(near, 3, other, 0)), nearest);
    EXPECT_EQ(found(layout, layout.findLink(near, 3, other, 4)), other);
    EXPECT_EQ(found(layout, layout.findLink(near, 3, "X->svc:HTTP", 4)), nearest);
}

TEST(BarycentreSweep, UntanglesWhatCanBeUntangled)
{
    const ColumnLink crossed[] = {{0, 2}, {1, 1}, {2, 0}};
    const auto order = barycentreSweep(3, 3, crossed);
    EXPECT_EQ(order.crossings, 0u);
    EXPECT_EQ(order.left.size(), 3u);
    EXPECT_EQ(order.right.size(), 3u);
}

TEST(BarycentreSweep, CountsTheCrossingsOfWhatCannot)
{
    const ColumnLink all[] = {{0, 0}, {0, 1}, {1, 0}, {1, 1}};
    EXPECT_EQ(barycentreSweep(2, 2, all).crossings, 1u);
    const ColumnLink twelve[] = {{0, 0}, {0, 1}, {0, 2}, {1, 0}, {1, 1}, {1, 2}, {2, 0}, {2, 1}, {2, 2}};
    EXPECT_EQ(barycentreSweep(3, 3, twelve).crossings, 9u);
}

TEST(BarycentreSweep, NeverMakesItWorseAndKeepsEveryEntry)
{
    std::mt19937 random(3);
    for (int round = 0; round < 200; ++round) {
        const auto left = 1 + static_cast<std::uint32_t>(random() % 20),
                   right = 1 + static_cast<std::uint32_t>(random() % 9);
        std::vector<ColumnLink> links;
        for (auto i = random() % 60; i > 0; --i)
            links.emplace_back(random() % left, random() % right);
        const auto crossings = [&](const ColumnOrder& order) {
            std::uint64_t count = 0;
            const auto at = [](const std::vector<std::uint32_t>& column, std::uint32_t entry) {
                return std::ranges::find(column, entry) - column.begin();
            };
            for (const auto& a : links)
                for (const auto& b : links)
                    count += at(order.left, a.first) < at(order.left, b.first)
                        && at(order.right, a.second) > at(order.right, b.second);
            return count;
        };
        ColumnOrder given;
        for (std::uint32_t i = 0; i < left; ++i)
            given.left.push_back(i);
        for (std::uint32_t i = 0; i < right; ++i)
            given.right.push_back(i);
        auto order = barycentreSweep(left, right, links);
        EXPECT_EQ(order.crossings, crossings(order));
        EXPECT_LE(order.crossings, crossings(given));
        std::ranges::sort(order.left);
        std::ranges::sort(order.right);
        EXPECT_EQ(order.left, given.left);
        EXPECT_EQ(order.right, given.right);
    }
}

} // namespace netrondo::test
