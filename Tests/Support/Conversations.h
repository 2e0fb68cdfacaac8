// Conversation lists from lines of text.
#pragma once

#include "Analysis/Model/CommPair.h"

#include <initializer_list>
#include <set>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo::test {

/// Text that lives as long as the program, as protocol names do.
inline std::string_view kept(std::string_view text)
{
    static std::set<std::string, std::less<>> texts;
    return *texts.emplace(text).first;
}

/// A pair from "source destination protocol packets bytes"; what is left out is "TCP", 1 and 100.
inline CommPair pair(std::string_view line)
{
    std::istringstream in{std::string(line)};
    std::string protocol = "TCP";
    CommPair made;
    made.packetCount = 1;
    made.byteCount = 100;
    in >> made.srcAddr >> made.dstAddr >> protocol >> made.packetCount;
    if (in.fail())
        made.packetCount = 1;
    else if (!(in >> made.byteCount))
        made.byteCount = 100;
    made.topProtocol = kept(protocol);
    return made;
}

inline std::vector<CommPair> pairs(std::initializer_list<std::string_view> lines)
{
    std::vector<CommPair> made;
    for (const auto line : lines)
        made.push_back(pair(line));
    return made;
}

/// The identifiers of pairs, in their order.
inline std::vector<std::string> ids(std::span<const CommPair> pairs)
{
    std::vector<std::string> found;
    for (const auto& pair : pairs)
        found.push_back(pair.id());
    return found;
}

} // namespace netrondo::test
