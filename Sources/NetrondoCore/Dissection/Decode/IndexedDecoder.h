// Decodes the frames of an indexed capture in any order.
#pragma once

#include "Capture/FrameIndex.h"
#include "Dissection/Decode/PacketDecoder.h"

#include <memory>

namespace netrondo {

/// A place of its own in the capture and what decoding takes; each thread has one for itself. Frames are counted from
/// 0, as in the index; their number in the summary is one more.
class IndexedDecoder {
public:
    static CaptureResult<IndexedDecoder> open(std::shared_ptr<const FrameIndex> index);

    /// The frame as it was captured, good until the next call.
    CaptureResult<CaptureFrame> fetch(std::uint32_t frame) { return fetcher_.fetch(frame); }
    std::string comment(const CaptureFrame& fetched) const { return fetcher_.comment(fetched); }
    /// Decodes a frame that was just fetched; the result views its bytes.
    void decode(const CaptureFrame& capture, std::uint32_t frame, DecodedFrame& decoded);

    /// From now on frames are decoded with what this decoder has kept of those it met in their order. It counts in
    /// nanoseconds too and has met the first frame.
    void useContextsOf(std::shared_ptr<const PacketDecoder> ordered) { ordered_ = std::move(ordered); }

    const FrameIndex& index() const { return *index_; }

private:
    IndexedDecoder(std::shared_ptr<const FrameIndex> index, FrameFetcher fetcher)
        : index_(std::move(index)), fetcher_(std::move(fetcher))
    { }

    std::shared_ptr<const FrameIndex> index_;
    FrameFetcher fetcher_;
    PacketDecoder decoder_{true}; ///< the index counts in nanoseconds, whatever the file does
    bool hasStart_ = false;
    std::shared_ptr<const PacketDecoder> ordered_;
};

} // namespace netrondo
