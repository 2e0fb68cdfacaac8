// Frame numbers and relative times around the dissection.
#include "Dissection/Decode/PacketDecoder.h"

#include "Dissection/Decode/Dissector.h"
#include "Dissection/Decode/FrameHistory.h"

namespace netrondo {

PacketDecoder::PacketDecoder(bool isNanosecond, Keep keep)
    : fractionToNanoseconds_(isNanosecond ? 1 : 1000)
    , contexts_(keep == Keep::contexts ? std::make_unique<FrameContexts>() : nullptr)
    , session_(std::make_unique<DecodeSession>(contexts_.get()))
{ }

std::int64_t PacketDecoder::absolute(const CaptureFrame& frame) const
{
    // Times are kept in wrapping arithmetic: a file can hold any number, and only differences are shown.
    return static_cast<std::int64_t>(frame.timestampSeconds * 1'000'000'000u
                                     + frame.timestampFraction * static_cast<std::uint64_t>(fractionToNanoseconds_));
}

void PacketDecoder::number(const CaptureFrame& frame, std::uint64_t number, FrameSummary& summary) const
{
    summary.number = number;
    summary.nanoseconds =
        static_cast<std::int64_t>(static_cast<std::uint64_t>(absolute(frame)) - static_cast<std::uint64_t>(start_));
}

void PacketDecoder::skip(const CaptureFrame& frame)
{
    if (count_++ == 0)
        start_ = absolute(frame);
}

void PacketDecoder::decodeNext(const CaptureFrame& frame, DecodedFrame& decoded)
{
    skip(frame);
    decodeCounted(frame, decoded);
}

void PacketDecoder::decodeCounted(const CaptureFrame& frame, DecodedFrame& decoded, DecodeDepth depth,
                                  const std::optional<OrdinaryHeaders>* known)
{
    number(frame, count_, decoded.summary);
    Dissector::decode(frame, decoded.tree, decoded.summary, session_.get(), nullptr, depth, known);
}

void PacketDecoder::mark(DecodedFrame& decoded, std::span<const Expert> findings)
{
    if (findings.empty())
        return;
    markHistory(decoded, findings);
    static_assert(sizeof(Expert) == 1);
    if (contexts_)
        contexts_->add({count_, ContextKind::history, nullptr, 0},
                       {reinterpret_cast<const std::uint8_t*>(findings.data()), findings.size()});
}

void PacketDecoder::decode(const CaptureFrame& frame, std::uint64_t number, DecodedFrame& decoded) const
{
    this->number(frame, number, decoded.summary);
    if (contexts_)
        contexts_->find(number, decoded.contexts);
    Dissector::decode(frame, decoded.tree, decoded.summary, nullptr, contexts_ ? &decoded.contexts : nullptr);
    if (const auto* found = contexts_ ? decoded.contexts.next(ContextKind::history) : nullptr) {
        const auto bytes = decoded.contexts.bytesOf(*found);
        markHistory(decoded, {reinterpret_cast<const Expert*>(bytes.data()), bytes.size()});
    }
}

} // namespace netrondo
