// Transmission Control Protocol (RFC 9293), its options (RFC 7323, 2018) and what one segment alone tells.
#include "Dissection/Protocols/Checksums.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Wire/TcpHeader.h"

#include <algorithm>
#include <bit>
#include <fmt/format.h>

namespace netrondo::tcp {
namespace {
constexpr NamedValue flagNames[] = {{tcpFlag::fin, "FIN"}, {tcpFlag::syn, "SYN"}, {tcpFlag::rst, "RST"},
                                    {tcpFlag::psh, "PSH"}, {tcpFlag::ack, "ACK"}, {tcpFlag::urg, "URG"},
                                    {tcpFlag::ece, "ECE"}, {tcpFlag::cwr, "CWR"}, {0x100, "AE"}};
static_assert(std::ranges::all_of(flagNames,
                                  [bit = 0](const NamedValue& flag) mutable { return flag.value == 1u << bit++; }));
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
constexpr Field together{"tcp.together", "Put together with bytes of other segments", Wire::number};
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

/// Goes through options as `readOptions` does, without a trace: `visit` gets each one's kind and what is there of its
/// body. False where they contradict themselves or are not all there.
template <typename Visit> bool eachOption(Bytes options, Visit visit)
{
    while (!options.empty()) {
        if (options[0] <= 1) {
            options = options.subspan(1);
            continue;
        }
        if (options.size() < 2 || options[1] < 2)
            return false;
        const std::size_t size = options[1];
        visit(options[0], size - 2, slice(options, 2, size - 2));
        if (size > options.size())
            return false;
        options = options.subspan(size);
    }
    return true;
}

constexpr std::size_t lengthAndFlags = 12; ///< where the word of both stands
constexpr std::size_t leastHeader = 20;

std::size_t headerLengthOf(Bytes segment)
{
    return segment.size() > lengthAndFlags ? static_cast<std::size_t>(segment[lengthAndFlags] >> 4) * 4 : 0;
}

Bytes optionsOf(Bytes segment)
{
    const auto header = headerLengthOf(segment);
    return header > leastHeader ? slice(segment, leastHeader, header - leastHeader) : Bytes{};
}

/// Whether reading the header would come to its end.
bool isSound(Bytes segment)
{
    const auto header = headerLengthOf(segment);
    return header >= leastHeader && header <= segment.size() && eachOption(optionsOf(segment), [](auto&&...) {});
}

/// Reads the header; false where it stops.
bool readHeader(Layer& tcp)
{
    tcp.read(sourcePort, destinationPort, sequence, acknowledgment);
    if (tcp.left() < 2)
        return tcp.read(flags), false;
    const auto word = tcp.peek16();
    const auto header = static_cast<std::size_t>(word >> 12) * 4;
    tcp.add(headerLength, header, tcp.offset(), 1);
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
        return false;
    if (header < leastHeader)
        return tcp.reject(headerLength), false;
    if (header > leastHeader)
        readOptions(tcp, header - leastHeader);
    return !tcp.stopped();
}

void decode(Layer& tcp)
{
    const auto segment = tcp.rest();
    if (segment.size() < 4)
        return tcp.read(sourcePort, destinationPort);
    const auto from = load::be16(segment.data()), to = load::be16(segment.data() + 2);
    tcp.setPorts(Transport::tcp, from, to);
    // A row says the header from its bytes.
    if (tcp.frame().depth == DecodeDepth::row && isSound(segment))
        tcp.skip(headerLengthOf(segment));
    else if (!readHeader(tcp))
        return;
    tcp.add(payloadLength, tcp.leftOnWire());
    // The SYN takes a number of its own, before any data that comes with it (RFC 9293, 3.4).
    const bool opens = segment[lengthAndFlags + 1] & tcpFlag::syn;
    const auto first = load::be32(segment.data() + 4) + opens;
    if (opens)
        tcp.beginConnection(from, to, first, segment[lengthAndFlags + 1] & tcpFlag::ack);
    tcp.handOverSegment(from, to, first, together);
}

void describeOptions(Bytes options, TextSink& out)
{
    // The first of each kind, in an order of their own: nearly every segment of most connections has options.
    const std::uint8_t *size = nullptr, *scale = nullptr, *time = nullptr, *timeEcho = nullptr;
    bool isPermitted = false, hasBlocks = false;
    eachOption(options, [&](std::uint8_t kind, std::size_t length, Bytes body) {
        const auto* const at = body.data();
        if (kind == 8 && length == 8) {
            time = !time && body.size() >= 4 ? at : time;
            timeEcho = !timeEcho && body.size() >= 8 ? at + 4 : timeEcho;
        } else if (kind == 2 && length == 2) {
            size = !size && body.size() == 2 ? at : size;
        } else if (kind == 3 && length == 1) {
            scale = !scale && !body.empty() ? at : scale;
        } else {
            isPermitted = isPermitted || (kind == 4 && length == 0);
            hasBlocks = hasBlocks || kind == 5;
        }
    });
    if (size)
        out(" MSS={}", load::be16(size));
    if (scale)
        out(" WS={}", *scale < 32 ? std::uint64_t{1} << *scale : 0);
    if (isPermitted)
        out(" SACK_PERM");
    if (hasBlocks)
        eachOption(options, [&](std::uint8_t kind, std::size_t, Bytes body) {
            for (; kind == 5 && body.size() >= 8; body = body.subspan(8))
                out(" SACK={}-{}", load::be32(body.data()), load::be32(body.data() + 4));
        });
    if (time)
        out(" TSval={}", load::be32(time));
    if (timeEcho)
        out(" TSecr={}", load::be32(timeEcho));
}

void putFlags(unsigned set, TextSink& out)
{
    if (!set)
        return out.put("0x0000");
    for (auto rest = set; rest; rest &= rest - 1) {
        if (rest != set)
            out.put(", ");
        out.put(flagNames[std::countr_zero(rest)].name);
    }
}

/// From the bytes: a row has no nodes of the header. Of a header that is cut it says what is there.
void describe(const LayerView& tcp, TextSink& out)
{
    const auto segment = tcp.bytes();
    const auto* const at = segment.data();
    const auto has = [&](std::size_t size) { return segment.size() >= size; };
    const auto port = [&](std::size_t offset) { return has(offset + 2) ? load::be16(at + offset) : std::uint16_t{0}; };
    out("{} → {}", port(0), port(2));
    if (has(14)) {
        out.put(" [");
        putFlags(load::be16(at + lengthAndFlags) & 0x1ffu, out);
        out.put(']');
    }
    out.put(" Seq=");
    if (has(8))
        out.add(load::be32(at + 4));
    if (!has(14))
        return;
    if (at[13] & tcpFlag::ack)
        out(" Ack={}", load::be32(at + 8));
    out.put(" Win=");
    if (has(16))
        out.add(load::be16(at + 14));
    if (const auto length = tcp[payloadLength])
        out(" Len={}", length.number());
    if (has(leastHeader))
        describeOptions(optionsOf(segment), out);
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
