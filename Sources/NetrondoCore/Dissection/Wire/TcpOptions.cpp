// Reading TCP options, and what their kinds are called.
#include "Dissection/Wire/TcpOptions.h"

#include "Base/Json.h"

#include <algorithm>
#include <fmt/format.h>

namespace netrondo {
namespace {

enum Kind : std::uint8_t {
    endOfList = 0,
    padding = 1,
    mss = 2,
    windowScale = 3,
    sackPermitted = 4,
    sack = 5,
    timestamps = 8
};

// IANA's TCP Option Kind Numbers. Kinds that are only reserved or were never described stay without a name.
struct NamedKind {
    std::uint8_t kind;
    std::string_view name;
};
constexpr NamedKind kindNames[] = {
    {0, "End of Option List"},
    {1, "No-Operation"},
    {2, "Maximum Segment Size"},
    {3, "Window Scale"},
    {4, "SACK Permitted"},
    {5, "SACK"},
    {6, "Echo"},
    {7, "Echo Reply"},
    {8, "Timestamps"},
    {9, "Partial Order Connection Permitted"},
    {10, "Partial Order Service Profile"},
    {11, "CC"},
    {12, "CC.NEW"},
    {13, "CC.ECHO"},
    {14, "Alternate Checksum Request"},
    {15, "Alternate Checksum Data"},
    {16, "Skeeter"},
    {17, "Bubba"},
    {18, "Trailer Checksum"},
    {19, "MD5 Signature"},
    {20, "SCPS Capabilities"},
    {21, "Selective Negative Acknowledgements"},
    {22, "Record Boundaries"},
    {23, "Corruption Experienced"},
    {24, "SNAP"},
    {26, "Compression Filter"},
    {27, "Quick-Start Response"},
    {28, "User Timeout"},
    {29, "TCP-AO"},
    {30, "Multipath TCP"},
    {34, "Fast Open"},
    {69, "Encryption Negotiation"},
    {172, "AccECN Order 0"},
    {174, "AccECN Order 1"},
    {253, "Experiment 1"},
    {254, "Experiment 2"},
};
static_assert(std::is_sorted(std::begin(kindNames), std::end(kindNames),
                             [](const NamedKind& a, const NamedKind& b) { return a.kind < b.kind; }));

bool isCommon(std::uint8_t kind)
{
    return kind == mss || kind == windowScale || kind == sackPermitted || kind == sack || kind == timestamps;
}

/// Takes the content of one of the common options; one whose length does not fit its kind says nothing.
void readCommon(TCPOptions& options, std::uint8_t kind, Bytes content)
{
    const auto* at = content.data();
    if (kind == mss && content.size() == 2)
        options.mss = load::be16(at);
    else if (kind == windowScale && content.size() == 1)
        options.windowScale = at[0];
    else if (kind == sackPermitted && content.empty())
        options.sackPermitted = true;
    else if (kind == timestamps && content.size() == 8)
        options.timestamps = TcpTimestamps{load::be32(at), load::be32(at + 4)};
    else if (kind == sack && content.size() % 8 == 0)
        for (std::size_t i = 0; i < content.size() && options.blockCount < options.blocks.size(); i += 8)
            options.blocks[options.blockCount++] = {load::be32(at + i), load::be32(at + i + 4)};
}

} // namespace

std::vector<std::string> TCPOptions::extraNames() const
{
    std::vector<std::string> names;
    if (extraKinds.none())
        return names;
    for (unsigned kind = 0; kind < extraKinds.size(); ++kind)
        if (extraKinds[kind])
            names.push_back(tcpOptionName(static_cast<std::uint8_t>(kind)));
    std::sort(names.begin(), names.end());
    return names;
}

bool TCPOptions::empty() const
{
    return *this == TCPOptions{};
}

TCPOptions parseTcpOptions(Bytes area)
{
    TCPOptions options;
    while (!area.empty() && area[0] != endOfList) {
        if (area[0] == padding) {
            area = area.subspan(1);
            continue;
        }
        if (area.size() < 2 || area[1] < 2 || area[1] > area.size())
            break;
        const auto content = area.subspan(2, area[1] - 2u);
        if (isCommon(area[0]))
            readCommon(options, area[0], content);
        else
            options.extraKinds.set(area[0]);
        area = area.subspan(area[1]);
    }
    return options;
}

std::string tcpOptionName(std::uint8_t kind)
{
    const auto* found = std::find_if(std::begin(kindNames), std::end(kindNames),
                                     [&](const NamedKind& row) { return row.kind == kind; });
    return found != std::end(kindNames) ? std::string(found->name) : fmt::format("Option {}", kind);
}

void write(JsonWriter& json, const TCPOptions& options)
{
    const auto blocks = options.sackBlocks();
    json.beginObject();
    json.field("mss", options.mss);
    json.field("windowScale", options.windowScale);
    json.field("sackPermitted", options.sackPermitted);
    json.field("sackBlocks", std::vector<SackBlock>(blocks.begin(), blocks.end()));
    json.field("timestamps", options.timestamps);
    json.field("extraNames", options.extraNames());
    json.endObject();
}

void write(JsonWriter& json, const SackBlock& block)
{
    json.beginObject();
    json.field("left", block.left);
    json.field("right", block.right);
    json.endObject();
}

void write(JsonWriter& json, const TcpTimestamps& timestamps)
{
    json.beginObject();
    json.field("value", timestamps.value);
    json.field("echo", timestamps.echo);
    json.endObject();
}

} // namespace netrondo
