// Arbitrary payloads of one family of protocols, several frames in a row: messages go on, pieces are put together.
#pragma once

#include "Targets/Decode.h"

#include <array>
#include <deque>
#include <span>
#include <vector>

namespace netrondo::fuzz {

/// How a payload comes to its dissector.
struct Way {
    enum class Carrier : std::uint8_t { ether, llc, ciscoSnap, ip, ip6, udp, tcp, ipx, frame } carrier;
    std::uint16_t number; ///< EtherType, SAP, protocol, port, socket, or link type
};

namespace way {
constexpr Way ether(std::uint16_t type)
{
    return {Way::Carrier::ether, type};
}
constexpr Way llc(std::uint16_t sap)
{
    return {Way::Carrier::llc, sap};
}
constexpr Way ip(std::uint16_t protocol)
{
    return {Way::Carrier::ip, protocol};
}
constexpr Way ip6(std::uint16_t protocol)
{
    return {Way::Carrier::ip6, protocol};
}
constexpr Way udp(std::uint16_t port)
{
    return {Way::Carrier::udp, port};
}
constexpr Way tcp(std::uint16_t port)
{
    return {Way::Carrier::tcp, port};
}
constexpr Way ipx(std::uint16_t socket)
{
    return {Way::Carrier::ipx, socket};
}
constexpr Way link(LinkType type)
{
    return {Way::Carrier::frame, static_cast<std::uint16_t>(type)};
}
} // namespace way

/// Puts headers around a payload. Streams go on from frame to frame; the way back has the ports exchanged.
class FrameMaker {
public:
    explicit FrameMaker(const Way& way) : way_(way) { }

    std::vector<std::uint8_t> make(Bytes payload, bool isBack)
    {
        bytes_.clear();
        switch (way_.carrier) {
        case Way::Carrier::frame: break;
        case Way::Carrier::ether: put(macs), put16(way_.number); break;
        case Way::Carrier::llc:
            put(macs), put16(payload.size() + 3),
                put({static_cast<std::uint8_t>(way_.number), static_cast<std::uint8_t>(way_.number), 3});
            break;
        case Way::Carrier::ciscoSnap:
            put(macs), put16(payload.size() + 8), put({0xaa, 0xaa, 3, 0, 0, 0x0c}), put16(way_.number);
            break;
        case Way::Carrier::ip: putIp(static_cast<std::uint8_t>(way_.number), payload.size(), isBack); break;
        case Way::Carrier::ip6:
            put(macs), put({0x86, 0xdd, 0x60, 0, 0, 0}), put16(payload.size());
            put({static_cast<std::uint8_t>(way_.number), 64});
            for (std::uint8_t i = 0; i < 32; ++i)
                put({i});
            break;
        case Way::Carrier::udp:
            putIp(17, 8 + payload.size(), isBack), putPorts(isBack), put16(8 + payload.size()), put16(0);
            break;
        case Way::Carrier::tcp:
            putIp(6, 20 + payload.size(), isBack), putPorts(isBack);
            put16(next_[isBack] >> 16), put16(next_[isBack] & 0xffff);
            put({0, 0, 0, 0, 0x50, 0x18, 1, 0, 0, 0, 0, 0});
            next_[isBack] += static_cast<std::uint32_t>(payload.size());
            break;
        case Way::Carrier::ipx:
            put(macs), put({0x81, 0x37, 0xff, 0xff}), put16(30 + payload.size()), put({0, 0});
            put({0, 0, 0, 1, 2, 0, 0, 0, 0, 1}), put16(way_.number), put({0, 0, 0, 1, 2, 0, 0, 0, 0, 2}), put16(0x4000);
            break;
        }
        put(payload);
        return bytes_;
    }

private:
    static constexpr std::array<std::uint8_t, 12> macs{2, 0, 0, 0, 0, 1, 2, 0, 0, 0, 0, 2};

    void put(Bytes bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
    void put(std::initializer_list<std::uint8_t> bytes) { bytes_.insert(bytes_.end(), bytes); }
    void put16(std::size_t number) { put({static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)}); }
    void putIp(std::uint8_t protocol, std::size_t size, bool isBack)
    {
        put(macs), put({8, 0, 0x45, 0}), put16(20 + size), put({0, 1, 0, 0, 64, protocol, 0, 0});
        put({10, 0, 0, static_cast<std::uint8_t>(1 + isBack), 10, 0, 0, static_cast<std::uint8_t>(2 - isBack)});
    }
    void putPorts(bool isBack) { put16(isBack ? way_.number : 40'000), put16(isBack ? 40'000 : way_.number); }

    Way way_;
    std::vector<std::uint8_t> bytes_;
    std::array<std::uint32_t, 2> next_{1000, 0xffff'fff0};
};

/// The first byte chooses the way; then every frame is two bytes of length, the highest bit for the way back, and its
/// payload. Out of turn each frame must decode to what it was in its turn.
inline void decodeFamily(std::span<const Way> ways, Bytes input)
{
    if (input.empty())
        return;
    const auto& chosen = ways[input[0] % ways.size()];
    input = input.subspan(1);
    FrameMaker maker(chosen);
    PacketDecoder decoder(false, PacketDecoder::Keep::contexts);
    struct Met {
        std::vector<std::uint8_t> bytes;
        std::vector<std::pair<const Field*, std::uint64_t>> nodes;
    };
    std::deque<Met> met;
    static DecodedFrame decoded;
    const auto viewOf = [&](const Met& frame) {
        CaptureFrame view;
        view.linkType =
            chosen.carrier == Way::Carrier::frame ? static_cast<LinkType>(chosen.number) : LinkType::ethernet;
        view.data = frame.bytes;
        view.timestampSeconds = 1'700'000'000;
        view.capturedLength = view.originalLength = static_cast<std::uint32_t>(frame.bytes.size());
        return view;
    };
    const auto nodesOf = [] {
        std::vector<std::pair<const Field*, std::uint64_t>> nodes;
        for (const auto& node : decoded.tree.nodes())
            nodes.emplace_back(node.field, node.number);
        return nodes;
    };
    while (input.size() >= 2 && met.size() < 32) {
        const auto word = load::be16(input.data());
        const auto payload = slice(input, 2, word & 0x7fffu);
        auto& frame = met.emplace_back();
        frame.bytes = maker.make(payload, word & 0x8000);
        decoder.decodeNext(viewOf(frame), decoded);
        checkDecoded(decoded);
        frame.nodes = nodesOf();
        input = input.subspan(2 + payload.size());
    }
    for (std::size_t i = 0; i < met.size(); ++i) {
        decoder.decode(viewOf(met[i]), i + 1, decoded);
        NR_ASSERT(nodesOf() == met[i].nodes);
    }
}

} // namespace netrondo::fuzz
