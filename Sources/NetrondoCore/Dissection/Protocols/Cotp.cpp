// The ISO transport service on its own port (RFC 1006), and what controllers say over it.
#include "Dissection/Protocols/IsoTransport.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::cotp {
namespace {
// X.224, 13.3.4 and 13.4.4.
constexpr NamedValue parameters[] = {{0xc0, "TPDU size"}, {0xc1, "calling TSAP"}, {0xc2, "called TSAP"}};

constexpr Field packet{"cotp.packet", "TPKT packet", Wire::group};
constexpr Field version{"cotp.tpkt_version", "TPKT version", Wire::u8};
constexpr Field reserved{"cotp.tpkt_reserved", "Reserved", Wire::u8};
constexpr Field length{"cotp.tpkt_length", "TPKT length", Wire::u16};
constexpr Field headerLength{"cotp.header_len", "Header length", Wire::u8};
constexpr Field pdu{"cotp.pdu", "PDU", Wire::hex8, isoTransport::pduNames};
constexpr Field destination{"cotp.dst_ref", "Destination reference", Wire::hex16};
constexpr Field source{"cotp.src_ref", "Source reference", Wire::hex16};
constexpr Field options{"cotp.class", "Class, or why it is disconnected", Wire::hex8};
constexpr Field endOfData{"cotp.eot", "End of data", Wire::hex8};
constexpr Field parameter{"cotp.parameter", "Parameter", Wire::number, parameters};
constexpr Field parameterCode{"cotp.parameter_code", "Code", Wire::hex8, parameters};
constexpr Field parameterLength{"cotp.parameter_len", "Length", Wire::u8};
constexpr Field tpduSize{"cotp.tpdu_size", "TPDU size (power of two)", Wire::u8};
constexpr Field calling{"cotp.calling_tsap", "Calling TSAP", Wire::bytes};
constexpr Field called{"cotp.called_tsap", "Called TSAP", Wire::bytes};
constexpr Field data{"cotp.data", "Data", Wire::bytes};

constexpr isoTransport::Fields fields{packet,      version, reserved, length,    headerLength, pdu,
                                      destination, source,  options,  endOfData, data};

void readParameters(Layer& cotp)
{
    while (cotp.more(2)) {
        const Layer::Group group(cotp, parameter, cotp.peek8());
        const auto code = cotp.read(parameterCode), size = cotp.read(parameterLength);
        const Layer::Window value(cotp, size);
        if (code == 0xc0)
            cotp.read(tpduSize);
        else
            cotp.readRest(code == 0xc1 ? calling : code == 0xc2 ? called : data);
    }
}

void decode(Layer& cotp)
{
    isoTransport::read(cotp, fields, [](Layer& layer, std::uint64_t kind) {
        if (kind == isoTransport::request || kind == isoTransport::confirm)
            readParameters(layer);
        else if (kind == isoTransport::data && layer.peek8() == 0x32)
            layer.handOver(s7comm::protocol);
        else
            layer.readRest(data);
    });
}

void describe(const LayerView& cotp, TextSink& out)
{
    const auto kind = cotp[pdu];
    if (!kind)
        return out("Data, {} bytes", cotp.bytes().size());
    out("{}", kind);
    if (const auto who = cotp[called])
        out(", called TSAP {}", who);
    if (const auto bytes = cotp[data])
        out(", {} bytes", bytes.node()->length);
    if (const auto packets = cotp.count(packet); packets > 1)
        out(" (and {} more packets)", packets - 1);
}

constexpr Claim claims[] = {tcpPort(102)};
} // namespace

constexpr Protocol protocol{{"cotp", "COTP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::cotp
