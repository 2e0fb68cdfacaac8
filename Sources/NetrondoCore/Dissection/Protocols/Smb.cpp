// Server Message Block, versions 1 to 3 (MS-CIFS, MS-SMB2), behind the NetBIOS session service or bare on port 445.
#include "Dissection/Protocols/NetBiosNames.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/Smb1.h"
#include "Dissection/Protocols/Smb2.h"
#include "Dissection/Protocols/SmbShared.h"

namespace netrondo {

namespace nbss {
namespace {
constexpr NamedValue types[] = {{0x00, "Session message"},           {0x81, "Session request"},
                                {0x82, "Positive session response"}, {0x83, "Negative session response"},
                                {0x84, "Session retarget response"}, {0x85, "Session keep-alive"}};

constexpr Field type{"nbss.type", "Message type", Wire::hex8, types};
constexpr Field length{"nbss.length", "Length", Wire::u24};
constexpr Field error{"nbss.error", "Error", Wire::hex8};
constexpr Field called{"nbss.called", "Called name", Wire::madeText};
constexpr Field calling{"nbss.calling", "Calling name", Wire::madeText};
constexpr Field names{"nbss.names", "Names", Wire::bytes};
constexpr Field continuation{"nbss.continuation", "Continuation of a message", Wire::bytes};

void decode(Layer& nbss)
{
    while (nbss.more()) {
        if (nameIn(types, nbss.peek8()).empty() || nbss.peek8(1) > 1) {
            nbss.readRest(continuation);
            return;
        }
        nbss.beginMessage();
        const auto kind = nbss.read(type), size = nbss.read(length);
        if (nbss.stopped())
            return;
        nbss.expect(size);
        if (kind == 0 && size) {
            const Layer::Window content(nbss, size);
            if (nbss.left())
                nbss.handOver(smb::protocol);
        } else if (kind == 0x81) {
            const Layer::Window both(nbss, size);
            netBiosNames::readEncoded(nbss, called);
            netBiosNames::readEncoded(nbss, calling);
            if (nbss.more())
                nbss.readRest(names);
        } else if (kind == 0x83) {
            nbss.read(error);
        } else if (size) {
            nbss.skip(size);
        }
    }
}

void describe(const LayerView& nbss, TextSink& out)
{
    if (const auto kind = nbss[type]) {
        out("{}", kind);
        if (const auto whom = nbss[called])
            out(" to {} from {}", whom, nbss[calling]);
        return;
    }
    if (const auto rest = nbss[continuation])
        out("Continuation, {} bytes", rest.node()->length);
}

Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp || payload.size() < 8 || payload[0] != 0 || payload[1] > 1)
        return Likeness::none;
    const auto head = asText(payload.subspan(5, 3));
    return head == "SMB" && payload[4] >= 0xfc ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(139), tcpPort(445)};
} // namespace

constexpr Protocol protocol{{"nbss", "NBSS", Wire::layer}, {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, 0)};
static_assert(wellFormed(protocol));
} // namespace nbss

namespace smb {
namespace {
constexpr std::uint32_t magicEncrypted = 0xfd534d42, magicCompressed = 0xfc534d42;

constexpr Field encrypted{"smb.encrypted", "Encrypted message", Wire::bytes};
constexpr Field continuation{"smb.continuation", "Continuation of a message", Wire::bytes};

void decode(Layer& smb)
{
    switch (smb.peek32()) {
    case smb1::magic: return smb1::read(smb);
    case smb2::magic: return smb2::read(smb);
    case magicEncrypted:
    case magicCompressed: smb.readRest(encrypted); break;
    default:
        if (smb.left())
            smb.readRest(continuation);
    }
}

void describe(const LayerView& smb, TextSink& out)
{
    if (smb.has(encrypted))
        return out("Encrypted SMB3");
    if (const auto rest = smb[continuation])
        return out("Continuation, {} bytes", rest.node()->length);
    if (smb[smbShared::magic] == smb2::magic)
        smb2::describe(smb, out);
    else
        smb1::describe(smb, out);
}

constexpr const Field* catalogue[] = {&smbShared::command2};
constexpr Claim claims[] = {ipxSocket(0x0550), ipxSocket(0x0552)};
} // namespace

constexpr Protocol protocol{{"smb", "SMB", Wire::layer}, catalogue, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace smb

} // namespace netrondo
