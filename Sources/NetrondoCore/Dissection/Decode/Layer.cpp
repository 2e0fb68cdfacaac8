// The parts of reading that are not worth inlining: text, limits, the end of a layer and the way to the next one.
#include "Dissection/Decode/Layer.h"

#include "Dissection/Decode/Dissector.h"
#include "Dissection/Decode/StopFields.h"

#include <algorithm>

namespace netrondo {

Layer::Layer(Decoding& decoding, const PendingLayer& place)
    : decoding_(decoding)
    , tree_(decoding.tree)
    , base_(place.nodeFlags & Node::derivedBytes ? decoding.tree.ownBytes().data() : decoding.tree.frameBytes().data())
    , begin_(place.offset)
    , offset_(place.offset)
    , end_(place.end)
    , wireEnd_(place.wireEnd)
    , flags_(place.nodeFlags)
    , isStream_(place.isStream)
    , isSegment_(place.isSegment)
    , isBare_(place.isBare)
    , continued_(place.continued)
    , shortWindows_(place.isPiece)
{ }

std::uint64_t Layer::stopAt(const Field& field, std::size_t need)
{
    if (stopped_)
        return 0;
    if (!missing_ && need > left())
        missing_ = need - left();
    // A message that is all there has no excuse for contents that reach beyond it.
    const bool mayGoOn = (isStream_ && !(windows_ && !shortWindows_)) || isQuoted();
    stopped_ = true;
    stopField_ = &field;
    stopOffset_ = offset_;
    isCutStop_ = isCut();
    stopExpert_ = isCutStop_ ? Expert::cut : mayGoOn ? Expert::none : Expert::malformed;
    return 0;
}

void Layer::readSome(std::initializer_list<const Field*> fields)
{
    for (const auto* field : fields)
        read(*field);
}

void Layer::reject(const Field& reason)
{
    if (stopped_)
        return;
    if (left() == 0 && isCut()) // not the bytes' fault: they were not kept
        return static_cast<void>(stopAt(reason, 1));
    stopped_ = true;
    stopField_ = &reason;
    stopOffset_ = offset_;
    // What looks wrong in a message that is not all there may come right with the rest of it.
    stopExpert_ = isStream_ && shortWindows_ ? Expert::none : Expert::malformed;
}

Bytes Layer::readBytes(const Field& field, std::size_t count)
{
    if (stopped_ || left() < count) {
        stopAt(field, count);
        return {};
    }
    const Bytes bytes{at(), count};
    add(field, 0, offset_, count);
    offset_ += static_cast<std::uint32_t>(count);
    return bytes;
}

std::string_view Layer::readText(const Field& field, std::size_t count)
{
    return asText(readBytes(field, count));
}

std::string_view Layer::readZeroText(const Field& field)
{
    if (stopped_)
        return {};
    const auto all = asText(rest());
    const auto zero = all.find('\0');
    const auto text = all.substr(0, zero);
    add(field, 0, offset_, text.size());
    offset_ += static_cast<std::uint32_t>(text.size() + (zero != all.npos ? 1 : 0));
    return text;
}

std::string_view Layer::readLine(const Field& field)
{
    if (stopped_)
        return {};
    const auto all = asText(rest());
    const auto feed = all.find('\n');
    auto line = all.substr(0, feed);
    const auto consumed = line.size() + (feed != all.npos ? 1 : 0);
    if (line.ends_with('\r'))
        line.remove_suffix(1);
    add(field, 0, offset_, line.size());
    offset_ += static_cast<std::uint32_t>(consumed);
    return line;
}

void Layer::skip(std::size_t count)
{
    if (stopped_ || left() < count)
        stopAt(stop::skipped, count);
    else
        offset_ += static_cast<std::uint32_t>(count);
}

Layer::Window::Window(Layer& layer, std::size_t count)
    : layer_(layer)
    , end_(layer.end_)
    , wireEnd_(layer.wireEnd_)
    , target_(static_cast<std::uint32_t>(layer.offset_ + std::min(count, layer.left())))
    , tooLong_(count > layer.left())
{
    ++layer.windows_;
    if (tooLong_) {
        ++layer.shortWindows_;
        if (!layer.missing_)
            layer.missing_ = count - layer.left();
    }
    layer.end_ = target_;
    layer.wireEnd_ = static_cast<std::uint32_t>(layer.offset_ + std::min(count, layer.leftOnWire()));
}

Layer::Window::~Window()
{
    layer_.end_ = end_;
    layer_.wireEnd_ = wireEnd_;
    --layer_.windows_;
    layer_.shortWindows_ = static_cast<std::uint16_t>(layer_.shortWindows_ - tooLong_);
    if (layer_.stopped_)
        return;
    layer_.offset_ = target_;
    if (tooLong_ && !(layer_.isCut() && layer_.passedCut_)) // else an inner layer tells
        layer_.stopAt(stop::skipped, 0);
}

void Layer::handOver(const Protocol& protocol, std::size_t count)
{
    handedOver_ = true;
    if (stopped_ || decoding_.pendingCount == Decoding::maxPending)
        return;
    const auto size = static_cast<std::uint32_t>(std::min(count, left()));
    const auto onWire = static_cast<std::uint32_t>(std::min(count, leftOnWire()));
    const auto flags = static_cast<std::uint8_t>(flags_ | (decoding_.quotes ? Node::quoted : 0));
    auto& next = decoding_.pending[decoding_.pendingCount++];
    const bool goesOn = isStream_ && leftOnWire() < count; // a message that is all there is no piece of one
    next = {&protocol, offset_, offset_ + size, offset_ + onWire, flags, goesOn, false, goesOn && count != SIZE_MAX,
            false,     0};
    passedCut_ = passedCut_ || onWire > size;
    offset_ += size;
}

void Layer::embed(const Protocol& protocol, std::size_t count)
{
    const auto before = decoding_.pendingCount;
    handOver(protocol, count);
    embedFrom(before);
}

void Layer::embedOwn(const Protocol& protocol, std::size_t offset, std::size_t count)
{
    const auto before = decoding_.pendingCount;
    handOverOwn(protocol, offset, count);
    embedFrom(before);
}

void Layer::embedCopy(const Protocol& protocol, Bytes bytes)
{
    const auto before = decoding_.pendingCount;
    handOverCopy(protocol, bytes);
    embedFrom(before);
}

void Layer::embedFrom(std::size_t pendingCount)
{
    if (decoding_.pendingCount > pendingCount)
        decoding_.pending[pendingCount].nodeFlags |= Node::embedded;
}

void Layer::handOverData(std::size_t count)
{
    handedOver_ = true;
    if (leftOnWire() && count)
        handOver(Dissector::dataProtocol(), count);
}

void Layer::endHere()
{
    handedOver_ = true;
    if (left())
        handOver(Dissector::paddingProtocol());
}

bool Layer::handOver(std::initializer_list<Claim> claims, std::size_t count)
{
    for (const auto& claim : claims) {
        if (const auto* protocol = Dissector::claimant(claim.table, claim.low)) {
            handOver(*protocol, count);
            return true;
        }
    }
    handOverData(count);
    return false;
}

bool Layer::handOverPayload(Transport transport, std::uint16_t sourcePort, std::uint16_t destinationPort)
{
    handedOver_ = true;
    if (!leftOnWire())
        return false;
    const auto* protocol = Dissector::application(rest(), transport, sourcePort, destinationPort);
    if (!protocol)
        protocol = protocolOfConnection(transport);
    if (!protocol) {
        handOverData();
        return false;
    }
    handOver(*protocol);
    return true;
}

/// By earlier datagrams of the connection.
const Protocol* Layer::protocolOfConnection(Transport transport)
{
    if (!decoding_.session || isQuoted()) {
        const auto* found = decoding_.contexts ? decoding_.contexts->next(ContextKind::stream) : nullptr;
        return found ? found->context.protocol : nullptr;
    }
    const auto* protocol = decoding_.session->protocolOf(placeIn(transport).key);
    if (protocol)
        decoding_.session->keep(ContextKind::stream, protocol, 0, {});
    return protocol;
}

void Layer::handOverOwn(const Protocol& protocol, std::size_t offset, std::size_t count)
{
    if (stopped_ || decoding_.pendingCount == Decoding::maxPending)
        return;
    const auto end = static_cast<std::uint32_t>(offset + count);
    auto& next = decoding_.pending[decoding_.pendingCount++];
    next = {&protocol,
            static_cast<std::uint32_t>(offset),
            end,
            end,
            static_cast<std::uint8_t>(flags_ | Node::derivedBytes),
            isStream_,
            false,
            false,
            isBare_,
            0};
}

void Layer::handOverSegment(std::uint16_t sourcePort, std::uint16_t destinationPort, std::uint32_t sequence,
                            const Field& together)
{
    handedOver_ = true;
    isStream_ = true;
    if (!leftOnWire())
        return;
    auto& stream = decoding_.stream;
    StreamContext context;
    if (decoding_.session && !isQuoted() && !decoding_.isFragment && !stream.isEntered
        && decoding_.networkSource.isIp()) {
        const auto place = ConnectionPlace::of(Transport::tcp, decoding_.networkSource, sourcePort,
                                               decoding_.networkDestination, destinationPort);
        context = decoding_.session->enterStream(place, sequence, static_cast<std::uint32_t>(leftOnWire()), !isCut());
        stream.isEntered = true;
        stream.payload = rest();
    } else if (const auto* found = decoding_.contexts ? decoding_.contexts->next(ContextKind::stream) : nullptr) {
        context = DecodeSession::streamContext(*found, decoding_.contexts->bytesOf(*found));
    }
    if (context.continued && context.protocol->guess
        && context.protocol->guess(rest(), Transport::tcp) == Likeness::certain)
        context.continued = 0; // the message ended early, as answers to HEAD do
    const bool goesOn = context.continued || !context.before.empty();
    const auto* protocol = goesOn
        ? context.protocol
        : Dissector::application(rest(), Transport::tcp, sourcePort, destinationPort, context.protocol);
    if (!protocol)
        return handOverData();
    stream.outcome.protocol = protocol;
    stream.outcome.isLearned = !goesOn && protocol != context.protocol && protocol->guess
        && protocol != Dissector::byPort(Transport::tcp, sourcePort, destinationPort)
        && protocol->guess(rest(), Transport::tcp) == Likeness::certain;
    const auto at = decoding_.pendingCount;
    const auto continued = std::min(context.continued, static_cast<std::uint32_t>(left()));
    if (!context.isTogether() || !handOverTogether(*protocol, context, together))
        handOver(*protocol);
    if (decoding_.pendingCount == at)
        return;
    decoding_.pending[at].isSegment = stream.isEntered;
    decoding_.pending[at].continued = continued;
}

bool Layer::handOverTogether(const Protocol& protocol, const StreamContext& context, const Field& together)
{
    const auto others = context.before.size() + context.after.size();
    const auto room = tree_.makeBytes(others + left());
    if (room.empty())
        return false;
    auto own = std::ranges::copy(context.before, room.begin()).out;
    own = std::ranges::copy(rest(), own).out;
    std::ranges::copy(context.after, own);
    add(together, others, offset_, left());
    offset_ = end_;
    handOverOwn(protocol, static_cast<std::size_t>(room.data() - tree_.ownBytes().data()), room.size());
    return true;
}

bool Layer::handOverDatagram(const DatagramPiece& piece, Claim claim, const Field& together)
{
    Bytes whole;
    if (decoding_.session && !isQuoted() && piece.bytes.size() <= left())
        whole = decoding_.session->datagram(piece);
    else if (const auto* found = decoding_.contexts ? decoding_.contexts->next(ContextKind::datagram) : nullptr)
        whole = decoding_.contexts->bytesOf(*found);
    if (whole.empty())
        return false;
    const auto size = std::min(piece.bytes.size(), left());
    add(together, whole.size(), offset_, size);
    offset_ += static_cast<std::uint32_t>(size);
    decoding_.isFragment = false;
    handedOver_ = true;
    const auto* protocol = Dissector::claimant(claim.table, claim.low);
    handOverCopy(protocol ? *protocol : Dissector::dataProtocol(), whole);
    return true;
}

void Layer::beginConnection(std::uint16_t sourcePort, std::uint16_t destinationPort, std::uint32_t sequence,
                            bool isAnswer)
{
    if (decoding_.session && !isQuoted())
        decoding_.session->begin(ConnectionPlace::of(Transport::tcp, decoding_.networkSource, sourcePort,
                                                     decoding_.networkDestination, destinationPort),
                                 sequence, isAnswer);
}

ConnectionPlace Layer::placeIn(Transport transport)
{
    return ConnectionPlace::of(transport, decoding_.networkSource, summary().sourcePort, decoding_.networkDestination,
                               summary().destinationPort);
}

std::unique_ptr<ProtocolMemory>* Layer::memorySlot(Transport transport, Ways ways)
{
    if (!decoding_.session || isQuoted() || decoding_.session->isRepeated())
        return nullptr;
    auto place = placeIn(transport);
    if (ways == Ways::both)
        place.way = 0;
    return decoding_.session->memory(place);
}

void Layer::handOverCopy(const Protocol& protocol, Bytes bytes)
{
    const auto room = tree_.makeBytes(bytes.size());
    if (room.empty())
        return;
    std::ranges::copy(bytes, room.begin());
    handOverOwn(protocol, static_cast<std::size_t>(room.data() - tree_.ownBytes().data()), room.size());
}

void Layer::leaveMessage()
{
    auto& outcome = decoding_.stream.outcome;
    outcome.isAnew = hasMessage_ && message_ == begin_;
    outcome.hasMessages = hasMessage_;
    outcome.skip = goesOn_;
    if (goesOn_ || !hasMessage_ || !stopped_ || isCutStop_ || stopExpert_ != Expert::none)
        return;
    outcome.pending = {base_ + message_, static_cast<std::size_t>(end_ - message_)};
    outcome.needed = outcome.pending.size() + missing_;
}

void Layer::setEndpoints(const Address& source, const Address& destination)
{
    decoding_.networkSource = source;
    decoding_.networkDestination = destination;
    if (isQuoted())
        return;
    summary().source = source;
    summary().destination = destination;
}

void Layer::setPorts(Transport transport, std::uint16_t source, std::uint16_t destination)
{
    if (isQuoted())
        return;
    summary().transport = transport;
    summary().sourcePort = source;
    summary().destinationPort = destination;
}

void Layer::finish()
{
    if (!stopped_ && !handedOver_ && left())
        readRest(stop::undecoded);
    if (!stopped_ && tree_.full()) {
        reject(stop::tooManyNodes);
        stopExpert_ = Expert::bounded;
    }
    if (isCut() && !passedCut_)
        stopAt(stop::skipped, 1);
    if (isSegment_)
        leaveMessage();
    if (stopped_) {
        const auto& field = isCutStop_    ? stop::cut
            : stopExpert_ != Expert::none ? stop::malformed
            : isQuoted()                  ? stop::quoteEnds
                                          : stop::continues;
        auto& node = add(field, reinterpret_cast<std::uintptr_t>(stopField_), stopOffset_, end_ - stopOffset_);
        node.expert = stopExpert_;
        return;
    }
}

} // namespace netrondo
