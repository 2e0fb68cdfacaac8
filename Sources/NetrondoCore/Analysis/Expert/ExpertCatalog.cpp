// The rows of ExpertCatalog.def.
#include "Analysis/Expert/ExpertCatalog.h"

#include <algorithm>
#include <array>
#include <utility>

namespace netrondo {
namespace {

constexpr FindingKind kinds[] = {
#define NR_FINDING(name, id, severity, layer, title, happened, why, causes, steps, falsifier)                          \
    {Finding::name, id, Severity::severity, ExpertLayer::layer, title, happened, why, causes, steps, falsifier},
#include "Analysis/Expert/ExpertCatalog.def"
#undef NR_FINDING
};

// What is inferred from several frames, from times, or from what does not come.
constexpr std::pair<Finding, double> inferred[] = {
    {Finding::capLoss, 0.8},        {Finding::capOneway, 0.8},     {Finding::capOffload, 0.9},
    {Finding::ethFlood, 0.6},       {Finding::ethMacflap, 0.7},    {Finding::ethOversize, 0.7},
    {Finding::ethRunt, 0.7},        {Finding::ethLoop, 0.9},       {Finding::stpTworoots, 0.8},
    {Finding::l2Mismatch, 0.9},     {Finding::arpSpoof, 0.8},      {Finding::arpDupip, 0.9},
    {Finding::arpNoreply, 0.8},     {Finding::arpScan, 0.9},       {Finding::ipTtlLow, 0.5},
    {Finding::ipTtlChange, 0.7},    {Finding::ipBlackhole, 0.6},   {Finding::icmpEcho, 0.8},
    {Finding::tcpRetxApp, 0.5},     {Finding::tcpSpurious, 0.9},   {Finding::tcpAckedUnseen, 0.6},
    {Finding::tcpRto, 0.9},         {Finding::tcpOoo, 0.8},        {Finding::tcpSmallwin, 0.7},
    {Finding::tcpSynNoanswer, 0.8}, {Finding::tcpHalfopen, 0.8},   {Finding::tcpRstInjected, 0.7},
    {Finding::tcpIdle, 0.7},        {Finding::tcpDelayedack, 0.7}, {Finding::scanPort, 0.9},
    {Finding::scanHost, 0.9},       {Finding::dnsNoreply, 0.8},
};

constexpr std::array<std::string_view, 4> severities{"info", "note", "warning", "error"};
constexpr std::array<std::string_view, 6> layers{"capture", "L1", "L2", "L3", "L4", "L7"};

template <typename E, std::size_t size>
std::optional<E> find(const std::array<std::string_view, size>& names, std::string_view name)
{
    const auto place = std::find(names.begin(), names.end(), name);
    if (place == names.end())
        return {};
    return static_cast<E>(place - names.begin());
}

} // namespace

std::string_view rawValue(Severity severity)
{
    return severities[static_cast<std::size_t>(severity)];
}

std::string_view rawValue(ExpertLayer layer)
{
    return layers[static_cast<std::size_t>(layer)];
}

std::optional<Severity> severityOf(std::string_view rawValue)
{
    return find<Severity>(severities, rawValue);
}

std::optional<ExpertLayer> layerOf(std::string_view rawValue)
{
    return find<ExpertLayer>(layers, rawValue);
}

double usualConfidence(Finding finding)
{
    const auto place = std::ranges::find(inferred, finding, &std::pair<Finding, double>::first);
    return place == std::end(inferred) ? 1 : place->second;
}

const FindingKind& kindOf(Finding finding)
{
    return kinds[static_cast<std::size_t>(finding) - 1];
}

std::span<const FindingKind> findingKinds()
{
    return kinds;
}

Finding findingOf(std::string_view id)
{
    const auto place =
        std::find_if(std::begin(kinds), std::end(kinds), [&](const auto& kind) { return kind.id == id; });
    return place == std::end(kinds) ? Finding::none : place->finding;
}

} // namespace netrondo
