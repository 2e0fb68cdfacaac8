// The EtherTypes that are met on networks (IANA's and IEEE's registries).
#pragma once

#include "Dissection/Decode/Field.h"

namespace netrondo {

inline constexpr NamedValue etherTypeNames[] = {
    {0x0800, "IPv4"},
    {0x0806, "ARP"},
    {0x86dd, "IPv6"},
    {0x8100, "VLAN"},
    {0x88a8, "QinQ"},
    {0x9100, "VLAN (0x9100)"},
    {0x8847, "MPLS"},
    {0x8848, "MPLS multicast"},
    {0x8863, "PPPoE discovery"},
    {0x8864, "PPPoE session"},
    {0x888e, "802.1X"},
    {0x88cc, "LLDP"},
    {0x8808, "MAC control"},
    {0x8809, "Slow protocols"},
    {0x8035, "RARP"},
    {0x809b, "AppleTalk"},
    {0x80f3, "AARP"},
    {0x8137, "IPX"},
    {0x0842, "Wake-on-LAN"},
    {0x6000, "DEC experimental"},
    {0x6001, "DEC MOP dump/load"},
    {0x6002, "DEC MOP remote console"},
    {0x6003, "DECnet routing"},
    {0x6004, "DEC LAT"},
    {0x6007, "DEC LAVC"},
    {0x6558, "Ethernet (bridged)"},
    {0x880b, "PPP"},
    {0x8870, "Jumbo LLC"},
    {0x8892, "PROFINET"},
    {0x88a2, "ATA over Ethernet"},
    {0x88b8, "GOOSE"},
    {0x88ba, "IEC 61850 sampled values"},
    {0x88be, "ERSPAN II"},
    {0x88c7, "802.11 pre-authentication"},
    {0x88e5, "MACsec"},
    {0x88f5, "MVRP"},
    {0x88f7, "PTP"},
    {0x8902, "CFM"},
    {0x8906, "FCoE"},
    {0x8914, "FCoE initialization"},
    {0x8915, "RoCE"},
    {0x892f, "HSR"},
    {0x894f, "NSH"},
    {0x22eb, "ERSPAN III"},
    {0x22f0, "AVTP"},
    {0x9000, "Loopback"},
    {0x2000, "CDP"},
    {0x2004, "DTP"},
};

} // namespace netrondo
