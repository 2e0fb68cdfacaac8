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
                addGuesser(*all[i]);
        }
    }

    const Protocol* claimant(ClaimTable table, std::uint16_t number) const
    {
        const auto index = tables_[static_cast<std::size_t>(table)][number];
        return index ? all[index - 1] : nullptr;
    }
    /// Those whose guess is worth asking for a payload that begins like this one.
    std::span<const Protocol* const> guessers(Transport transport, Bytes payload) const
    {
        if (payload.empty())
            return {};
        return guessers_[static_cast<std::size_t>(transport)][payload[0]];
    }

private:
    static constexpr std::size_t transports = static_cast<std::size_t>(Transport::udpLite) + 1;

    void addGuesser(const Protocol& protocol)
    {
        for (std::size_t transport = 0; transport < transports; ++transport)
            for (std::size_t byte = 0; byte < 256; ++byte)
                if (protocol.opening.allows(static_cast<Transport>(transport), static_cast<std::uint8_t>(byte)))
                    guessers_[transport][byte].push_back(&protocol);
    }

    std::array<std::vector<std::uint8_t>, static_cast<std::size_t>(ClaimTable::count)> tables_;
    std::array<std::array<std::vector<const Protocol*>, 256>, transports> guessers_;
};

const Registry& registry()
{
    static const Registry registry;
    return registry;
}

/// Puts the transport's layer first: what stands before it is taken as read.
void beginAtTransport(Decoding& decoding, const OrdinaryHeaders& headers)
{
    decoding.networkSource = decoding.summary.source = headers.source();
    decoding.networkDestination = decoding.summary.destination = headers.destination();
    const auto* const frame = decoding.capture.data.data();
    const auto begin = static_cast<std::uint32_t>(headers.transport - frame);
    const auto end = static_cast<std::uint32_t>(headers.payload.data() + headers.payload.size() - frame);
    const auto& protocol = headers.isTcp ? tcp::protocol : udp::protocol;
    decoding.pending[0] = {&protocol, begin, end, end, 0, false, false, false, false, 0};
}

/// `place` is good until the layer hands something over.
void run(Decoding& decoding, const PendingLayer& place)
{
    auto& tree = decoding.tree;
    const auto& protocol = *place.protocol;
    const auto offset = place.offset, end = place.end, continued = place.continued;
    const auto flags = place.nodeFlags;
    const auto node = tree.size();
    const bool quoted = flags & Node::quoted;
    if (!tree.addLayer(protocol, quoted)) {
        tree.add(stop::malformed, reinterpret_cast<std::uintptr_t>(&stop::tooManyLayers), offset, end - offset, flags)
            .expert = Expert::bounded;
        decoding.pendingCount = 0;
        return;
    }
    if (!quoted && !(flags & Node::embedded) && &protocol != &data::protocol && &protocol != &padding::protocol)
        decoding.summary.protocol = &protocol;
    tree.add(protocol.field, 0, offset, end - offset, flags);
    Layer layer(decoding, place);
    const auto firstPending = decoding.pendingCount;
    if (continued)
        layer.readBytes(stop::continuation, continued);
    if (!continued || layer.left())
        protocol.decode(layer);
    layer.finish();
    tree.close(node);
    // The node of a layer stands for its header where the payload belongs to other layers.
    const auto added = decoding.pendingCount - firstPending;
    if (added && !(decoding.pending[firstPending].nodeFlags & Node::derivedBytes))
        tree.at(node).length = decoding.pending[firstPending].offset - offset;
    if (added > 1)
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
    for (const auto* protocol : registry().guessers(transport, payload)) {
        switch (protocol->guess(payload, transport)) {
        case Likeness::none: break;
        case Likeness::likely: likely = likely ? likely : protocol; break;
        case Likeness::certain: return protocol;
        }
    }
    return claimed ? claimed : likely;
}

void decode(const CaptureFrame& capture, DecodeTree& tree, FrameSummary& summary, DecodeSession* session,
            FoundContexts* contexts, DecodeDepth depth, const std::optional<OrdinaryHeaders>* known)
{
    tree.clear(capture.data);
    summary.source = summary.destination = {};
    summary.sourcePort = summary.destinationPort = 0;
    summary.transport = Transport::none;
    summary.protocol = &frame::protocol;
    summary.length = capture.originalLength;

    if (session)
        session->beginFrame(summary.number, summary.nanoseconds);
    Decoding decoding{tree, summary, capture, session, contexts, depth};
    const auto found = depth == DecodeDepth::row && !known ? OrdinaryHeaders::find(capture) : std::nullopt;
    if (const auto& headers = known ? *known : found; headers && depth == DecodeDepth::row) {
        beginAtTransport(decoding, *headers);
    } else {
        const auto size = static_cast<std::uint32_t>(capture.data.size());
        decoding.pending[0] = {
            &frame::protocol, 0, size, std::max(size, capture.originalLength), 0, false, false, false, false, 0};
    }
    decoding.pendingCount = 1;
    // A place is taken where it stands: its parts have just been written one by one, and a copy would wait for them.
    while (decoding.pendingCount)
        run(decoding, decoding.pending[--decoding.pendingCount]);
    if (decoding.stream.isEntered && session->leaveStream(decoding.stream.outcome, decoding.stream.payload))
        decode(capture, tree, summary, session, contexts, depth, known); // now in its turn, so this once
}

} // namespace netrondo::Dissector
