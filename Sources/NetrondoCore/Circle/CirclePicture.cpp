// The circle of a whole analysis, as a layout and as a page.
#include "Circle/CirclePicture.h"

#include "Base/Units.h"
#include "Circle/ScenePage.h"

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <fmt/format.h>

namespace netrondo {
namespace {
using units::counted;
using units::grouped;

std::uint64_t conversationsIn(const PairList& pairs)
{
    std::vector<std::uint32_t> numbers;
    numbers.reserve(pairs.size());
    for (std::size_t i = 0; i < pairs.size(); ++i)
        numbers.push_back(pairs.summary(i).conversation);
    std::ranges::sort(numbers);
    return static_cast<std::uint64_t>(std::unique(numbers.begin(), numbers.end()) - numbers.begin());
}

std::string subtitleOf(const AnalysisResult& result, const CircleRequest& request, std::size_t hosts,
                       std::size_t unlabelled)
{
    const auto all = conversationsIn(result.pairs);
    const auto shown =
        request.limit ? std::min(all, static_cast<std::uint64_t>(std::max<std::int64_t>(*request.limit, 0))) : all;
    auto text = counted(hosts, "host", "hosts") + " · ";
    if (shown < all)
        text += fmt::format("the {} largest of ", grouped(shown));
    text += counted(all, "conversation", "conversations");
    text += fmt::format(" · {} · {} · {}", counted(result.totalPackets, "packet", "packets"),
                        units::bytes(result.totalBytes), units::timeSpan(result.durationSeconds));
    if (unlabelled)
        text += fmt::format(" · {} without room for a label", grouped(unlabelled));
    return text;
}

std::vector<LegendEntry> gradeLegend()
{
    std::vector<LegendEntry> legend;
    for (const auto grade : {SessionQualityGrade::excellent, SessionQualityGrade::good, SessionQualityGrade::fair,
                             SessionQualityGrade::poor, SessionQualityGrade::unknown}) {
        const auto [r, g, b] = color(grade);
        legend.push_back({std::string(displayName(grade)), {r, g, b}});
    }
    return legend;
}

std::vector<LegendEntry> protocolLegend(const PairArray& pairs, bool useBytes)
{
    struct Share {
        std::string_view name;
        Counter64 volume;
    };
    std::vector<Share> shares;
    for (const auto& pair : pairs) {
        auto at = std::ranges::find(shares, pair.topProtocol, &Share::name);
        if (at == shares.end())
            at = shares.insert(at, {pair.topProtocol, 0});
        at->volume += pair.volume(useBytes);
    }
    std::ranges::sort(shares, [](const Share& a, const Share& b) {
        return a.volume != b.volume ? a.volume > b.volume : a.name < b.name;
    });
    std::vector<LegendEntry> legend;
    for (const auto& share : shares)
        legend.push_back({std::string(share.name), ProtocolColors::color(share.name)});
    return legend;
}

} // namespace

std::vector<CommPair> topConversationPairs(const PairList& pairs, std::int64_t limit, bool useBytes)
{
    if (limit <= 0)
        return {};
    // The list is in the order of identifiers, so the smaller first index is the identifier that sorts first.
    struct Group {
        std::vector<std::size_t> members;
        Counter64 volume;
    };
    std::vector<Group> groups;
    boost::unordered_flat_map<std::uint32_t, std::size_t> known;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const auto summary = pairs.summary(i);
        const auto [at, first] = known.try_emplace(summary.conversation, groups.size());
        if (first)
            groups.emplace_back();
        auto& group = groups[at->second];
        group.members.push_back(i);
        group.volume += useBytes ? summary.byteCount : summary.packetCount;
    }
    std::ranges::stable_sort(groups, std::greater{}, [](const Group& group) { return std::uint64_t{group.volume}; });
    groups.resize(std::min(groups.size(), static_cast<std::size_t>(limit)));
    std::vector<CommPair> top;
    for (const auto& group : groups)
        for (const auto member : group.members)
            top.push_back(pairs[member]);
    return top;
}

std::vector<CommPair> pairsOf(const PairList& pairs, const CircleRequest& request)
{
    return request.limit ? topConversationPairs(pairs, *request.limit, request.useBytes) : pairs.all();
}

CircleLayout layOutCircle(PairArray pairs, const CircleRequest& request)
{
    std::optional<AngleByAddress> angles;
    if (request.optimize)
        angles = CircleLayout::rearrangeAngles(pairs, request.useBytes);
    return CircleLayout({.size = request.size,
                         .pairs = std::move(pairs),
                         .useBytes = request.useBytes,
                         .showLineThickness = request.showLineThickness,
                         .stableAngleByAddress = std::move(angles),
                         .showHostNames = request.showHostNames,
                         .ringInset = request.inset.value_or(0)});
}

CircleScene circlePicture(const AnalysisResult& result, CircleHostLayoutMode mode, const CircleRequest& request,
                          const SceneStyle& style, const std::string& title, const TextWidth& textWidth)
{
    const PairArray pairs = pairsOf(result.pairs, request);
    ScenePage page{request.size, style.theme, title, {}, {}};
    CircleScene picture;
    std::size_t hosts = 0;
    if (mode == CircleHostLayoutMode::byProtocol) {
        HostServiceLayout::Parameters parameters{.size = page.pictureSize(),
                                                 .pairs = pairs,
                                                 .useBytes = request.useBytes,
                                                 .showLineThickness = request.showLineThickness,
                                                 .showHostNames = request.showHostNames};
        parameters.columnInset = request.inset.value_or(
            columnInsetForLabels(HostServiceLayout(HostServiceLayout::Parameters(parameters)), textWidth));
        const HostServiceLayout layout(std::move(parameters));
        hosts = layout.hostCount;
        picture = serviceScene(layout, style, textWidth);
    } else {
        auto sized = request;
        sized.size = page.pictureSize();
        auto layout = layOutCircle(pairs, sized);
        if (!request.inset) {
            sized.inset = ringInsetForLabels(layout, textWidth);
            layout = layOutCircle(pairs, sized);
        }
        hosts = layout.nodes.size();
        picture = circleScene(layout, style, textWidth);
    }
    page.subtitle = subtitleOf(result, request, hosts, picture.unlabelled);
    page.legend = mode == CircleHostLayoutMode::hosts && style.colorMode == EdgeColorMode::quality
        ? gradeLegend()
        : protocolLegend(pairs, request.useBytes);
    return page.compose(std::move(picture), textWidth);
}

} // namespace netrondo
