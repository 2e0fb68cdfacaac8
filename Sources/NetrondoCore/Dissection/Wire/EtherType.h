// EtherType numbers (IEEE 802 Numbers registry) and the LLC addresses that older protocols use instead.
#pragma once

#include <cstdint>

namespace netrondo {

namespace etherType {
constexpr std::uint16_t ipv4 = 0x0800, arp = 0x0806, wakeOnLan = 0x0842, rarp = 0x8035, appleTalk = 0x809b,
                        sna = 0x80d5, aarp = 0x80f3, vlan = 0x8100, ipx = 0x8137, ipxOld = 0x8138, ipv6 = 0x86dd,
                        macControl = 0x8808, slowProtocols = 0x8809, mpls = 0x8847, mplsMulticast = 0x8848,
                        pppoeDiscovery = 0x8863, pppoeSession = 0x8864, eapol = 0x888e, profinet = 0x8892,
                        providerBridge = 0x88a8, lldp = 0x88cc, macsec = 0x88e5, ptp = 0x88f7, loopback = 0x9000,
                        oldQinQ = 0x9100;
/// Values below are the length of an IEEE 802.3 frame, not a type.
constexpr std::uint16_t firstType = 0x0600;

constexpr bool isVlanTag(std::uint16_t type)
{
    return type == vlan || type == oldQinQ || type == providerBridge;
}
} // namespace etherType

namespace llcSap {
constexpr std::uint8_t stp = 0x42, snap = 0xaa, ipx = 0xe0, netBios = 0xf0, isoNetwork = 0xfe;
} // namespace llcSap

} // namespace netrondo
