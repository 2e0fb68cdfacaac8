// Frame numbers and relative times around the dissection.
#include "Dissection/Decode/PacketDecoder.h"

#include "Dissection/Decode/Dissector.h"

namespace netrondo {

std::int64_t PacketDecoder::absolute(const CaptureFrame& frame) const
{
    // Times are kept in wrapping arithmetic: a file can hold any number, and only differences are shown.
    return static_cast<std::int64_t>(frame.timestampSeconds * 1'000'000'000u
                                     + frame.timestampFraction * static_cast<std::uint64_t>(fractionToNanoseconds_));
}

void PacketDecoder::skip(const CaptureFrame& frame)
{
    if (count_++ == 0)
        start_ = absolute(frame);
}

void PacketDecoder::decodeNext(const CaptureFrame& frame, DecodedFrame& decoded)
{
    skip(frame);
    decode(frame, count_, decoded);
}

void PacketDecoder::decode(const CaptureFrame& frame, std::uint64_t number, DecodedFrame& decoded) const
{
    decoded.summary.number = number;
    decoded.summary.nanoseconds =
        static_cast<std::int64_t>(static_cast<std::uint64_t>(absolute(frame)) - static_cast<std::uint64_t>(start_));
    Dissector::decode(frame, decoded.tree, decoded.summary);
}

} // namespace netrondo
