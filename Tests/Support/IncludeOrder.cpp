// Rooms by height: a file includes what lies at its own height within its own room, or lower.
#include "Support/IncludeOrder.h"

#include <algorithm>
#include <fmt/format.h>

namespace netrondo::test {
namespace {
struct Room {
    std::string_view path; ///< a directory, with the slash
    int height;
};

/// The longest matching path decides. Capture/Drivers is the porch that looks up to the analysis it feeds.
constexpr Room rooms[] = {
    {"Base/", 0},   {"Capture/", 1},     {"Dissection/", 2},  {"Analysis/", 3}, {"Capture/Drivers/", 4},
    {"Circle/", 5}, {"Wireshark/", 5},   {"Report/", 5},      {"Sanitize/", 5}, {"Settings/", 5},
    {"Help/", 5},   {"NetrondoCLI/", 6}, {"NetrondoApp/", 6},
};

/// Libraries that stay outside: what names them, and the only files that may.
struct Fence {
    std::string_view header;
    std::string_view within; ///< a prefix of the file's path
};
constexpr Fence fences[] = {
    {"Q", "NetrondoApp/"}, {"zlib.h", "Capture/GzipCodec.cpp"}, {"pcap.h", "CPcapBridge/"}, {"pcap/", "CPcapBridge/"}};

const Room* roomOf(std::string_view path)
{
    const Room* best = nullptr;
    for (const auto& room : rooms)
        if (path.starts_with(room.path) && (!best || best->path.size() < room.path.size()))
            best = &room;
    return best;
}

bool isQtHeader(std::string_view target)
{
    return target.size() > 1 && target[0] == 'Q' && (target[1] == 't' || (target[1] >= 'A' && target[1] <= 'Z'));
}

bool isIn(std::string_view path, std::string_view directory)
{
    return path.starts_with(directory);
}
} // namespace

std::optional<std::string> objection(const Include& include)
{
    const std::string_view file = include.file, target = include.target;
    const auto where = fmt::format("{}:{} includes {}", file, include.line, target);

    for (const auto& fence : fences) {
        const bool named = fence.header == "Q" ? isQtHeader(target)
            : fence.header.ends_with('/')      ? target.starts_with(fence.header)
                                               : target == fence.header;
        if (named && !isIn(file, fence.within))
            return fmt::format("{}: only {} may", where, fence.within);
    }

    const auto* from = roomOf(file);
    const auto* to = roomOf(target);
    if (!from || !to)
        return std::nullopt;
    if (to->height > from->height)
        return fmt::format("{}: {} lies above {}", where, to->path, from->path);
    if (from->height == 6 && to->height == 6 && from != to)
        return fmt::format("{}: the command and the application do not share code", where);

    if (isIn(file, "Dissection/Classify/")
        && (isIn(target, "Dissection/Decode/") || isIn(target, "Dissection/Protocols/")
            || isIn(target, "Dissection/Filter/")))
        return fmt::format("{}: the fast path and decoding meet only in Wire", where);
    if (isIn(file, "Dissection/Decode/") && isIn(target, "Dissection/Classify/"))
        return fmt::format("{}: the fast path and decoding meet only in Wire", where);
    if (isIn(file, "Dissection/Wire/") && isIn(target, "Dissection/") && !isIn(target, "Dissection/Wire/"))
        return fmt::format("{}: Wire is the lowest floor of Dissection", where);
    if (isIn(file, "Dissection/Decode/") && isIn(target, "Dissection/Filter/"))
        return fmt::format("{}: filters read decoding, not the other way round", where);
    return std::nullopt;
}

std::vector<Include> includesOf(std::string_view file, std::string_view text)
{
    std::vector<Include> found;
    int number = 0;
    while (!text.empty()) {
        ++number;
        const auto end = std::min(text.find('\n'), text.size());
        auto line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));

        line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
        if (!line.starts_with("#"))
            continue;
        line.remove_prefix(1);
        line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
        if (!line.starts_with("include"))
            continue;
        const auto open = line.find_first_of("\"<");
        if (open == line.npos)
            continue;
        const auto close = line.find_first_of("\">", open + 1);
        if (close != line.npos)
            found.push_back({std::string(file), number, std::string(line.substr(open + 1, close - open - 1))});
    }
    return found;
}

} // namespace netrondo::test
