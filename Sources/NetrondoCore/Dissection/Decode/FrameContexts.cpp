// Entries in the order of their frames, bytes behind one another.
#include "Dissection/Decode/FrameContexts.h"

#include <algorithm>

namespace netrondo {

void FrameContexts::add(const FrameContext& context, Bytes bytes)
{
    const std::lock_guard lock(mutex_);
    if (entries_.size() * sizeof(Entry) + bytes_.size() + bytes.size() > maxBytes)
        return;
    entries_.push_back({context.frame, context.protocol, context.continued,
                        static_cast<std::uint32_t>(bytes.size()) & 0x3fff'ffff,
                        static_cast<std::uint32_t>(context.kind) & 3, bytes_.size()});
    bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
}

void FrameContexts::find(std::uint64_t frame, FoundContexts& found) const
{
    found.clear();
    found.rewind();
    const std::lock_guard lock(mutex_);
    for (const auto& entry : std::ranges::equal_range(entries_, frame, {}, &Entry::frame))
        found.add({frame, static_cast<ContextKind>(entry.kind), entry.protocol, entry.continued},
                  Bytes(bytes_).subspan(entry.offset, entry.length));
}

} // namespace netrondo
