// What frames need of earlier ones, by their number: with it, any frame can be decoded out of turn.
#pragma once

#include "Base/Bytes.h"

#include <array>
#include <cstdint>
#include <mutex>
#include <vector>

namespace netrondo {

struct Protocol;

/// What kind of context it is.
enum class ContextKind : std::uint8_t {
    stream,   ///< of a TCP payload: its protocol, how much of it goes on, the start of its first message
    datagram, ///< the payload of the datagram that this frame completes
    protocol, ///< a protocol's own: unpacked headers, keys
    history,  ///< findings of the streams' history, a byte each
};

struct FrameContext {
    std::uint64_t frame;
    ContextKind kind;
    const Protocol* protocol;
    std::uint32_t continued;
};

/// The contexts of one frame, taken one after the other as its dissectors ask for them. Made to be used again.
class FoundContexts {
public:
    struct Entry {
        FrameContext context;
        std::size_t offset, length;
    };
    bool empty() const { return entries_.empty(); }
    void clear()
    {
        entries_.clear();
        bytes_.clear();
    }
    void add(const FrameContext& context, Bytes bytes)
    {
        entries_.push_back({context, bytes_.size(), bytes.size()});
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    }
    /// The next one of the kind, or null; it is not given again.
    const Entry* next(ContextKind kind)
    {
        auto& at = next_[static_cast<std::size_t>(kind)];
        while (at < entries_.size() && entries_[at].context.kind != kind)
            ++at;
        return at < entries_.size() ? &entries_[at++] : nullptr;
    }
    void rewind() { next_ = {}; }
    Bytes bytesOf(const Entry& entry) const { return Bytes(bytes_).subspan(entry.offset, entry.length); }

private:
    std::vector<Entry> entries_;
    std::vector<std::uint8_t> bytes_;
    std::array<std::size_t, 4> next_{};
};

/// Frames come in order; only those with a context take room, most of them 32 bytes. Past `maxBytes` nothing more is
/// kept. One thread may add while others look up.
class FrameContexts {
public:
    static constexpr std::size_t maxBytes = 256 * 1024 * 1024;

    void add(const FrameContext& context, Bytes bytes);
    /// What was kept for the frame; `found` is emptied first.
    void find(std::uint64_t frame, FoundContexts& found) const;

private:
    struct Entry {
        std::uint64_t frame;
        const Protocol* protocol;
        std::uint32_t continued;
        std::uint32_t length : 30;
        std::uint32_t kind : 2;
        std::uint64_t offset;
    };

    mutable std::mutex mutex_;
    std::vector<Entry> entries_;
    std::vector<std::uint8_t> bytes_;
};

} // namespace netrondo
