// Lists of findings from lines of text.
#pragma once

#include "Analysis/Expert/CaptureExpertSummary.h"

#include <initializer_list>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo::test {

/// A finding from "id severity host host count firstFrame"; "-" for no host, and what is left out is "-", 1 and 1.
inline ExpertFinding finding(std::string_view line)
{
    std::istringstream in{std::string(line)};
    std::string id, severity, a = "-", b = "-";
    ExpertFinding made;
    made.count = made.firstFrame = 1;
    in >> id >> severity >> a >> b;
    if (!(in >> made.count))
        made.count = 1;
    else if (!(in >> made.firstFrame))
        made.firstFrame = 1;
    made.finding = findingOf(id);
    if (made.finding == Finding::none || !severityOf(severity))
        throw std::logic_error("no such finding or severity: " + std::string(line));
    made.severity = *severityOf(severity);
    made.lastFrame = made.firstFrame;
    made.evidence = {static_cast<std::uint32_t>(made.firstFrame)};
    for (const auto& [text, host] : {std::pair(a, &made.hosts[0]), std::pair(b, &made.hosts[1])})
        if (text != "-")
            *host = Address::parse(text).value();
    return made;
}

inline std::vector<ExpertFinding> findings(std::initializer_list<std::string_view> lines)
{
    std::vector<ExpertFinding> made;
    for (const auto line : lines)
        made.push_back(finding(line));
    return made;
}

} // namespace netrondo::test
