// Times count from the capture's first frame, wherever decoding begins.
#include "Dissection/Decode/IndexedDecoder.h"

namespace netrondo {

CaptureResult<IndexedDecoder> IndexedDecoder::open(std::shared_ptr<const FrameIndex> index)
{
    NR_TRY(auto fetcher, index->fetcher());
    return IndexedDecoder(std::move(index), std::move(fetcher));
}

void IndexedDecoder::decode(const CaptureFrame& capture, std::uint32_t frame, DecodedFrame& decoded)
{
    if (ordered_)
        return ordered_->decode(capture, std::uint64_t{frame} + 1, decoded);
    if (!hasStart_) {
        CaptureFrame first;
        first.timestampFraction = static_cast<std::uint64_t>(index_->nanoseconds(0));
        decoder_.skip(first);
        hasStart_ = true;
    }
    decoder_.decode(capture, std::uint64_t{frame} + 1, decoded);
}

} // namespace netrondo
