// Secure Shell transport (RFC 4253): the banners, and the key exchange before encryption begins.
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/TextLines.h"

namespace netrondo::ssh {
namespace {
constexpr NamedValue messages[] = {{1, "Disconnect"},         {2, "Ignore"},
                                   {3, "Unimplemented"},      {4, "Debug"},
                                   {5, "Service Request"},    {6, "Service Accept"},
                                   {20, "Key Exchange Init"}, {21, "New Keys"},
                                   {30, "Key Exchange (30)"}, {31, "Key Exchange (31)"},
                                   {32, "Key Exchange (32)"}, {33, "Key Exchange (33)"},
                                   {34, "Key Exchange (34)"}};

constexpr Field banner{"ssh.banner", "SSH banner", Wire::text};
constexpr Field packet{"ssh.packet", "Packet", Wire::number, messages};
constexpr Field packetLength{"ssh.packet_len", "Packet length", Wire::u32};
constexpr Field paddingLength{"ssh.padding_len", "Padding length", Wire::u8};
constexpr Field message{"ssh.message", "Message", Wire::u8, messages};
constexpr Field cookie{"ssh.cookie", "Cookie", Wire::bytes};
constexpr Field listLength{"ssh.list_len", "Length", Wire::u32};
constexpr Field kex{"ssh.kex", "Key exchange algorithms", Wire::text};
constexpr Field hostKey{"ssh.host_key", "Host key algorithms", Wire::text};
constexpr Field cipherUp{"ssh.cipher_c2s", "Ciphers to the server", Wire::text};
constexpr Field cipherDown{"ssh.cipher_s2c", "Ciphers to the client", Wire::text};
constexpr Field macUp{"ssh.mac_c2s", "MACs to the server", Wire::text};
constexpr Field macDown{"ssh.mac_s2c", "MACs to the client", Wire::text};
constexpr Field compressionUp{"ssh.compression_c2s", "Compression to the server", Wire::text};
constexpr Field compressionDown{"ssh.compression_s2c", "Compression to the client", Wire::text};
constexpr Field body{"ssh.body", "Body", Wire::bytes};
constexpr Field encrypted{"ssh.encrypted", "Encrypted packet", Wire::bytes};

void readLists(Layer& ssh)
{
    ssh.readBytes(cookie, 16);
    for (const auto* list :
         {&kex, &hostKey, &cipherUp, &cipherDown, &macUp, &macDown, &compressionUp, &compressionDown}) {
        const auto size = ssh.read(listLength);
        ssh.readText(*list, size);
    }
    if (ssh.more())
        ssh.readRest(body);
}

/// A packet in the clear has a length that fits the segment or nearly so, sane padding and a message of the transport.
bool looksPlain(const Layer& ssh)
{
    const auto size = ssh.peek32();
    return ssh.left() >= 6 && size >= 8 && size <= 35000 && ssh.peek8(4) >= 4 && ssh.peek8(4) < size
        && ((ssh.peek8(5) >= 1 && ssh.peek8(5) <= 6) || (ssh.peek8(5) >= 20 && ssh.peek8(5) <= 41));
}

void readPackets(Layer& ssh)
{
    bool inClear = true;
    while (ssh.more()) {
        if (!inClear || !looksPlain(ssh)) {
            ssh.readRest(encrypted);
            return;
        }
        const Layer::Group group(ssh, packet, ssh.peek8(5));
        const auto size = ssh.read(packetLength);
        const Layer::Window content(ssh, size);
        ssh.read(paddingLength);
        const auto kind = ssh.read(message);
        inClear = kind != 21;
        if (kind == 20)
            readLists(ssh);
        else if (ssh.more())
            ssh.readRest(body);
    }
}

void decode(Layer& ssh)
{
    if (!asText(ssh.rest()).starts_with("SSH-"))
        return readPackets(ssh);
    ssh.readLine(banner);
    if (ssh.more())
        readPackets(ssh);
}

void describe(const LayerView& ssh, TextSink& out)
{
    const auto before = out.size();
    if (const auto line = ssh[banner])
        out("Banner: {}", line);
    ssh.each(packet, [&](const Value& entry) { out("{}{}", out.size() > before ? ", " : "", entry); });
    if (const auto rest = ssh[encrypted])
        out("{}Encrypted packet, {} bytes", out.size() > before ? ", " : "", rest.node()->length);
}

Likeness guess(Bytes payload, Transport transport)
{
    return transport == Transport::tcp && asText(payload).starts_with("SSH-") ? Likeness::certain : Likeness::none;
}

constexpr const Field* catalogue[] = {&banner};
constexpr Claim claims[] = {tcpPort(22)};
} // namespace

constexpr Protocol protocol{{"ssh", "SSH", Wire::layer},     catalogue, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, 'S')};
static_assert(wellFormed(protocol));
} // namespace netrondo::ssh
