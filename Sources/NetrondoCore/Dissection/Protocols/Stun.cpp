// Session Traversal Utilities for NAT (RFC 8489) and TURN (RFC 8656).
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::stun {
namespace {
constexpr std::uint32_t magic = 0x2112a442;

constexpr NamedValue methods[] = {{1, "Binding"}, {3, "Allocate"},          {4, "Refresh"},      {6, "Send"},
                                  {7, "Data"},    {8, "Create Permission"}, {9, "Channel Bind"}, {10, "Connect"}};
constexpr NamedValue classes[] = {{0, "request"}, {1, "indication"}, {2, "success"}, {3, "error"}};
constexpr NamedValue attributeNames[] = {{0x0001, "MAPPED-ADDRESS"},
                                         {0x0003, "CHANGE-REQUEST"},
                                         {0x0004, "SOURCE-ADDRESS"},
                                         {0x0005, "CHANGED-ADDRESS"},
                                         {0x0006, "USERNAME"},
                                         {0x0008, "MESSAGE-INTEGRITY"},
                                         {0x0009, "ERROR-CODE"},
                                         {0x000a, "UNKNOWN-ATTRIBUTES"},
                                         {0x000c, "CHANNEL-NUMBER"},
                                         {0x000d, "LIFETIME"},
                                         {0x0012, "XOR-PEER-ADDRESS"},
                                         {0x0013, "DATA"},
                                         {0x0014, "REALM"},
                                         {0x0015, "NONCE"},
                                         {0x0016, "XOR-RELAYED-ADDRESS"},
                                         {0x0019, "REQUESTED-TRANSPORT"},
                                         {0x0020, "XOR-MAPPED-ADDRESS"},
                                         {0x0024, "PRIORITY"},
                                         {0x0025, "USE-CANDIDATE"},
                                         {0x8020, "XOR-MAPPED-ADDRESS"},
                                         {0x8022, "SOFTWARE"},
                                         {0x8023, "ALTERNATE-SERVER"},
                                         {0x8028, "FINGERPRINT"},
                                         {0x8029, "ICE-CONTROLLED"},
                                         {0x802a, "ICE-CONTROLLING"},
                                         {0x802b, "RESPONSE-ORIGIN"},
                                         {0x802c, "OTHER-ADDRESS"}};
constexpr NamedValue families[] = {{1, "IPv4"}, {2, "IPv6"}};

constexpr Field type{"stun.type", "Message type", Wire::hex16};
constexpr Field method{"stun.method", "Method", Wire::number, methods};
constexpr Field messageClass{"stun.class", "Class", Wire::number, classes};
constexpr Field length{"stun.length", "Length", Wire::u16};
constexpr Field cookie{"stun.cookie", "Magic cookie", Wire::hex32};
constexpr Field transaction{"stun.id", "Transaction ID", Wire::bytes};
constexpr Field attribute{"stun.attribute", "Attribute", Wire::number, attributeNames};
constexpr Field attributeType{"stun.attr_type", "Type", Wire::hex16, attributeNames};
constexpr Field attributeLength{"stun.attr_len", "Length", Wire::u16};
constexpr Field family{"stun.family", "Family", Wire::u8, families};
constexpr Field port{"stun.port", "Port", Wire::number};
constexpr Field ipv4{"stun.address", "Address", Wire::ipv4};
constexpr Field ipv6{"stun.address6", "Address", Wire::madeText};
constexpr Field text{"stun.text", "Text", Wire::text};
constexpr Field error{"stun.error", "Error code", Wire::number};
constexpr Field number{"stun.number", "Value", Wire::u32};
constexpr Field data{"stun.data", "Data", Wire::bytes};

void readAddress(Layer& stun, bool masked, Bytes id)
{
    stun.skip(1);
    const auto kind = stun.read(family);
    if (stun.left() < 6)
        return;
    const auto hide = masked ? magic : 0u;
    stun.add(port, stun.peek16() ^ hide >> 16, stun.offset(), 2);
    stun.skip(2);
    if (kind == 1) {
        stun.add(ipv4, stun.peek32() ^ hide, stun.offset(), 4);
        stun.skip(4);
    } else if (kind == 2 && stun.left() >= 16 && id.size() == 12) {
        std::uint8_t address[16];
        for (std::size_t i = 0; i < 16; ++i) {
            const auto mask = i < 4 ? static_cast<std::uint8_t>(magic >> (24 - 8 * i)) : id[i - 4];
            address[i] = static_cast<std::uint8_t>(stun.rest()[i] ^ (masked ? mask : 0));
        }
        char written[Address::maxText];
        stun.addText(ipv6, {written, Address::ipv6(address).write(written)}, stun.offset(), 16);
        stun.skip(16);
    }
}

void readAttribute(Layer& stun, std::uint64_t kind, Bytes id)
{
    switch (kind) {
    case 0x0001:
    case 0x0004:
    case 0x0005:
    case 0x8023:
    case 0x802b:
    case 0x802c: readAddress(stun, false, id); break;
    case 0x0012:
    case 0x0016:
    case 0x0020:
    case 0x8020: readAddress(stun, true, id); break;
    case 0x0006:
    case 0x0014:
    case 0x0015:
    case 0x8022: stun.readText(text, stun.left()); break;
    case 0x0009:
        if (stun.left() >= 4) {
            stun.add(error, (stun.peek8(2) & 7u) * 100u + stun.peek8(3), stun.offset() + 2, 2);
            stun.skip(4);
            stun.readText(text, stun.left());
        }
        break;
    case 0x000d:
    case 0x0024: stun.read(number); break;
    default: break;
    }
    if (stun.more())
        stun.readRest(data);
}

void decode(Layer& stun)
{
    const auto kind = stun.peek16();
    stun.read(type);
    if (stun.stopped())
        return;
    // The class is in bits 4 and 8, the method around them (RFC 8489, 5).
    stun.add(messageClass, (kind >> 4 & 1u) | (kind >> 7 & 2u), stun.offset() - 2, 2);
    stun.add(method, (kind & 0xfu) | (kind >> 1 & 0x70u) | (kind >> 2 & 0xf80u), stun.offset() - 2, 2);
    const auto size = stun.read(length);
    stun.read(cookie);
    const auto id = stun.readBytes(transaction, 12);
    const Layer::Window message(stun, size);
    while (stun.more()) {
        const Layer::Group group(stun, attribute, stun.peek16());
        const auto which = stun.read(attributeType), bytes = stun.read(attributeLength);
        {
            const Layer::Window content(stun, bytes);
            readAttribute(stun, which, id);
        }
        const auto padding = (4 - bytes % 4) % 4;
        if (stun.more(padding))
            stun.skip(padding);
    }
}

void describe(const LayerView& stun, TextSink& out)
{
    out("{} {}", stun[method], stun[messageClass]);
    bool isTold = false;
    stun.each(attribute, [&](const Value& entry) {
        const LayerView one(stun.tree(), static_cast<std::uint32_t>(entry.node() - stun.tree().nodes().data()));
        if (isTold || !one.has(port)) // the first attribute with an address
            return;
        isTold = true;
        if (const auto address = one[ipv4])
            out(" {}:{}", address, one[port]);
        else if (const auto other = one[ipv6])
            out(" [{}]:{}", other, one[port]);
    });
    if (const auto code = stun[error])
        out(", error {}", code);
    if (const auto name = stun[text])
        out(" “{}”", name);
}

Likeness guess(Bytes payload, Transport)
{
    return payload.size() >= 20 && payload[0] < 0x40 && load::be32(&payload[4]) == magic ? Likeness::certain
                                                                                         : Likeness::none;
}

constexpr Claim claims[] = {udpPort(3478), tcpPort(3478)};
} // namespace

constexpr Protocol protocol{
    {"stun", "STUN", Wire::layer}, {}, claims, decode, describe, guess, Opening{.firstBytes = {}}.orBytes(0, 0x3f)};
static_assert(wellFormed(protocol));
} // namespace netrondo::stun
