// Multiprotocol Label Switching (RFC 3032).
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::mpls {
namespace {
constexpr NamedValue labels[] = {
    {0, "IPv4 explicit null"}, {1, "router alert"}, {2, "IPv6 explicit null"}, {3, "implicit null"}};

constexpr Field entry{"mpls.entry", "Label stack entry", Wire::hex32};
constexpr Field label{"mpls.label", "Label", Wire::bits, labels, 0xfffff000};
constexpr Field trafficClass{"mpls.tc", "Traffic class", Wire::bits, {}, 0x00000e00};
constexpr Field bottom{"mpls.bottom", "Bottom of stack", Wire::bit, {}, 0x00000100};
constexpr Field ttl{"mpls.ttl", "TTL", Wire::bits, {}, 0x000000ff};
constexpr Field controlWord{"mpls.control", "Control word", Wire::hex32};

void decode(Layer& mpls)
{
    while (mpls.more()) {
        if (mpls.readParts(entry, label, trafficClass, bottom, ttl) & 0x100)
            break;
    }
    // Labels do not say what they carry: IP shows its version, a pseudowire begins with a control word of zeros.
    switch (mpls.peek8() >> 4) {
    case 4: mpls.handOver(etherType(0x0800)); break;
    case 6: mpls.handOver(etherType(0x86dd)); break;
    case 0:
        if (mpls.left() < 18)
            return mpls.handOverData();
        mpls.read(controlWord);
        mpls.handOver(linkTypeIs(1));
        break;
    default: mpls.handOverData();
    }
}

void describe(const LayerView& mpls, TextSink& out)
{
    out("MPLS label {}", mpls[label].number());
}

constexpr Claim claims[] = {etherType(0x8847), etherType(0x8848), pppProtocol(0x0281), ipProtocol(137),
                            greProtocol(0x8847)};
} // namespace

constexpr Protocol protocol{{"mpls", "MPLS", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::mpls
