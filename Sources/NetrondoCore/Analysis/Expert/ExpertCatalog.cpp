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
