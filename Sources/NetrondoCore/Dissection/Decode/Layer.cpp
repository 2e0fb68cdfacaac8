// The parts of reading that are not worth inlining: text, limits, the end of a layer and the way to the next one.
#include "Dissection/Decode/Layer.h"

#include "Dissection/Decode/Dissector.h"
#include "Dissection/Decode/StopFields.h"

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
{ }

std::uint64_t Layer::stopAt(const Field& field, std::size_t)
{
    if (stopped_)
        return 0;
    stopped_ = true;
    stopField_ = &field;
    stopOffset_ = offset_;
    isCutStop_ = isCut();
    stopExpert_ = isCutStop_ ? Expert::cut : isStream_ || isQuoted() ? Expert::none : Expert::malformed;
    return 0;
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
    stopExpert_ = Expert::malformed;
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
    layer.end_ = target_;
    layer.wireEnd_ = static_cast<std::uint32_t>(layer.offset_ + std::min(count, layer.leftOnWire()));
}

Layer::Window::~Window()
{
    layer_.end_ = end_;
    layer_.wireEnd_ = wireEnd_;
    if (layer_.stopped_)
        return;
    layer_.offset_ = target_;
    if (tooLong_)
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
    decoding_.pending[decoding_.pendingCount++] = {&protocol,        offset_, offset_ + size,
                                                   offset_ + onWire, flags,   isStream_};
    passedCut_ = passedCut_ || onWire > size;
    offset_ += size;
}

void Layer::embed(const Protocol& protocol, std::size_t count)
{
    const auto before = decoding_.pendingCount;
    handOver(protocol, count);
    if (decoding_.pendingCount > before)
        decoding_.pending[before].nodeFlags |= Node::embedded;
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
    if (!protocol) {
        handOverData();
        return false;
    }
    handOver(*protocol);
    return true;
}

void Layer::handOverOwn(const Protocol& protocol, std::size_t offset, std::size_t count)
{
    if (stopped_ || decoding_.pendingCount == Decoding::maxPending)
        return;
    const auto end = static_cast<std::uint32_t>(offset + count);
    decoding_.pending[decoding_.pendingCount++] = {
        &protocol, static_cast<std::uint32_t>(offset), end, end, static_cast<std::uint8_t>(flags_ | Node::derivedBytes),
        isStream_};
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
