// Captures built in the test that reads them: classic pcap and pcapng, in either byte order, block by block.
//
//     const TempFile file(PcapBytes().frame(tcpSyn).frame(tcpSynAck, {.seconds = 1}));
//     const TempFile other(PcapNgBytes().section().interface(1).enhanced(0, tcpSyn));
#pragma once

#include "Support/Files.h"
#include "Support/Hex.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace netrondo::test {

enum class ByteOrder { little, big };

/// Bytes in the order of the capture's writer.
class OrderedBytes {
public:
    explicit OrderedBytes(ByteOrder order) : order_(order) { }

    void u16(std::uint64_t value) { add(value, 2); }
    void u32(std::uint64_t value) { add(value, 4); }
    void bytes(Bytes more) { bytes_.insert(bytes_.end(), more.begin(), more.end()); }
    void padTo4() { bytes_.resize((bytes_.size() + 3) / 4 * 4); }

    const std::vector<std::uint8_t>& all() const { return bytes_; }
    std::vector<std::uint8_t>& all() { return bytes_; }
    ByteOrder order() const { return order_; }

private:
    void add(std::uint64_t value, std::size_t width)
    {
        for (std::size_t i = 0; i < width; ++i)
            bytes_.push_back(static_cast<std::uint8_t>(value >> 8 * (order_ == ByteOrder::little ? i : width - 1 - i)));
    }

    ByteOrder order_;
    std::vector<std::uint8_t> bytes_;
};

/// When a frame was captured, and how long it was on the wire where that is more than its bytes.
struct FrameStamp {
    std::uint64_t seconds = 0;
    std::uint64_t fraction = 0;
    std::optional<std::uint32_t> originalLength = std::nullopt;
};

/// A classic pcap file.
class PcapBytes {
public:
    struct Header {
        ByteOrder order = ByteOrder::little;
        bool nanoseconds = false;
        std::uint32_t snaplen = 262'144;
        std::uint32_t linkType = 1;
    };

    PcapBytes() : PcapBytes(Header{}) { }
    explicit PcapBytes(const Header& header) : out_(header.order)
    {
        out_.u32(header.nanoseconds ? 0xa1b23c4d : 0xa1b2c3d4);
        out_.u16(2);
        out_.u16(4);
        out_.u32(0);
        out_.u32(0);
        out_.u32(header.snaplen);
        out_.u32(header.linkType);
    }

    PcapBytes& frame(Bytes data, const FrameStamp& stamp = {})
    {
        const auto length = static_cast<std::uint32_t>(data.size());
        return record(stamp.seconds, stamp.fraction, length, stamp.originalLength.value_or(length), data);
    }
    /// A record whose header says what it likes.
    PcapBytes& record(std::uint64_t seconds, std::uint64_t fraction, std::uint32_t included, std::uint32_t original,
                      Bytes data)
    {
        for (const auto word : {seconds, fraction, std::uint64_t{included}, std::uint64_t{original}})
            out_.u32(word);
        out_.bytes(data);
        return *this;
    }
    /// Without its last `count` bytes.
    PcapBytes& cut(std::size_t count)
    {
        out_.all().resize(out_.all().size() - count);
        return *this;
    }

    const std::vector<std::uint8_t>& bytes() const { return out_.all(); }
    operator Bytes() const { return out_.all(); }

private:
    OrderedBytes out_;
};

/// A pcapng file. Starts empty: `section` writes the section header.
class PcapNgBytes {
public:
    explicit PcapNgBytes(ByteOrder order = ByteOrder::little) : out_(order) { }

    PcapNgBytes& section()
    {
        OrderedBytes body(out_.order());
        body.u32(0x1a2b3c4d);
        body.u16(1);
        body.u16(0);
        body.u32(0xffffffff); // a section of unknown length
        body.u32(0xffffffff);
        return block(0x0a0d0d0a, body.all());
    }
    /// `options` are bytes in the writer's order, end-of-options included.
    PcapNgBytes& interface(std::uint16_t linkType, std::uint32_t snaplen = 262'144, Bytes options = {})
    {
        OrderedBytes body(out_.order());
        body.u16(linkType);
        body.u16(0);
        body.u32(snaplen);
        body.bytes(options);
        return block(1, body.all());
    }
    /// An Enhanced Packet Block; `time` is in the interface's own units.
    PcapNgBytes& enhanced(std::uint32_t interfaceID, Bytes data, std::uint64_t time = 0,
                          std::optional<std::uint32_t> originalLength = std::nullopt)
    {
        OrderedBytes body(out_.order());
        for (const auto word : {std::uint64_t{interfaceID}, time >> 32, time & 0xffffffff, std::uint64_t{data.size()},
                                std::uint64_t{originalLength.value_or(static_cast<std::uint32_t>(data.size()))}})
            body.u32(word);
        body.bytes(data);
        body.padTo4();
        return block(6, body.all());
    }
    PcapNgBytes& simple(Bytes data)
    {
        OrderedBytes body(out_.order());
        body.u32(data.size());
        body.bytes(data);
        body.padTo4();
        return block(3, body.all());
    }
    /// A block of any type whose two lengths are right.
    PcapNgBytes& block(std::uint32_t type, Bytes body)
    {
        const auto length = static_cast<std::uint32_t>(body.size() + 12);
        return block(type, body, length, length);
    }
    /// A block whose lengths say what they like.
    PcapNgBytes& block(std::uint32_t type, Bytes body, std::uint32_t length, std::uint32_t trailingLength)
    {
        out_.u32(type);
        out_.u32(length);
        out_.bytes(body);
        out_.u32(trailingLength);
        return *this;
    }
    /// Without its last `count` bytes.
    PcapNgBytes& cut(std::size_t count)
    {
        out_.all().resize(out_.all().size() - count);
        return *this;
    }

    const std::vector<std::uint8_t>& bytes() const { return out_.all(); }
    operator Bytes() const { return out_.all(); }

private:
    OrderedBytes out_;
};

/// `count` bytes that differ from one `seed` to the next.
inline std::vector<std::uint8_t> pattern(std::size_t count, std::uint8_t seed = 0)
{
    std::vector<std::uint8_t> bytes(count);
    std::ranges::generate(bytes, [value = seed]() mutable { return value = static_cast<std::uint8_t>(value * 5 + 1); });
    return bytes;
}

} // namespace netrondo::test
