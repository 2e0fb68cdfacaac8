// The families of dissectors, each with the ways that lead to its protocols.
#pragma once

#include "Targets/Family.h"

namespace netrondo::fuzz {

// The seeds' maker, make_family_seeds.py, knows these by their places.
inline constexpr Way linkWays[] = {way::ether(0x8100),
                                   way::ether(0x8864),
                                   way::ether(0x8863),
                                   way::ether(0x8847),
                                   way::ether(0x8809),
                                   way::ether(0x8808),
                                   way::ether(0x88cc),
                                   way::ether(0x888e),
                                   way::ether(0x88e5),
                                   way::llc(0x42),
                                   {Way::Carrier::ciscoSnap, 0x2000},
                                   way::link(LinkType::ieee80211),
                                   way::link(LinkType::ieee80211Radio),
                                   way::link(LinkType::linuxSLL),
                                   way::link(LinkType::linuxSLL2),
                                   way::link(LinkType::null),
                                   {Way::Carrier::ciscoSnap, 0x2004},
                                   way::ether(0x8909),
                                   way::ether(0x88a2),
                                   way::link(LinkType::unknown)};
inline constexpr Way networkWays[] = {
    way::ether(0x0806), way::ether(0x0800), way::ether(0x86dd), way::ip(1),     way::ip6(58),    way::ip(2),
    way::ip(47),        way::ip(51),        way::ip(132),       way::ip(33),    way::ip(136),    way::ip(4),
    way::ip6(0),        way::ip6(43),       way::ip6(44),       way::udp(4789), way::udp(6081),  way::udp(2152),
    way::udp(2123),     way::udp(1701),     way::udp(500),      way::udp(4500), way::udp(51820), way::udp(4790),
    way::udp(8612),     way::udp(17500),    way::udp(1026)};
inline constexpr Way routingWays[] = {way::ip(89),    way::ip6(89),   way::ip(88),    way::ip(103),  way::ip6(103),
                                      way::ip(112),   way::ip(124),   way::llc(0xfe), way::udp(520), way::udp(521),
                                      way::udp(1985), way::udp(3784), way::tcp(179)};
inline constexpr Way legacyWays[] = {way::ether(0x8137), way::ipx(0x0452),   way::ipx(0x0453),   way::ipx(0x0455),
                                     way::ipx(0x0552),   way::ipx(0x85be),   way::llc(0xf0),     way::ether(0x809b),
                                     way::ether(0x80f3), way::udp(137),      way::udp(138),      way::tcp(139),
                                     way::ipx(0x0551),   way::ether(0x6003), way::ether(0x6004), way::ether(0x6002)};
inline constexpr Way webWays[] = {way::tcp(80),    way::tcp(443),  way::tcp(40001), way::udp(443),  way::udp(1900),
                                  way::udp(40001), way::tcp(8883), way::tcp(1080),  way::udp(1194), way::tcp(1194)};
inline constexpr Way nameWays[] = {way::udp(53),  way::tcp(53),   way::udp(5353), way::udp(5355), way::udp(67),
                                   way::udp(547), way::udp(123),  way::udp(161),  way::udp(514),  way::udp(1812),
                                   way::udp(69),  way::udp(3478), way::tcp(49)};
inline constexpr Way fileWays[] = {way::tcp(445),   way::tcp(135), way::tcp(2049), way::udp(2049), way::tcp(111),
                                   way::tcp(389),   way::udp(88),  way::tcp(88),   way::tcp(3306), way::tcp(5432),
                                   way::tcp(6379),  way::tcp(21),  way::tcp(502),  way::tcp(2404), way::tcp(20000),
                                   way::udp(20000), way::tcp(102), way::tcp(5222)};
inline constexpr Way talkWays[] = {way::tcp(25),   way::tcp(110),   way::tcp(143),  way::tcp(22),   way::tcp(23),
                                   way::tcp(1883), way::tcp(3389),  way::tcp(5900), way::udp(5060), way::tcp(5060),
                                   way::tcp(554),  way::udp(5004),  way::tcp(6000), way::tcp(6881), way::tcp(6667),
                                   way::udp(6771), way::udp(25401), way::udp(1214)};
inline constexpr Way industryWays[] = {way::tcp(44818), way::udp(44818), way::udp(2222),  way::udp(2055),
                                       way::udp(4739),  way::tcp(4739),  way::udp(6343),  way::ether(0x88f7),
                                       way::udp(320),   way::udp(47808), way::tcp(1521),  way::tcp(3868),
                                       way::udp(716),   way::tcp(1153),  way::udp(1153),  way::tcp(2123),
                                       way::tcp(502),   way::tcp(2404),  way::tcp(20000), way::udp(20000)};

inline void decodeLink(Bytes input)
{
    decodeFamily(linkWays, input);
}
inline void decodeNetwork(Bytes input)
{
    decodeFamily(networkWays, input);
}
inline void decodeRouting(Bytes input)
{
    decodeFamily(routingWays, input);
}
inline void decodeLegacy(Bytes input)
{
    decodeFamily(legacyWays, input);
}
inline void decodeWeb(Bytes input)
{
    decodeFamily(webWays, input);
}
inline void decodeNames(Bytes input)
{
    decodeFamily(nameWays, input);
}
inline void decodeFiles(Bytes input)
{
    decodeFamily(fileWays, input);
}
inline void decodeTalk(Bytes input)
{
    decodeFamily(talkWays, input);
}
inline void decodeIndustry(Bytes input)
{
    decodeFamily(industryWays, input);
}

} // namespace netrondo::fuzz
