// The table of claims, the choice of the next protocol, and the loop that runs one layer after the other.
#include "Dissection/Decode/Dissector.h"

#include "Dissection/Decode/StopFields.h"
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>
#include <array>
#include <vector>

namespace netrondo::Dissector {
namespace {

constexpr const Protocol* all[] = {
#define NR_PROTOCOL(name) &name::protocol,
#define NR_LAYER(name) &name::protocol,
#include "Dissection/Protocols/Protocols.def"
#undef NR_PROTOCOL
#undef NR_LAYER
};
static_assert(std::size(all) < 256, "the claim tables hold a protocol in a byte");

constexpr std::size_t filterNames = 0
#define NR_PROTOCOL(name) +1
#define NR_LAYER(name)
#include "Dissection/Protocols/Protocols.def"
#undef NR_PROTOCOL
#undef NR_LAYER
    ;

/// Which protocol has which number, for every list of numbers: a byte a number, 0 for nobody.
class Registry {
public:
    Registry()
    {
        for (auto& table : tables_)
            table.resize(65536);
        for (std::size_t i = 0; i < std::size(all); ++i) {
            for (const auto& claim : all[i]->claims) {
                auto& table = tables_[static_cast<std::size_t>(claim.table)];
                std::fill(table.begin() + claim.low, table.begin() + claim.high + 1, static_cast<std::uint8_t>(i + 1));
            }
            if (all[i]->guess)
                guessers_.push_back(all[i]);
        }
    }

    const Protocol* claimant(ClaimTable table, std::uint16_t number) const
    {
        const auto index = tables_[static_cast<std::size_t>(table)][number];
        return index ? all[index - 1] : nullptr;
    }
    std::span<const Protocol* const> guessers() const { return guessers_; }

private:
    std::array<std::vector<std::uint8_t>, static_cast<std::size_t>(ClaimTable::count)> tables_;
    std::vector<const Protocol*> guessers_;
};

const Registry& registry()
{
    static const Registry registry;
    return registry;
}

void run(Decoding& decoding, const PendingLayer& place)
{
    auto& tree = decoding.tree;
    const auto node = tree.size();
    const bool quoted = place.nodeFlags & Node::quoted;
    if (!tree.addLayer(*place.protocol, quoted)) {
        tree.add(stop::malformed, reinterpret_cast<std::uintptr_t>(&stop::tooManyLayers), place.offset,
                 place.end - place.offset, place.nodeFlags)
            .expert = Expert::bounded;
        decoding.pendingCount = 0;
        return;
    }
    const bool isEmbedded = place.nodeFlags & Node::embedded;
    if (!quoted && !isEmbedded && place.protocol != &data::protocol && place.protocol != &padding::protocol)
        decoding.summary.protocol = place.protocol;
    tree.add(place.protocol->field, 0, place.offset, place.end - place.offset, place.nodeFlags);
    Layer layer(decoding, place);
    const auto firstPending = decoding.pendingCount;
    if (place.continued)
        layer.readBytes(stop::continuation, place.continued);
    if (!place.continued || layer.left())
        place.protocol->decode(layer);
    layer.finish();
    tree.close(node);
    // The node of a layer stands for its header where the payload belongs to other layers.
    const auto added = decoding.pendingCount - firstPending;
    if (added && !(decoding.pending[firstPending].nodeFlags & Node::derivedBytes))
        tree.at(node).length = decoding.pending[firstPending].offset - place.offset;
    std::reverse(decoding.pending.begin() + static_cast<std::ptrdiff_t>(firstPending),
                 decoding.pending.begin() + static_cast<std::ptrdiff_t>(decoding.pendingCount));
}

} // namespace

std::span<const Protocol* const> protocols()
{
    return all;
}

std::span<const Protocol* const> filterProtocols()
{
    return std::span(all).first(filterNames);
}

const Protocol* claimant(ClaimTable table, std::uint16_t number)
{
    return registry().claimant(table, number);
}

const Protocol& dataProtocol()
{
    return data::protocol;
}

const Protocol& paddingProtocol()
{
    return padding::protocol;
}

const Protocol* byPort(Transport transport, std::uint16_t sourcePort, std::uint16_t destinationPort)
{
    const auto table = transport == Transport::tcp ? ClaimTable::tcpPort
        : transport == Transport::sctp             ? ClaimTable::sctpPort
                                                   : ClaimTable::udpPort;
    const auto [low, high] = std::minmax(sourcePort, destinationPort);
    if (const auto* protocol = registry().claimant(table, low))
        return protocol;
    return registry().claimant(table, high);
}

const Protocol* application(Bytes payload, Transport transport, std::uint16_t sourcePort, std::uint16_t destinationPort,
                            const Protocol* known)
{
    const auto* claimed = known ? known : byPort(transport, sourcePort, destinationPort);
    if (claimed && (!claimed->guess || claimed->guess(payload, transport) != Likeness::none))
        return claimed;
    const Protocol* likely = nullptr;
    for (const auto* protocol : registry().guessers()) {
        switch (protocol->guess(payload, transport)) {
        case Likeness::none: break;
        case Likeness::likely: likely = likely ? likely : protocol; break;
        case Likeness::certain: return protocol;
        }
    }
    return claimed ? claimed : likely;
}

void decode(const CaptureFrame& capture, DecodeTree& tree, FrameSummary& summary, DecodeSession* session,
            FoundContexts* contexts)
{
    tree.clear(capture.data);
    summary.source = summary.destination = {};
    summary.sourcePort = summary.destinationPort = 0;
    summary.transport = Transport::none;
    summary.protocol = &frame::protocol;
    summary.length = capture.originalLength;

    if (session)
        session->beginFrame(summary.number, summary.nanoseconds);
    Decoding decoding{tree, summary, capture, session, contexts};
    const auto size = static_cast<std::uint32_t>(capture.data.size());
    decoding.pending[0] = {
        &frame::protocol, 0, size, std::max(size, capture.originalLength), 0, false, false, false, false, 0};
    decoding.pendingCount = 1;
    while (decoding.pendingCount) {
        const auto next = decoding.pending[--decoding.pendingCount];
        run(decoding, next);
    }
    if (decoding.stream.isEntered)
        session->leaveStream(decoding.stream.outcome, decoding.stream.payload);
}

} // namespace netrondo::Dissector
