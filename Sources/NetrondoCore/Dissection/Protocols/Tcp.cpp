// Transmission Control Protocol (RFC 9293), its options (RFC 7323, 2018) and what one segment alone tells.
#include "Dissection/Protocols/Checksums.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Wire/TcpHeader.h"

#include <fmt/format.h>

namespace netrondo::tcp {
namespace {
constexpr NamedValue flagNames[] = {{tcpFlag::fin, "FIN"}, {tcpFlag::syn, "SYN"}, {tcpFlag::rst, "RST"},
                                    {tcpFlag::psh, "PSH"}, {tcpFlag::ack, "ACK"}, {tcpFlag::urg, "URG"},
                                    {tcpFlag::ece, "ECE"}, {tcpFlag::cwr, "CWR"}, {0x100, "AE"}};
constexpr NamedValue optionKinds[] = {{0, "end of options"},
                                      {1, "no operation"},
                                      {2, "MSS"},
                                      {3, "window scale"},
                                      {4, "SACK permitted"},
                                      {5, "SACK"},
                                      {8, "timestamps"},
                                      {19, "MD5 signature"},
                                      {28, "user timeout"},
                                      {29, "authentication"},
                                      {30, "multipath TCP"},
                                      {34, "fast open"},
                                      {69, "encryption negotiation"},
                                      {253, "experiment"},
                                      {254, "experiment"}};

constexpr Field sourcePort{"tcp.source", "Source port", Wire::u16};
constexpr Field destinationPort{"tcp.destination", "Destination port", Wire::u16};
constexpr Field listSourcePort{"tcp.srcport", "TCP source port", Wire::none, {}, 0, From::sourcePort, "tcp"};
constexpr Field listDestinationPort{"tcp.dstport", "TCP destination port", Wire::none, {}, 0, From::destinationPort,
                                    "tcp"};
constexpr Field eitherPort{"tcp.port", "TCP source or destination port", Wire::none, {}, 0, From::eitherPort, "tcp"};
constexpr Field sequence{"tcp.seq", "TCP sequence number", Wire::u32};
constexpr Field acknowledgment{"tcp.ack", "TCP acknowledgment number", Wire::u32};
constexpr Field headerLength{"tcp.hdrlen", "TCP header length", Wire::number};
constexpr Field flags{"tcp.flags", "TCP flags", Wire::flags16, flagNames};
constexpr Field accurate{"tcp.flag.ae", "AE: accurate ECN", Wire::bit, {}, 0x100};
constexpr Field reduced{"tcp.flag.cwr", "CWR: congestion window reduced", Wire::bit, {}, tcpFlag::cwr};
constexpr Field echo{"tcp.flag.ece", "ECE: congestion echo", Wire::bit, {}, tcpFlag::ece};
constexpr Field urgent{"tcp.flag.urg", "URG: urgent", Wire::bit, {}, tcpFlag::urg};
constexpr Field acknowledges{"tcp.flag.ack", "ACK: acknowledges", Wire::bit, {}, tcpFlag::ack};
constexpr Field push{"tcp.flag.psh", "PSH: push", Wire::bit, {}, tcpFlag::psh};
constexpr Field reset{"tcp.flag.rst", "RST: reset", Wire::bit, {}, tcpFlag::rst};
constexpr Field synchronize{"tcp.flag.syn", "SYN: opens", Wire::bit, {}, tcpFlag::syn};
constexpr Field finish{"tcp.flag.fin", "FIN: closes", Wire::bit, {}, tcpFlag::fin};
constexpr Field window{"tcp.window", "TCP window", Wire::u16};
constexpr Field checksum{"tcp.checksum", "TCP checksum", Wire::checksum16};
constexpr Field urgentPointer{"tcp.urgent", "Urgent pointer", Wire::u16};
constexpr Field payloadLength{"tcp.len", "TCP payload length", Wire::number};
constexpr Field together{"tcp.together", "Put together with earlier bytes", Wire::number};
constexpr Field option{"tcp.option", "TCP option", Wire::group, optionKinds};
constexpr Field optionKind{"tcp.option_kind", "Kind", Wire::u8, optionKinds};
constexpr Field optionLength{"tcp.option_len", "Length", Wire::u8};
constexpr Field mss{"tcp.opt.mss", "TCP MSS", Wire::u16};
constexpr Field windowScale{"tcp.opt.wscale", "TCP window scale", Wire::u8};
constexpr Field sackPermitted{"tcp.opt.sack", "SACK permitted", Wire::none};
constexpr Field sackBlock{"tcp.opt.sackblk", "SACK blocks", Wire::madeText};
constexpr Field timestamps{"tcp.opt.ts", "TCP timestamps", Wire::u32};
constexpr Field timestampEcho{"tcp.opt_ecr", "TCP timestamp echo", Wire::u32};
constexpr Field optionData{"tcp.option_data", "Data", Wire::bytes};

#define NR_FLAG(name, summary, word)                                                                                   \
    constexpr Field name                                                                                               \
    {                                                                                                                  \
        "tcp.flags." #name, summary, Wire::none, {}, 0, From::tcpFlag, word                                            \
    }
namespace list {
NR_FLAG(syn, "SYN flag", "SYN");
NR_FLAG(ack, "ACK flag", "ACK");
NR_FLAG(fin, "FIN flag", "FIN");
NR_FLAG(reset, "RST flag", "RST");
NR_FLAG(push, "PSH flag", "PSH");
NR_FLAG(urg, "URG flag", "URG");
} // namespace list
#undef NR_FLAG

// The names users know from other analysers, each tied to this program's own finding; "duplicate_ack" stands, on
// purpose, for a segment that the infrastructure duplicated.
namespace analysis {
constexpr Field retransmission{
    "tcp.analysis.retransmission", "Endpoint retransmission", Wire::none, {}, 0, From::expert, "tcp.retx.endpoint"};
constexpr Field spurious{
    "tcp.analysis.spurious_retransmission", "Spurious retransmission", Wire::none, {}, 0, From::expert, "tcp.spurious"};
constexpr Field ackedUnseen{
    "tcp.analysis.ack_lost_segment", "ACKed unseen segment", Wire::none, {}, 0, From::expert, "tcp.acked_unseen"};
constexpr Field zeroWindow{"tcp.analysis.zero_window", "Zero window", Wire::none, {}, 0, From::expert, "tcp.zerowin"};
constexpr Field duplicate{
    "tcp.analysis.duplicate_ack", "Infrastructure TCP duplicate", Wire::none, {}, 0, From::expert, "tcp.retx.infra"};
} // namespace analysis

void readSackBlocks(Layer& tcp)
{
    while (tcp.more(8)) {
        char text[24];
        const auto end = fmt::format_to_n(text, sizeof text, "{}-{}", tcp.peek32(), tcp.peek32(4)).out;
        tcp.addText(sackBlock, {text, end}, tcp.offset(), 8);
        tcp.skip(8);
    }
}

void readOption(Layer& tcp, std::uint64_t kind, std::uint64_t body)
{
    if (kind == 2 && body == 2)
        tcp.read(mss);
    else if (kind == 3 && body == 1)
        tcp.read(windowScale);
    else if (kind == 4 && body == 0)
        tcp.add(sackPermitted, 0, tcp.offset() - 2, 2);
    else if (kind == 5)
        readSackBlocks(tcp);
    else if (kind == 8 && body == 8)
        tcp.read(timestamps, timestampEcho);
    else if (body)
        tcp.readRest(optionData);
}

void readOptions(Layer& tcp, std::size_t count)
{
    const Layer::Window area(tcp, count);
    while (tcp.more()) {
        const auto kind = tcp.peek8();
        if (kind <= 1) { // padding of the common kind is not worth a group
            tcp.read(optionKind);
            continue;
        }
        const Layer::Group group(tcp, option, kind);
        tcp.read(optionKind);
        const auto size = tcp.read(optionLength);
        if (tcp.stopped())
            return;
        if (size < 2)
            return tcp.reject(optionLength);
        const Layer::Window body(tcp, size - 2);
        readOption(tcp, kind, size - 2);
    }
}

void decode(Layer& tcp)
{
    const auto from = tcp.read(sourcePort), to = tcp.read(destinationPort);
    if (tcp.stopped())
        return;
    tcp.setPorts(Transport::tcp, static_cast<std::uint16_t>(from), static_cast<std::uint16_t>(to));
    const auto number = tcp.read(sequence);
    tcp.read(acknowledgment);
    if (tcp.left() < 2)
        return static_cast<void>(tcp.read(flags));
    const auto word = tcp.peek16();
    const auto header = static_cast<std::size_t>(word >> 12) * 4;
    tcp.add(headerLength, header, tcp.offset(), 1);
    if (tcp.frame().depth == DecodeDepth::row)
        tcp.add(flags, word & 0x1ffu, tcp.offset(), 2);
    else
        tcp.addParts(flags, word & 0x1ffu, tcp.offset(), 2, accurate, reduced, echo, urgent, acknowledges, push, reset,
                     synchronize, finish);
    tcp.skip(2);
    const auto room = tcp.read(window);
    // A window of 0 in a segment that closes or resets says nothing about the receiver's room.
    if (room == 0 && !tcp.stopped() && !(word & (tcpFlag::fin | tcpFlag::rst)) && !tcp.isQuoted())
        tcp.mark(Expert::tcpZeroWindow);
    checksums::readTransport(tcp, checksum, 6, Expert::tcpChecksum);
    tcp.read(urgentPointer);
    if (tcp.stopped())
        return;
    if (header < 20)
        return tcp.reject(headerLength);
    if (header > 20)
        readOptions(tcp, header - 20);
    if (tcp.stopped())
        return;
    tcp.add(payloadLength, tcp.leftOnWire());
    const bool opens = word & tcpFlag::syn;
    if (opens)
        tcp.beginConnection(static_cast<std::uint16_t>(from), static_cast<std::uint16_t>(to));
    // The SYN takes a number of its own, before any data that comes with it (RFC 9293, 3.4).
    tcp.handOverSegment(static_cast<std::uint16_t>(from), static_cast<std::uint16_t>(to),
                        static_cast<std::uint32_t>(number) + opens, together);
}

/// The first node of each option that is told in the line.
struct Found {
    const Node *size = nullptr, *scale = nullptr, *permitted = nullptr, *time = nullptr, *echo = nullptr;
    bool hasBlocks = false;

