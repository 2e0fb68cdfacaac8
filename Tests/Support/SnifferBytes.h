// NetXRay and Windows Sniffer captures built in the test that reads them, of every version and with every oddity.
//
//     const TempFile file(SnifferBytes({.version = "002.001"}).frame(1'500'000, tcpSyn), "a.cap");
#pragma once

#include "Support/Captures.h"

#include <string_view>

namespace netrondo::test {

class SnifferBytes {
public:
    struct Header {
        std::string_view version = "002.001";
        std::uint32_t startSeconds = 1'000'000'000;
        std::uint64_t startTicks = 0;
        std::uint8_t network = 0; ///< Ethernet
        std::uint8_t networkCoding = 0;
        std::uint8_t captureType = 0;
        std::uint8_t timeUnit = 0;
        std::uint32_t realTicks = 0; ///< a second
    };

    SnifferBytes() : SnifferBytes(Header{}) { }
    explicit SnifferBytes(const Header& header) : hasLongRecords_(header.version.starts_with("002"))
    {
        out_.bytes(hex("58435000"));
        out_.bytes(asBytes(header.version));
        out_.all().resize(128);
        put32(12, header.startSeconds);
        put32(24, 128);
        put32(28, 128);
        out_.all()[44] = header.network;
        out_.all()[45] = header.networkCoding;
        out_.all()[48] = header.timeUnit;
        put32(52, static_cast<std::uint32_t>(header.startTicks));
        put32(56, static_cast<std::uint32_t>(header.startTicks >> 32));
        put32(76, header.realTicks);
        out_.all()[84] = header.captureType;
    }

    /// `original` is the length on the wire; with `hasTrailer` the record says that its last 4 bytes are not data.
    SnifferBytes& frame(std::uint64_t ticks, Bytes data, std::optional<std::uint16_t> original = std::nullopt,
                        bool hasTrailer = false)
    {
        const auto begin = out_.all().size();
        const auto length = static_cast<std::uint16_t>(data.size() + (hasTrailer ? 4 : 0));
        out_.u32(ticks & 0xffffffff);
        out_.u32(ticks >> 32);
        out_.u16(original.value_or(length));
        out_.u16(length);
        out_.all().resize(begin + (hasLongRecords_ ? 40 : 28));
        if (hasTrailer)
            out_.all()[begin + 14] = out_.all()[begin + 15] = 0xff;
        out_.bytes(data);
        if (hasTrailer)
            out_.bytes(hex("deadbeef"));
        put32(28, static_cast<std::uint32_t>(out_.all().size()));
        ++count_;
        put32(16, count_);
        return *this;
    }
    /// Bytes that the header does not know of.
    SnifferBytes& leftovers(Bytes bytes)
    {
        out_.bytes(bytes);
        return *this;
    }
    /// As if the buffer had wrapped: the records from offset `oldest` on come first, those before `newestEnd` last.
    SnifferBytes& wrapped(std::uint32_t oldest, std::uint32_t newestEnd)
    {
        put32(24, oldest);
        put32(28, newestEnd);
        return *this;
    }
    SnifferBytes& cut(std::size_t count)
    {
        out_.all().resize(out_.all().size() - count);
        return *this;
    }

    std::uint32_t size() const { return static_cast<std::uint32_t>(out_.all().size()); }
    const std::vector<std::uint8_t>& bytes() const { return out_.all(); }
    operator Bytes() const { return out_.all(); }

private:
    void put32(std::size_t at, std::uint32_t value)
    {
        for (std::size_t i = 0; i < 4; ++i)
            out_.all()[at + i] = static_cast<std::uint8_t>(value >> 8 * i);
    }

    OrderedBytes out_{ByteOrder::little};
    bool hasLongRecords_;
    std::uint32_t count_ = 0;
};

} // namespace netrondo::test
