// Protocol Independent Multicast (RFC 7761).
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::pim {
namespace {
constexpr NamedValue types[] = {{0, "Hello"},      {1, "Register"},  {2, "Register-Stop"},
                                {3, "Join/Prune"}, {4, "Bootstrap"}, {5, "Assert"},
                                {6, "Graft"},      {7, "Graft-Ack"}, {8, "Candidate-RP advertisement"}};

constexpr Field first{"pim.first", "Version and type", Wire::hex8};
constexpr Field version{"pim.version", "Version", Wire::bits, {}, 0xf0};
constexpr Field type{"pim.type", "Type", Wire::bits, types, 0x0f};
constexpr Field reserved{"pim.reserved", "Reserved", Wire::u8};
constexpr Field checksum{"pim.checksum", "Checksum", Wire::hex16};
constexpr Field optionType{"pim.option", "Option", Wire::u16};
constexpr Field optionLength{"pim.option_len", "Length", Wire::u16};
constexpr Field optionData{"pim.option_data", "Data", Wire::bytes};
constexpr Field flags{"pim.register_flags", "Flags", Wire::hex32};
constexpr Field body{"pim.body", "Body", Wire::bytes};

void decode(Layer& pim)
{
    const auto kind = pim.readParts(first, version, type) & 15;
    pim.read(reserved, checksum);
    if (kind == 0) {
        while (pim.more(4)) {
            pim.read(optionType);
            const auto size = pim.read(optionLength);
            if (size)
                pim.readBytes(optionData, size);
        }
    } else if (kind == 1) {
        pim.read(flags);
        if (pim.leftOnWire())
            pim.handOver(etherType(pim.peek8() >> 4 == 6 ? 0x86dd : 0x0800));
    } else if (pim.more()) {
        pim.readRest(body);
    }
}

void describe(const LayerView& pim, TextSink& out)
{
    out("{}", pim[type]);
}

constexpr Claim claims[] = {ipProtocol(103)};
} // namespace

constexpr Protocol protocol{{"pim", "PIM", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::pim
