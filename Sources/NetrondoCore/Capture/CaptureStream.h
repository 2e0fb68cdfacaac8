// A capture that arrives piece by piece on a pipe or a socket, read by the readers of files.
#pragma once

#include "Capture/CaptureReading.h"
#include "Capture/FileHandle.h"

#include <functional>
#include <memory>
#include <optional>

namespace netrondo {

/// Reads pcap or pcapng, whichever the first bytes announce, as far as it has come; it never waits. What is not asked
/// for stays with the sender: no more of the stream is kept than one window, or one record where that is longer.
class CaptureStream {
public:
    /// Takes over the descriptor and keeps it from blocking.
    explicit CaptureStream(int descriptor);

    /// To wait on: readable when there may be frames, or the end.
    int descriptor() const { return descriptor_; }

    /// Fills `frames` from its start with frames that are there; they are good until the next call. 0: there are none
    /// now, or none will come (`hasEnded`). After an error, which what is no capture gives, too, nothing more comes.
    CaptureResult<std::size_t> nextBatch(std::span<CaptureFrame> frames);
    bool hasEnded() const { return hasEnded_; }
    /// Whether the stream ended in the middle of a header or record, which is lost then.
    bool isCut() const;

    /// What the frames come from; null until the stream's header is there.
    const CaptureReading* reading() const { return reader_.get(); }

    /// A captured length beyond this cannot be one: the stream is damaged or out of step.
    static constexpr std::uint32_t longestFrame = 262'144;

private:
    CaptureResult<std::size_t> take(std::span<CaptureFrame> frames);
    CaptureResult<bool> open();
    template <typename Reader> CaptureResult<bool> openAs(std::uint64_t longestRecord);
    bool endIsReached() const;

    int descriptor_;
    std::optional<FileHandle> handle_; ///< until there is a reader, which takes it over
    std::unique_ptr<CaptureReading> reader_;
    std::function<bool()> isMidRecord_;
    bool hasEnded_ = false;
    std::optional<CaptureError> error_;
};

} // namespace netrondo
