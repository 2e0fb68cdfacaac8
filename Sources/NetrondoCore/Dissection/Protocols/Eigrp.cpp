// Enhanced Interior Gateway Routing Protocol (RFC 7868).
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::eigrp {
namespace {
constexpr NamedValue opcodes[] = {{1, "Update"}, {2, "Request"},    {3, "Query"},     {4, "Reply"},
                                  {5, "Hello"},  {10, "SIA query"}, {11, "SIA reply"}};

constexpr Field version{"eigrp.version", "Version", Wire::u8};
constexpr Field opcode{"eigrp.opcode", "Opcode", Wire::u8, opcodes};
constexpr Field checksum{"eigrp.checksum", "Checksum", Wire::hex16};
constexpr Field flags{"eigrp.flags", "Flags", Wire::hex32};
constexpr Field sequence{"eigrp.seq", "Sequence", Wire::u32};
constexpr Field acknowledgment{"eigrp.ack", "Acknowledge", Wire::u32};
constexpr Field router{"eigrp.router", "Virtual router", Wire::u16};
constexpr Field system{"eigrp.as", "Autonomous system", Wire::u16};
constexpr Field element{"eigrp.tlv", "Element", Wire::group};
constexpr Field elementType{"eigrp.tlv_type", "Type", Wire::hex16};
constexpr Field elementLength{"eigrp.tlv_len", "Length", Wire::u16};
constexpr Field elementData{"eigrp.tlv_data", "Data", Wire::bytes};

void decode(Layer& eigrp)
{
    eigrp.read(version, opcode, checksum, flags);
    eigrp.read(sequence, acknowledgment, router, system);
    while (eigrp.more(4)) {
        const Layer::Group group(eigrp, element);
        eigrp.read(elementType);
        const auto size = eigrp.read(elementLength);
        if (size < 4)
            return eigrp.reject(elementLength);
        if (size > 4)
            eigrp.readBytes(elementData, size - 4);
    }
}

void describe(const LayerView& eigrp, TextSink& out)
{
    const auto kind = eigrp[opcode];
    const bool isAck = kind == 5 && eigrp[acknowledgment].number();
    if (isAck)
        out("Hello (acknowledges {})", eigrp[acknowledgment]);
    else
        out("{}", kind);
    out(", AS {}", eigrp[system]);
}

constexpr Claim claims[] = {ipProtocol(88), ipxSocket(0x85be)};
} // namespace

constexpr Protocol protocol{{"eigrp", "EIGRP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::eigrp
