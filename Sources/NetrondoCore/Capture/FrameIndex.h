// Where every frame of a capture lies and when it came, so that any of them can be read again at once.
#pragma once

#include "Base/AppendLog.h"
#include "Capture/CaptureReading.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>

namespace netrondo {

class FrameFetcher;

/// 16 bytes a frame, gathered in one pass. One thread builds it with `extend`; any thread may ask for what is there so
/// far, and a file that grows is taken up again by extending once more. Frames are counted from 0 here.
class FrameIndex {
public:
    /// Opens the capture; compressed ones are inflated first. Nothing is indexed yet.
    static CaptureResult<std::shared_ptr<FrameIndex>> open(const std::filesystem::path& path);
    /// The same for a reader that has given no frame yet.
    static CaptureResult<std::shared_ptr<FrameIndex>> of(std::unique_ptr<CaptureReading> reader);

    /// Shown every frame of a pass, before others can fetch it.
    using Watch = std::function<void(const CaptureFrame& frame)>;

    /// Reads on to the present end of the capture, or until it is told to stop. The frames before an error stay; the
    /// end of a file in the middle of a record is none, since the rest may still be on its way (`isCut` tells).
    CaptureResult<void> extend(const std::stop_token& stop = {}, const Watch& watch = {});

    std::uint32_t count() const { return entries_.size(); }
    /// Capture time in nanoseconds since 1970, whatever unit the file counts in.
    std::int64_t nanoseconds(std::uint32_t frame) const { return entries_[frame].nanoseconds; }

    /// How far the pass has come in the file, and how large the file is; 0 when unknown.
    CaptureReading::Position position() const { return {offset_, size_}; }
    /// The file ended within a record the last time it was read.
    bool isCut() const { return isCut_; }
    CaptureFormat format() const { return reader_->format(); }

    /// Reads frames of this index, with a place of its own in the file; each thread takes one for itself.
    CaptureResult<FrameFetcher> fetcher() const;

private:
    friend class FrameFetcher;

    struct Entry {
        std::uint64_t offset : 48;
        std::uint64_t linkType : 16; ///< what the reader took the frame for when it first met it
        std::int64_t nanoseconds;
    };
    static_assert(sizeof(Entry) == 16);

    explicit FrameIndex(std::unique_ptr<CaptureReading> reader) : reader_(std::move(reader)) { }

    std::unique_ptr<CaptureReading> reader_;
    mutable std::mutex lock_; ///< of the reader: it reads on while a second one is made from it
    AppendLog<Entry> entries_;
    std::atomic<std::uint64_t> offset_ = 0;
    std::atomic<std::uint64_t> size_ = 0;
    std::atomic<bool> isCut_ = false;
};

/// Reads single frames of an index. It keeps a small window of the file, so that neighbours cost nothing more.
class FrameFetcher {
public:
    /// A frame with its bytes, good until the next call. Its fraction is nanoseconds, whatever unit the file counts in.
    /// An error when the file no longer holds the frame.
    CaptureResult<CaptureFrame> fetch(std::uint32_t frame);
    /// What the file itself remarks on the frame that was fetched last, in lines; empty for nothing.
    std::string comment(const CaptureFrame& fetched) const;

private:
    friend class FrameIndex;
    FrameFetcher(const FrameIndex& index, std::unique_ptr<CaptureReading> reader)
        : index_(&index), reader_(std::move(reader))
    { }

    const FrameIndex* index_;
    std::unique_ptr<CaptureReading> reader_;
};

} // namespace netrondo
