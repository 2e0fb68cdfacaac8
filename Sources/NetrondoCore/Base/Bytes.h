// A span of foreign bytes, reads from it in either byte order, and a cursor that never leaves it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace netrondo {

/// Bytes that belong to somebody else: a reader's buffer, a test's array.
using Bytes = std::span<const std::uint8_t>;

/// The bytes of `bytes` from `offset` on, at most `count` of them; empty when `offset` lies behind the end.
inline Bytes slice(Bytes bytes, std::size_t offset, std::size_t count = std::dynamic_extent)
{
    if (offset >= bytes.size())
        return {};
    const auto left = bytes.size() - offset;
    return bytes.subspan(offset, count < left ? count : left);
}

inline Bytes asBytes(std::string_view text)
{
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

inline std::string_view asText(Bytes bytes)
{
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Unchecked loads; the caller has made sure that the bytes are there.
namespace load {
template <typename T> inline T native(const std::uint8_t* at)
{
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}
inline std::uint16_t be16(const std::uint8_t* at)
{
    return __builtin_bswap16(native<std::uint16_t>(at));
}
inline std::uint32_t be32(const std::uint8_t* at)
{
    return __builtin_bswap32(native<std::uint32_t>(at));
}
inline std::uint64_t be64(const std::uint8_t* at)
{
    return __builtin_bswap64(native<std::uint64_t>(at));
}
inline std::uint16_t le16(const std::uint8_t* at)
{
    return native<std::uint16_t>(at);
}
inline std::uint32_t le32(const std::uint8_t* at)
{
    return native<std::uint32_t>(at);
}
inline std::uint64_t le64(const std::uint8_t* at)
{
    return native<std::uint64_t>(at);
}
/// Six bytes as a number, as MAC addresses are kept.
inline std::uint64_t be48(const std::uint8_t* at)
{
    return std::uint64_t{be16(at)} << 32 | be32(at + 2);
}
/// Little-endian, swapped when the file's writer was of the other order: how capture files are read.
inline std::uint16_t u16(const std::uint8_t* at, bool swap)
{
    return swap ? be16(at) : le16(at);
}
inline std::uint32_t u32(const std::uint8_t* at, bool swap)
{
    return swap ? be32(at) : le32(at);
}
} // namespace load

/// Reads forward through bytes in network order. Past the end it yields zeros, moves to the end and stays failed.
class Cursor {
public:
    explicit Cursor(Bytes bytes) : bytes_(bytes) { }

    std::uint8_t u8() { return need(1) ? bytes_[offset_++] : std::uint8_t{0}; }
    std::uint16_t u16() { return need(2) ? load::be16(advance(2)) : std::uint16_t{0}; }
    std::uint32_t u32() { return need(4) ? load::be32(advance(4)) : 0; }
    std::uint64_t u64() { return need(8) ? load::be64(advance(8)) : 0; }
    /// The next `count` bytes, or none and a failure when fewer are left.
    Bytes take(std::size_t count) { return need(count) ? Bytes{advance(count), count} : Bytes{}; }
    void skip(std::size_t count) { take(count); }

    std::size_t offset() const { return offset_; }
    std::size_t left() const { return bytes_.size() - offset_; }
    Bytes rest() const { return bytes_.subspan(offset_); }
    bool failed() const { return failed_; }

private:
    bool need(std::size_t count)
    {
        if (count <= left())
            return true;
        offset_ = bytes_.size();
        failed_ = true;
        return false;
    }
    const std::uint8_t* advance(std::size_t count)
    {
        const auto* at = bytes_.data() + offset_;
        offset_ += count;
        return at;
    }

    Bytes bytes_;
    std::size_t offset_ = 0;
    bool failed_ = false;
};

} // namespace netrondo
