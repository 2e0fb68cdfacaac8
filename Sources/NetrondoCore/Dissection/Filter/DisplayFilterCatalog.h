// The names a display filter may use: protocols and fields, what each is called and where its values come from.
#pragma once

#include "Base/Json.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace netrondo {

/// How a field's values are drawn from a decoded frame.
struct DisplayFilterExtractor {
    enum class Kind : std::uint8_t {
        proto,          ///< whether the frame carries the protocol
        tree,           ///< the values of the decode tree's nodes with this identifier
        trees,          ///< of several identifiers, one after the other
        summarySrcPort, ///< the summary's ports, when its transport is this protocol
        summaryDstPort,
        summaryEitherPort,
        flagsContains, ///< whether the TCP flags hold this word
        expert,        ///< whether the frame carries this finding
        experts,       ///< or any of these
        summarySource, ///< the columns of the packet list
        summaryDest,
        summaryEitherHost,
        summaryLength,
        summaryTime,
        summaryNumber,
    };

    Kind kind;
    std::vector<std::string_view> payload; ///< one for most kinds, several for `trees` and `experts`, else none

    friend bool operator==(const DisplayFilterExtractor&, const DisplayFilterExtractor&) = default;
};

std::string_view caseName(DisplayFilterExtractor::Kind kind);

struct DisplayFilterField {
    std::string_view name;    ///< lower case, dotted
    std::string_view summary; ///< what a person calls it
    DisplayFilterExtractor extractor;
    std::vector<std::string_view> aliases; ///< further spellings, which users bring with them

    std::vector<std::string_view> allNames() const;

    friend bool operator==(const DisplayFilterField&, const DisplayFilterField&) = default;
};

/// Built on first use and read-only from then on; any thread may use it.
namespace DisplayFilterCatalog {

/// All entries in the order in which completion and help show them.
std::span<const DisplayFilterField> fields();
/// The field of that name or alias, in whatever case; null when there is none.
const DisplayFilterField* field(std::string_view name);
bool isKnown(std::string_view name);

} // namespace DisplayFilterCatalog

/// The entry as JSON: `name`, `aliases`, `summary`, `extractor`.
void write(JsonWriter& json, const DisplayFilterField& field);

} // namespace netrondo
