// First-hop redundancy and liveness: VRRP (RFC 9568), HSRP (RFC 2281), BFD (RFC 5880).
#include "Dissection/Protocols/Checksums.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Wire/InternetChecksum.h"

namespace netrondo {

namespace vrrp {
namespace {
constexpr Field first{"vrrp.first", "Version and type", Wire::hex8};
constexpr Field version{"vrrp.version", "Version", Wire::bits, {}, 0xf0};
constexpr Field type{"vrrp.type", "Type", Wire::bits, {}, 0x0f};
constexpr Field router{"vrrp.router", "Virtual router", Wire::u8};
constexpr Field priority{"vrrp.priority", "Priority", Wire::u8};
constexpr Field count{"vrrp.addresses", "Number of addresses", Wire::u8};
constexpr Field interval{"vrrp.interval", "Advertisement interval", Wire::u16};
constexpr Field checksum{"vrrp.checksum", "Checksum", Wire::checksum16};
constexpr Field address4{"vrrp.address", "Address", Wire::ipv4};
constexpr Field address6{"vrrp.address6", "Address", Wire::ipv6};
constexpr Field auth{"vrrp.auth", "Authentication", Wire::bytes};

/// Version 2 sums up its message alone; version 3 takes the pseudo-header to it, which over IPv4 not all senders do.
void readChecksum(Layer& vrrp, std::uint64_t number)
{
    if (vrrp.isCut() || vrrp.frame().isFragment || vrrp.isQuoted())
        return static_cast<void>(vrrp.read(checksum));
    const auto alone = InternetChecksum::sum(vrrp.whole());
    if (number <= 2 || InternetChecksum::fold(alone) == 0xffff)
        checksums::readSum(vrrp, checksum, alone, Expert::vrrpChecksum);
    else
        checksums::readTransport(vrrp, checksum, 112, Expert::vrrpChecksum);
}

void decode(Layer& vrrp)
{
    const auto number = vrrp.readParts(first, version, type) >> 4;
    vrrp.read(router, priority);
    const auto addresses = vrrp.read(count);
    vrrp.read(interval);
    readChecksum(vrrp, number);
    const bool is6 = vrrp.frame().networkSource.kind == Address::Kind::ipv6;
    for (std::uint64_t i = 0; i < addresses && vrrp.more(); ++i)
        vrrp.read(is6 ? address6 : address4);
    if (vrrp.more())
        vrrp.readRest(auth);
}

void describe(const LayerView& vrrp, TextSink& out)
{
    out("VRRP v{} router {}, priority {}{}", vrrp[version], vrrp[router], vrrp[priority],
        vrrp[priority] == 0 ? " (leaves)" : "");
    if (const auto address = vrrp[address4])
        out(", {}", address);
    if (const auto address = vrrp[address6])
        out(", {}", address);
}

constexpr Claim claims[] = {ipProtocol(112)};
} // namespace

constexpr Protocol protocol{{"vrrp", "VRRP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace vrrp

namespace hsrp {
namespace {
constexpr NamedValue opcodes[] = {{0, "Hello"}, {1, "Coup"}, {2, "Resign"}, {3, "Advertise"}};
constexpr NamedValue states[] = {{0, "initial"}, {1, "learn"},   {2, "listen"},
                                 {4, "speak"},   {8, "standby"}, {16, "active"}};
constexpr NamedValue states2[] = {{0, "disabled"}, {1, "initial"}, {2, "learn"}, {3, "listen"},
                                  {4, "speak"},    {5, "standby"}, {6, "active"}};
constexpr NamedValue interfaceStates[] = {{1, "dormant"}, {2, "passive"}, {3, "active"}};

constexpr Field version{"hsrp.version", "Version", Wire::u8};
constexpr Field opcode{"hsrp.opcode", "Opcode", Wire::u8, opcodes};
constexpr Field state{"hsrp.state", "State", Wire::u8, states};
constexpr Field state2{"hsrp.state", "State", Wire::u8, states2};
constexpr Field hello{"hsrp.hello", "Hello time", Wire::u8};
constexpr Field hold{"hsrp.hold", "Hold time", Wire::u8};
constexpr Field priority{"hsrp.priority", "Priority", Wire::u8};
constexpr Field group{"hsrp.group", "Group", Wire::u8};
constexpr Field reserved{"hsrp.reserved", "Reserved", Wire::u8};
constexpr Field authentication{"hsrp.auth", "Authentication", Wire::text};
constexpr Field address{"hsrp.address", "Virtual address", Wire::ipv4};
constexpr Field interfaceType{"hsrp.adv_type", "Advertised", Wire::u16};
constexpr Field interfaceLength{"hsrp.adv_len", "Length", Wire::u16};
constexpr Field interfaceState{"hsrp.adv_state", "Interface state", Wire::u8, interfaceStates};
constexpr Field activeGroups{"hsrp.active_groups", "Active groups", Wire::u16};
constexpr Field passiveGroups{"hsrp.passive_groups", "Passive groups", Wire::u16};
constexpr Field elementType{"hsrp.tlv_type", "Element", Wire::u8};
constexpr Field elementLength{"hsrp.tlv_len", "Length", Wire::u8};
constexpr Field ipVersion{"hsrp.ip_version", "IP version", Wire::u8};
constexpr Field group2{"hsrp.group", "Group", Wire::u16};
constexpr Field identifier{"hsrp.id", "Identifier", Wire::mac};
constexpr Field priority2{"hsrp.priority", "Priority", Wire::u32};
constexpr Field elementData{"hsrp.tlv_data", "Data", Wire::bytes};

void readElements(Layer& hsrp) // version 2
{
    while (hsrp.more(2)) {
        const auto kind = hsrp.read(elementType), size = hsrp.read(elementLength);
        const Layer::Window content(hsrp, size);
        if (kind == 1) {
            hsrp.read(version, opcode, state2, ipVersion);
            hsrp.read(group2, identifier, priority2);
            hsrp.skip(8);
            hsrp.read(address);
        }
        if (hsrp.more())
            hsrp.readRest(elementData);
    }
}

void readAdvertisement(Layer& hsrp) // how many groups a router serves, said on the links of its other interfaces
{
    hsrp.read(interfaceType, interfaceLength, interfaceState, reserved, activeGroups, passiveGroups);
    hsrp.skip(4);
}

void decode(Layer& hsrp)
{
    if (hsrp.peek8() != 0)
        return readElements(hsrp);
    hsrp.read(version);
    if (hsrp.read(opcode) == 3)
        return readAdvertisement(hsrp);
    hsrp.read(state, hello, hold, priority, group, reserved);
    hsrp.readText(authentication, 8);
    hsrp.read(address);
    if (hsrp.more())
        readElements(hsrp);
}

void describe(const LayerView& hsrp, TextSink& out)
{
    if (const auto how = hsrp[interfaceState])
        return out("{} (interface {}, {} active groups)", hsrp[opcode], how, hsrp[activeGroups]);
    out("{} (state {}{})", hsrp[opcode], hsrp[state], hsrp[state2]);
    if (const auto virtualAddress = hsrp[address])
        out(", {}", virtualAddress);
}

constexpr Claim claims[] = {udpPort(1985), udpPort(2029)};
} // namespace

constexpr Protocol protocol{{"hsrp", "HSRP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace hsrp

namespace bfd {
namespace {
constexpr NamedValue states[] = {{0, "admin down"}, {1, "down"}, {2, "init"}, {3, "up"}};
constexpr NamedValue diagnostics[] = {{0, "none"},
                                      {1, "detection time expired"},
                                      {2, "echo failed"},
                                      {3, "neighbour signalled down"},
                                      {4, "forwarding plane reset"},
                                      {5, "path down"},
                                      {6, "concatenated path down"},
                                      {7, "administratively down"},
                                      {8, "reverse concatenated path down"}};

constexpr Field first{"bfd.first", "Version and diagnostic", Wire::hex8};
constexpr Field version{"bfd.version", "Version", Wire::bits, {}, 0xe0};
constexpr Field diagnostic{"bfd.diagnostic", "Diagnostic", Wire::bits, diagnostics, 0x1f};
constexpr Field flags{"bfd.flags", "State and flags", Wire::hex8};
constexpr Field state{"bfd.state", "State", Wire::bits, states, 0xc0};
constexpr Field multiplier{"bfd.multiplier", "Detection multiplier", Wire::u8};
constexpr Field length{"bfd.length", "Length", Wire::u8};
constexpr Field mine{"bfd.my", "My discriminator", Wire::hex32};
constexpr Field yours{"bfd.your", "Your discriminator", Wire::hex32};
constexpr Field transmit{"bfd.tx", "Desired minimum interval (µs)", Wire::u32};
constexpr Field receive{"bfd.rx", "Required minimum interval (µs)", Wire::u32};
constexpr Field echo{"bfd.echo", "Required echo interval (µs)", Wire::u32};

void decode(Layer& bfd)
{
    bfd.readParts(first, version, diagnostic);
    bfd.readParts(flags, state);
    bfd.read(multiplier, length, mine, yours);
    bfd.read(transmit, receive, echo);
}

void describe(const LayerView& bfd, TextSink& out)
{
    out("State {}, diagnostic {}", bfd[state], bfd[diagnostic]);
}

/// Its length, a discriminator, and intervals of no more than a minute.
Likeness guess(Bytes payload, Transport transport)
{
    constexpr std::size_t header = 24;
    constexpr std::uint32_t minute = 60'000'000;
    if (transport != Transport::udp || payload.size() < header || payload[3] != payload.size() || payload[0] >> 5 != 1)
        return Likeness::none;
    const bool isAuthenticated = payload[1] & 0x04, isMultipoint = payload[1] & 0x01;
    const bool fits = !isMultipoint && (isAuthenticated ? payload.size() > header : payload.size() == header);
    const bool isKnown =
        fits && !nameIn(diagnostics, payload[0] & 0x1fu).empty() && payload[2] && load::be32(&payload[4]);
    return isKnown && load::be32(&payload[12]) <= minute && load::be32(&payload[16]) <= minute
            && load::be32(&payload[20]) <= minute
        ? Likeness::likely
        : Likeness::none;
}

constexpr Claim claims[] = {udpPort(3784), udpPort(4784)};
} // namespace

constexpr Protocol protocol{
    {"bfd", "BFD", Wire::layer}, {}, claims, decode, describe, guess, opensWith({Transport::udp}, 0x20, 0x28)};
static_assert(wellFormed(protocol));
} // namespace bfd

} // namespace netrondo
