// Compressing in a test what the program is to inflate.
#pragma once

#include "Base/Bytes.h"

#include <stdexcept>
#include <vector>
#define ZLIB_CONST
#include <zlib.h>

namespace netrondo::test {

/// One gzip member that holds `content`.
inline std::vector<std::uint8_t> gzipped(Bytes content)
{
    z_stream stream = {};
    if (deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, 31, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        throw std::runtime_error("deflateInit2");
    std::vector<std::uint8_t> packed(deflateBound(&stream, content.size()));
    stream.next_in = content.data();
    stream.avail_in = static_cast<uInt>(content.size());
    stream.next_out = packed.data();
    stream.avail_out = static_cast<uInt>(packed.size());
    const int code = deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    if (code != Z_STREAM_END)
        throw std::runtime_error("deflate");
    return packed;
}

} // namespace netrondo::test
