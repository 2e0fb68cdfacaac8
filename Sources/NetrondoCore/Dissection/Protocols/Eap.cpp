// Port-based access control: EAPOL (IEEE 802.1X) and EAP inside it (RFC 3748).
#include "Dissection/Protocols/Protocols.h"

#include <utility>
#include <vector>

namespace netrondo {

namespace eap {
namespace {
constexpr NamedValue codes[] = {{1, "Request"}, {2, "Response"}, {3, "Success"}, {4, "Failure"}};
constexpr NamedValue types[] = {
    {1, "Identity"},   {2, "Notification"}, {3, "NAK"},       {4, "MD5 challenge"}, {5, "one-time password"},
    {6, "token card"}, {13, "TLS"},         {17, "LEAP"},     {18, "SIM"},          {21, "TTLS"},
    {23, "AKA"},       {25, "PEAP"},        {26, "MSCHAPv2"}, {43, "FAST"},         {50, "AKA'"},
    {52, "PWD"}};

constexpr Field code{"eap.code", "Code", Wire::u8, codes};
constexpr Field identifier{"eap.id", "Identifier", Wire::u8};
constexpr Field length{"eap.len", "Length", Wire::u16};
constexpr Field type{"eap.type", "Type", Wire::u8, types};
constexpr Field identity{"eap.identity", "Identity", Wire::text};
constexpr Field flags{"eap.tls_flags", "Flags", Wire::hex8};
constexpr Field tlsLength{"eap.tls_len", "TLS length", Wire::u32};
constexpr Field fragment{"eap.tls_fragment", "Fragment of TLS messages", Wire::bytes};
constexpr Field data{"eap.data", "Data", Wire::bytes};

/// What one side has sent of a flight of TLS messages that takes several packets (RFC 5216, 2.1.5).
struct Fragments : ProtocolMemory {
    std::vector<std::uint8_t> bytes; ///< empty: none is open
    std::uint64_t last = 0;          ///< the identifier of the packet that came last
};
constexpr std::size_t longestFlight = 64 * 1024;

/// Takes a fragment that is not the first; with the last one the whole goes to TLS.
void readFragment(Layer& eap, Fragments& open, std::uint64_t number, bool isLast)
{
    const auto bytes = eap.readRest(fragment);
    if (std::exchange(open.last, number) == number || bytes.size() > longestFlight - open.bytes.size())
        return; // sent again because its answer was lost, or longer than any certificates
    open.bytes.insert(open.bytes.end(), bytes.begin(), bytes.end());
    if (!isLast)
        return;
    eap.keep(open.bytes);
    eap.embedCopy(tls::protocol, open.bytes);
    open.bytes.clear();
}

void readTls(Layer& eap, std::uint64_t number)
{
    const auto bits = eap.read(flags);
    if (bits & 0x80)
        eap.read(tlsLength);
    if (!eap.left())
        return;
    const bool isLast = !(bits & 0x40);
    if (const auto whole = eap.kept()) {
        eap.readRest(fragment);
        return eap.embedCopy(tls::protocol, *whole);
    }
    auto* const open = eap.memory<Fragments>(eap.summary().transport, Layer::Ways::one);
    if (open && !open->bytes.empty())
        return readFragment(eap, *open, number, isLast);
    if (open && !isLast) {
        const auto bytes = eap.rest();
        open->bytes.assign(bytes.begin(), bytes.end());
        open->last = number;
    }
    eap.setStream(); // the first piece, or one of a flight whose beginning was not seen: told as far as it goes
    eap.embed(tls::protocol);
}

void decode(Layer& eap)
{
    const auto kind = eap.read(code), number = eap.read(identifier);
    const auto size = eap.read(length);
    if (size < 4)
        return eap.reject(length);
    const Layer::Window message(eap, size - 4);
    if ((kind != 1 && kind != 2) || !eap.more())
        return;
    const auto method = eap.read(type);
    if (method == 1 && eap.left())
        eap.readText(identity, eap.left());
    else if (method == 13 || method == 21 || method == 25)
        readTls(eap, number);
    if (eap.more())
        eap.readRest(data);
}

void describe(const LayerView& eap, TextSink& out)
{
    out("{}", eap[code]);
    if (const auto method = eap[type])
        out(", {}", method);
    if (const auto who = eap[identity])
        out(" “{}”", who);
}
} // namespace

constexpr Protocol protocol{{"eap", "EAP", Wire::layer}, {}, {}, decode, describe};
static_assert(wellFormed(protocol));
} // namespace eap

namespace eapol {
namespace {
constexpr NamedValue types[] = {{0, "EAP packet"}, {1, "Start"}, {2, "Logoff"}, {3, "Key"}, {4, "Alert"}, {5, "MKA"}};
constexpr NamedValue descriptors[] = {{1, "RC4"}, {2, "RSN"}, {254, "WPA"}};

constexpr Field version{"eapol.version", "Version", Wire::u8};
constexpr Field type{"eapol.type", "Type", Wire::u8, types};
constexpr Field length{"eapol.len", "Length", Wire::u16};
constexpr Field descriptor{"eapol.key_descriptor", "Key descriptor", Wire::u8, descriptors};
constexpr Field information{"eapol.key_info", "Key information", Wire::hex16};
constexpr Field pairwise{"eapol.key_pairwise", "Pairwise", Wire::bit, {}, 0x0008};
constexpr Field install{"eapol.key_install", "Install", Wire::bit, {}, 0x0040};
constexpr Field acknowledge{"eapol.key_ack", "ACK wanted", Wire::bit, {}, 0x0080};
constexpr Field integrity{"eapol.key_mic_set", "MIC present", Wire::bit, {}, 0x0100};
constexpr Field secure{"eapol.key_secure", "Secure", Wire::bit, {}, 0x0200};
constexpr Field keyLength{"eapol.key_len", "Key length", Wire::u16};
constexpr Field replay{"eapol.key_replay", "Replay counter", Wire::u64};
constexpr Field nonce{"eapol.key_nonce", "Nonce", Wire::bytes};
constexpr Field vector{"eapol.key_iv", "IV", Wire::bytes};
constexpr Field sequence{"eapol.key_rsc", "Sequence counter", Wire::u64};
constexpr Field keyId{"eapol.key_id", "Key ID", Wire::bytes};
constexpr Field mic{"eapol.key_mic", "MIC", Wire::bytes};
constexpr Field dataLength{"eapol.key_data_len", "Key data length", Wire::u16};
constexpr Field keyData{"eapol.key_data", "Key data", Wire::bytes};

void readKey(Layer& eapol)
{
    const auto kind = eapol.read(descriptor);
    if (kind == 1)
        return;
    eapol.readParts(information, pairwise, install, acknowledge, integrity, secure);
    eapol.read(keyLength, replay);
    eapol.readBytes(nonce, 32);
    eapol.readBytes(vector, 16);
    eapol.read(sequence);
    eapol.readBytes(keyId, 8);
    eapol.readBytes(mic, 16);
    const auto size = eapol.read(dataLength);
    if (size)
        eapol.readBytes(keyData, size);
}

void decode(Layer& eapol)
{
    eapol.read(version);
    const auto kind = eapol.read(type), size = eapol.read(length);
    {
        const Layer::Window body(eapol, size);
        if (kind == 0)
            eapol.handOver(eap::protocol);
        else if (kind == 3)
            readKey(eapol);
    }
    eapol.endHere();
}

/// Which of the four messages of the handshake a key frame is (IEEE 802.11, 12.7.6).
int messageOf(std::uint64_t bits, bool hasNonce)
{
    if (bits & 0x0080)
        return bits & 0x0100 ? 3 : 1;
    return hasNonce && !(bits & 0x0200) ? 2 : 4;
}

void describe(const LayerView& eapol, TextSink& out)
{
    out("{}", eapol[type]);
    const auto bits = eapol[information];
    if (!bits)
        return;
    if (bits.number() & 0x0008)
        out(" (message {} of 4)",
            messageOf(bits.number(), eapol[nonce].text().find_first_not_of('\0') != std::string_view::npos));
    else
        out(" (group key)");
}

constexpr Claim claims[] = {etherType(0x888e), etherType(0x88c7)};
} // namespace

constexpr Protocol protocol{{"eapol", "802.1X", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace eapol

} // namespace netrondo
