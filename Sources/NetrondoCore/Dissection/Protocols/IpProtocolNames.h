// The protocols that IP carries, by number (IANA's registry).
#pragma once

#include "Dissection/Decode/Field.h"

namespace netrondo {

inline constexpr NamedValue ipProtocolNames[] = {
    {0, "IPv6 hop-by-hop options"},
    {1, "ICMP"},
    {2, "IGMP"},
    {3, "GGP"},
    {4, "IPv4"},
    {5, "ST"},
    {6, "TCP"},
    {8, "EGP"},
    {9, "IGP"},
    {17, "UDP"},
    {27, "RDP"},
    {33, "DCCP"},
    {41, "IPv6"},
    {43, "IPv6 routing header"},
    {44, "IPv6 fragment header"},
    {46, "RSVP"},
    {47, "GRE"},
    {50, "ESP"},
    {51, "AH"},
    {57, "SKIP"},
    {58, "ICMPv6"},
    {59, "nothing"},
    {60, "IPv6 destination options"},
    {88, "EIGRP"},
    {89, "OSPF"},
    {94, "IP-in-IP"},
    {97, "EtherIP"},
    {98, "IP encapsulation"},
    {103, "PIM"},
    {108, "IPComp"},
    {112, "VRRP"},
    {113, "PGM"},
    {115, "L2TPv3"},
    {124, "IS-IS over IPv4"},
    {132, "SCTP"},
    {133, "Fibre Channel"},
    {135, "mobility header"},
    {136, "UDP-Lite"},
    {137, "MPLS-in-IP"},
    {139, "HIP"},
    {140, "Shim6"},
    {143, "Ethernet"},
};

} // namespace netrondo