    void note(const Node& node)
    {
        const auto isFirst = [&](const Field& field, const Node* known) { return node.field == &field && !known; };
        if (isFirst(timestamps, time))
            time = &node;
        else if (isFirst(timestampEcho, echo))
            echo = &node;
        else if (isFirst(mss, size))
            size = &node;
        else if (isFirst(windowScale, scale))
            scale = &node;
        else if (isFirst(sackPermitted, permitted))
            permitted = &node;
        else
            hasBlocks = hasBlocks || node.field == &sackBlock;
    }
};

void describeOptions(const LayerView& tcp, TextSink& out)
{
    // One look at all nodes: nearly every segment of most connections has options.
    Found found;
    for (const auto& node : tcp.nodes())
        found.note(node);
    const auto say = [&](std::string_view text, const Node* node) {
        if (node)
            out("{}{}", text, Value(tcp.tree(), node));
    };
    say(" MSS=", found.size);
    if (found.scale)
        out(" WS={}", found.scale->number < 32 ? std::uint64_t{1} << found.scale->number : 0);
    if (found.permitted)
        out(" SACK_PERM");
    if (found.hasBlocks)
        tcp.each(sackBlock, [&](const Value& block) { out(" SACK={}", block); });
    say(" TSval=", found.time);
    say(" TSecr=", found.echo);
}

void describe(const LayerView& tcp, TextSink& out)
{
    const auto from = tcp[sourcePort], to = tcp[destinationPort], seq = tcp[sequence], ack = tcp[acknowledgment];
    const auto header = tcp[headerLength], set = tcp[flags];
    out("{} → {}", from.number(), to.number());
    if (!set)
        return out(" Seq={}", seq);
    out(" [{}] Seq={}", set, seq);
    if (set.number() & tcpFlag::ack)
        out(" Ack={}", ack);
    out(" Win={}", tcp[window]);
    if (const auto length = tcp[payloadLength])
        out(" Len={}", length);
    if (header.number() > 20)
        describeOptions(tcp, out);
}

constexpr const Field* catalogue[] = {&listSourcePort,
                                      &listDestinationPort,
                                      &eitherPort,
                                      &sequence,
                                      &acknowledgment,
                                      &window,
                                      &payloadLength,
                                      &headerLength,
                                      &flags,
                                      &list::syn,
                                      &list::ack,
                                      &list::fin,
                                      &list::reset,
                                      &list::push,
                                      &list::urg,
                                      &mss,
                                      &windowScale,
                                      &sackPermitted,
                                      &sackBlock,
                                      &timestamps,
                                      &analysis::retransmission,
                                      &analysis::spurious,
                                      &analysis::ackedUnseen,
                                      &analysis::zeroWindow,
                                      &analysis::duplicate};
constexpr Claim claims[] = {ipProtocol(6)};
} // namespace

constexpr Protocol protocol{{"tcp", "TCP", Wire::layer}, catalogue, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::tcp
