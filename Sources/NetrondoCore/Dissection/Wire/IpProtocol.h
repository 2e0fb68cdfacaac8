// IP protocol numbers (IANA's Assigned Internet Protocol Numbers), which IPv6 calls next headers.
#pragma once

#include <cstdint>

namespace netrondo::ipProtocol {
constexpr std::uint8_t hopByHop = 0, icmp = 1, igmp = 2, ipInIp = 4, tcp = 6, udp = 17, dccp = 33, ipv6InIp = 41,
                       routing = 43, fragment = 44, rsvp = 46, gre = 47, esp = 50, ah = 51, icmpv6 = 58, noNext = 59,
                       destinationOptions = 60, eigrp = 88, ospf = 89, pim = 103, vrrp = 112, l2tp = 115, isis = 124,
                       sctp = 132, udpLite = 136;
} // namespace netrondo::ipProtocol
