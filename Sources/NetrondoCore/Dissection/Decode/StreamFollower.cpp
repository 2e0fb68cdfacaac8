// Sequence numbers go round (RFC 9293, 3.4): they are only ever compared by how far one lies ahead of another.
#include "Dissection/Decode/StreamFollower.h"

#include "Dissection/Wire/TcpHeader.h"

#include <utility>

namespace netrondo {
namespace {
/// What one waits for that never comes: more than any window that is not scaled.
constexpr std::size_t mostWaitingBytes = 256 * 1024, mostWaiting = 512;
constexpr std::uint32_t udpHeader = 8;

/// The innermost layer of this protocol that the frame speaks itself.
const Node* layerOf(const DecodeTree& tree, std::string_view protocol)
{
    const Node* found = nullptr;
    for (const auto& layer : tree.layers())
        if (!layer.quoted && tree[layer.node].field->id == protocol)
            found = &tree[layer.node];
    return found;
}

std::optional<std::uint64_t> numberIn(const DecodeTree& tree, const Node& layer, std::string_view id)
{
    const auto first = static_cast<std::uint32_t>(&layer - tree.nodes().data()) + 1;
    for (auto i = first; i < layer.end; ++i)
        if (tree[i].field->id == id)
            return tree[i].number;
    return {};
}

Bytes bytesBehind(const DecodeTree& tree, const Node& layer, std::uint64_t header, std::uint64_t length)
{
    const auto all = layer.flags & Node::derivedBytes ? tree.ownBytes() : tree.frameBytes();
    return slice(all, layer.offset + header, length);
}

bool isSameEnd(const FrameSummary& a, const FrameSummary& b)
{
    return a.source == b.source && a.sourcePort == b.sourcePort;
}
} // namespace

void StreamFollower::add(const DecodedFrame& frame)
{
    const auto& tree = frame.tree;
    if (!first_)
        first_ = frame.summary;
    const bool isAnswer = !isSameEnd(*first_, frame.summary);
    auto& side = sides_[isAnswer];
    if (const auto* udp = layerOf(tree, "udp"); udp && frame.summary.transport == Transport::udp) {
        const auto length = numberIn(tree, *udp, "udp.length").value_or(0);
        if (length > udpHeader)
            give(side, isAnswer, frame.summary.number, bytesBehind(tree, *udp, udpHeader, length - udpHeader));
        return;
    }
    const auto* const tcp = layerOf(tree, "tcp");
    if (!tcp || frame.summary.transport != Transport::tcp)
        return;
    const auto header = numberIn(tree, *tcp, "tcp.hdrlen"), sequence = numberIn(tree, *tcp, "tcp.seq");
    const auto flags = numberIn(tree, *tcp, "tcp.flags"), length = numberIn(tree, *tcp, "tcp.len");
    if (!header || !sequence || !flags || !length)
        return; // cut within the header
    const bool opens = *flags & tcpFlag::syn;
    const auto start = static_cast<std::uint32_t>(*sequence) + opens;
    if (opens && side.next != start) { // the ports are used again, or for the first time
        while (!side.waiting.empty())
            skipGap(side, isAnswer);
        side.next = start;
    }
    addSegment(side, isAnswer, start, frame.summary.number, bytesBehind(tree, *tcp, *header, *length));
}

void StreamFollower::addSegment(Side& side, bool isAnswer, std::uint32_t sequence, std::uint64_t frame, Bytes bytes)
{
    if (bytes.empty())
        return;
    if (!side.next)
        side.next = sequence; // the capture began later than the connection
    const auto ahead = static_cast<std::int32_t>(sequence - *side.next);
    if (ahead <= 0) {
        const auto known = static_cast<std::size_t>(-static_cast<std::int64_t>(ahead));
        if (known < bytes.size()) {
            give(side, isAnswer, frame, bytes.subspan(known));
            *side.next += static_cast<std::uint32_t>(bytes.size() - known);
        }
        return giveWaiting(side, isAnswer);
    }
    if (side.waiting.empty())
        side.origin = *side.next;
    const auto [place, isNew] =
        side.waiting.try_emplace(sequence - side.origin, Waiting{frame, {bytes.begin(), bytes.end()}});
    if (isNew)
        side.waitingBytes += bytes.size();
    while (side.waiting.size() > mostWaiting || side.waitingBytes > mostWaitingBytes)
        skipGap(side, isAnswer);
}

void StreamFollower::give(Side& side, bool isAnswer, std::uint64_t frame, Bytes bytes)
{
    pieces_.push_back({frame, isAnswer, std::exchange(side.missing, 0), {bytes.begin(), bytes.end()}});
}

/// Those whose turn has come.
void StreamFollower::giveWaiting(Side& side, bool isAnswer)
{
    while (!side.waiting.empty()) {
        const auto first = side.waiting.begin();
        const auto sequence = side.origin + first->first;
        if (static_cast<std::int32_t>(sequence - *side.next) > 0)
            return;
        const auto segment = std::move(first->second);
        side.waitingBytes -= segment.bytes.size();
        side.waiting.erase(first);
        const auto known = std::size_t{*side.next - sequence};
        if (known < segment.bytes.size()) {
            give(side, isAnswer, segment.frame, Bytes(segment.bytes).subspan(known));
            *side.next += static_cast<std::uint32_t>(segment.bytes.size() - known);
        }
    }
}

void StreamFollower::skipGap(Side& side, bool isAnswer)
{
    const auto sequence = side.origin + side.waiting.begin()->first;
    side.missing += sequence - *side.next;
    side.next = sequence;
    giveWaiting(side, isAnswer);
}

void StreamFollower::end()
{
    for (const bool isAnswer : {false, true})
        while (!sides_[isAnswer].waiting.empty())
            skipGap(sides_[isAnswer], isAnswer);
}

std::vector<StreamFollower::Piece> StreamFollower::take()
{
    return std::exchange(pieces_, {});
}

} // namespace netrondo
