// Remote Desktop: TPKT (RFC 1006), the ISO transport under it (X.224), and the negotiation that opens RDP.
#include "Dissection/Protocols/IsoTransport.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::rdp {
namespace {
constexpr NamedValue negotiations[] = {
    {1, "Negotiation Request"}, {2, "Negotiation Response"}, {3, "Negotiation Failure"}};
constexpr NamedValue protocols[] = {{0, "standard RDP security"},
                                    {1, "TLS"},
                                    {2, "CredSSP"},
                                    {3, "TLS or CredSSP"},
                                    {8, "CredSSP with early authorization"},
                                    {0xb, "TLS, CredSSP or early authorization"}};
constexpr NamedValue failures[] = {{1, "TLS required"},     {2, "TLS not allowed"},
                                   {3, "no certificate"},   {4, "inconsistent flags"},
                                   {5, "CredSSP required"}, {6, "TLS with user authentication required"}};

constexpr Field version{"rdp.tpkt_version", "TPKT version", Wire::u8};
constexpr Field reserved{"rdp.tpkt_reserved", "Reserved", Wire::u8};
constexpr Field length{"rdp.tpkt_length", "TPKT length", Wire::u16};
constexpr Field packet{"rdp.packet", "TPKT packet", Wire::group};
constexpr Field headerLength{"rdp.cotp_len", "Header length", Wire::u8};
constexpr Field pdu{"rdp.pdu", "PDU", Wire::hex8, isoTransport::pduNames};
constexpr Field destination{"rdp.dst_ref", "Destination reference", Wire::hex16};
constexpr Field source{"rdp.src_ref", "Source reference", Wire::hex16};
constexpr Field options{"rdp.class", "Class", Wire::hex8};
constexpr Field endOfData{"rdp.eot", "End of data", Wire::hex8};
constexpr Field cookie{"rdp.cookie", "Cookie", Wire::text};
constexpr Field negotiation{"rdp.negotiation", "Negotiation", Wire::u8, negotiations};
constexpr Field negotiationFlags{"rdp.negotiation_flags", "Flags", Wire::hex8};
constexpr Field negotiationLength{"rdp.negotiation_len", "Length", Wire::le16};
constexpr Field protocolsOffered{"rdp.protocols", "Security protocols", Wire::leHex32, protocols};
constexpr Field failure{"rdp.failure", "Failure", Wire::le32, failures};
constexpr Field fastPath{"rdp.fast_path", "Fast-path data", Wire::bytes};
constexpr Field data{"rdp.data", "Data", Wire::bytes};

void readNegotiation(Layer& rdp)
{
    if (asText(rdp.rest()).starts_with("Cookie: "))
        rdp.readLine(cookie);
    if (!rdp.more(8))
        return;
    const auto kind = rdp.read(negotiation);
    rdp.read(negotiationFlags, negotiationLength);
    rdp.read(kind == 3 ? failure : protocolsOffered);
}

constexpr isoTransport::Fields fields{packet,      version, reserved, length,    headerLength, pdu,
                                      destination, source,  options,  endOfData, fastPath};

void decode(Layer& rdp)
{
    isoTransport::read(rdp, fields, [](Layer& layer, std::uint64_t kind) {
        if (kind == isoTransport::request || kind == isoTransport::confirm)
            readNegotiation(layer);
        if (layer.more())
            layer.readRest(data);
    });
}

void describe(const LayerView& rdp, TextSink& out)
{
    const auto kind = rdp[pdu];
    if (!kind)
        return out("Fast-path data");
    out("{}", kind);
    if (const auto what = rdp[negotiation])
        out(", {}", what);
    if (const auto offered = rdp[protocolsOffered])
        out(": {}", offered);
    if (const auto why = rdp[failure])
        out(": {}", why);
    if (const auto text = rdp[cookie])
        out(", {}", text);
}

Likeness guess(Bytes payload, Transport transport)
{
    return transport == Transport::tcp && isoTransport::isPacket(payload) && load::be16(&payload[2]) <= payload.size()
            && (payload[5] == isoTransport::request || payload[5] == isoTransport::confirm
                || payload[5] == isoTransport::data)
        ? Likeness::likely
        : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(3389)};
} // namespace

constexpr Protocol protocol{{"rdp", "RDP", Wire::layer},   {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, 3)};
static_assert(wellFormed(protocol));
} // namespace netrondo::rdp
