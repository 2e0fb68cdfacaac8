// Inflating arbitrary bytes: the whole and its beginning agree, and a failure says so.
#pragma once

#include "Capture/GzipCodec.h"
#include "Targets/Input.h"

#include <algorithm>
#include <fmt/format.h>

namespace netrondo::fuzz {

inline void gzip(Bytes input)
{
    const int packed = memoryFile(input);
    const int output = memoryFile({});
    const auto path = fmt::format("/proc/self/fd/{}", packed);
    const auto prefix = GzipCodec::inflatePrefix(path, 100);
    const auto most = GzipCodec::inflatePrefix(path, 70'000);
    FileHandle from(packed), to(output);

    const auto whole = GzipCodec::decompress(from, output, "memory");
    if (!whole)
        return NR_ASSERT(whole.error().kind == CaptureError::Kind::io);
    NR_ASSERT(prefix && most && !prefix->empty());
    NR_ASSERT(::lseek(output, 0, SEEK_SET) == 0);
    const auto inflated = to.peek(70'000);
    NR_ASSERT(inflated && std::ranges::equal(*inflated, *most));
    NR_ASSERT(std::ranges::equal(inflated->first(std::min<std::size_t>(100, inflated->size())), *prefix));
}

} // namespace netrondo::fuzz
