// What can be wrong in a capture: the table of all findings, with their texts.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace netrondo {

enum class Finding : std::uint8_t {
    none,
#define NR_FINDING(name, ...) name,
#include "Analysis/Expert/ExpertCatalog.def"
#undef NR_FINDING
    count
};

enum class Severity : std::uint8_t { info, note, warning, error };

/// Where a finding lies: the capture itself, or a layer of the network.
enum class ExpertLayer : std::uint8_t { capture, physical, link, network, transport, application };

/// "info", "note", "warning" or "error".
std::string_view rawValue(Severity severity);
/// "capture", "L1", "L2", "L3", "L4" or "L7".
std::string_view rawValue(ExpertLayer layer);
std::optional<Severity> severityOf(std::string_view rawValue);
std::optional<ExpertLayer> layerOf(std::string_view rawValue);

/// A row of the catalogue. The texts hold placeholders, which `ExpertText` fills in.
struct FindingKind {
    Finding finding;
    std::string_view id; ///< "tcp.zerowin"
    Severity severity;   ///< usual; a single finding may be milder or worse
    ExpertLayer layer;
    std::string_view title, happened, why;
    std::string_view causes, steps; ///< several, separated by "|"
    std::string_view falsifier;     ///< what would show that it is none
};

/// How sure a finding of this kind is where nothing else speaks for or against it, 0 to 1: what a frame says itself is
/// certain, what is inferred is not.
double usualConfidence(Finding finding);

const FindingKind& kindOf(Finding finding);
/// All findings in the order of the catalogue.
std::span<const FindingKind> findingKinds();
/// By its id, `none` for an unknown one.
Finding findingOf(std::string_view id);

} // namespace netrondo
