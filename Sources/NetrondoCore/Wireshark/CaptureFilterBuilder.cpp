// Terms of one kind are joined by `or`, kinds by `and`. A VLAN comes first: libpcap looks behind its tag from there on.
#include "Wireshark/CaptureFilterBuilder.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <string_view>

namespace netrondo {
namespace {
using Builder = CaptureFilterBuilder;

std::string_view wordOf(Builder::Direction direction)
{
    switch (direction) {
    case Builder::Direction::either: return "";
    case Builder::Direction::source: return "src ";
    case Builder::Direction::destination: return "dst ";
    }
    return "";
}

std::string_view wordOf(Builder::Transport transport)
{
    switch (transport) {
    case Builder::Transport::any: return "";
    case Builder::Transport::tcp: return "tcp ";
    case Builder::Transport::udp: return "udp ";
    case Builder::Transport::sctp: return "sctp ";
    }
    return "";
}

std::string_view termOf(Builder::Protocol protocol)
{
    switch (protocol) {
    case Builder::Protocol::arp: return "arp";
    case Builder::Protocol::icmp: return "icmp";
    case Builder::Protocol::icmpv6: return "icmp6";
    case Builder::Protocol::igmp: return "igmp";
    case Builder::Protocol::ip: return "ip";
    case Builder::Protocol::ipv6: return "ip6";
    case Builder::Protocol::ipx: return "ipx";
    case Builder::Protocol::lldp: return "ether proto 0x88cc";
    case Builder::Protocol::sctp: return "sctp";
    case Builder::Protocol::stp: return "stp";
    case Builder::Protocol::tcp: return "tcp";
    case Builder::Protocol::udp: return "udp";
    }
    return "";
}

std::string hostTerm(const Address& address, Builder::Direction direction)
{
    switch (address.kind) {
    case Address::Kind::mac: return fmt::format("ether {}host {}", wordOf(direction), address.text());
    case Address::Kind::ipv4:
    case Address::Kind::ipv6: return fmt::format("{}host {}", wordOf(direction), address.text());
    case Address::Kind::ipx: // a node is the MAC address of its interface
        return fmt::format("ipx and {}", hostTerm(Address::mac(address.low & 0xffff'ffff'ffff), direction));
    case Address::Kind::decnet: return fmt::format("decnet {}host {}", wordOf(direction), address.text());
    case Address::Kind::none: break;
    }
    return "";
}

/// The address with the bits behind the prefix zero, as libpcap wants networks.
Address networkOf(const Address& address, unsigned prefixLength)
{
    const auto kept = [](unsigned bits) { return bits >= 64 ? ~0ULL : ~(~0ULL >> bits); };
    auto network = address;
    if (address.kind == Address::Kind::ipv4) {
        network.low &= kept(32 + prefixLength) & 0xffff'ffff;
        return network;
    }
    network.high &= kept(prefixLength);
    network.low &= prefixLength > 64 ? kept(prefixLength - 64) : 0;
    return network;
}

void add(std::vector<std::string>& terms, std::string term)
{
    if (!term.empty() && std::ranges::find(terms, term) == terms.end())
        terms.push_back(std::move(term));
}

bool isOneTerm(std::string_view text)
{
    return text.find(" and ") == text.npos && text.find(" or ") == text.npos && !text.starts_with("not ");
}

/// In parentheses where it has words that join terms.
std::string closed(std::string_view text)
{
    return isOneTerm(text) ? std::string(text) : fmt::format("({})", text);
}

std::string joinedBy(std::string_view word, const std::vector<std::string>& terms)
{
    if (terms.size() == 1)
        return terms.front();
    std::vector<std::string> parts;
    std::ranges::transform(terms, std::back_inserter(parts), closed);
    return fmt::format("{}", fmt::join(parts, word));
}
} // namespace

Builder& Builder::host(const Address& address, Direction direction)
{
    add(places_, hostTerm(address, direction));
    return *this;
}

Builder& Builder::network(const Address& address, unsigned prefixLength, Direction direction)
{
    const unsigned longest = address.kind == Address::Kind::ipv4 ? 32 : 128;
    if (!address.isIp() || prefixLength >= longest)
        return host(address, direction);
    add(places_, fmt::format("{}net {}/{}", wordOf(direction), networkOf(address, prefixLength).text(), prefixLength));
    return *this;
}

Builder& Builder::port(std::uint16_t port, Transport transport, Direction direction)
{
    add(ports_, fmt::format("{}{}port {}", wordOf(transport), wordOf(direction), port));
    return *this;
}

Builder& Builder::ports(std::uint16_t first, std::uint16_t last, Transport transport, Direction direction)
{
    if (first == last)
        return port(first, transport, direction);
    const auto [low, high] = std::minmax(first, last);
    add(ports_, fmt::format("{}{}portrange {}-{}", wordOf(transport), wordOf(direction), low, high));
    return *this;
}

Builder& Builder::protocol(Protocol protocol)
{
    add(protocols_, std::string(termOf(protocol)));
    return *this;
}

Builder& Builder::cast(Cast cast)
{
    add(protocols_, cast == Cast::broadcast ? "ether broadcast" : "ether multicast");
    return *this;
}

Builder& Builder::selection(const TrafficSelection& selection)
{
    for (const auto& address : selection.hosts)
        host(address);
    for (const auto& [one, other] : selection.conversations) {
        if (one == other)
            host(one);
        else if (one && other)
            add(places_, joinedBy(" and ", {hostTerm(one, Direction::either), hostTerm(other, Direction::either)}));
    }
    return *this;
}

Builder& Builder::vlan(std::optional<std::uint16_t> id)
{
    vlan_ = id ? fmt::format("vlan {}", *id & 0xfff) : "vlan";
    return *this;
}

Builder& Builder::exclude(const CaptureFilterBuilder& other)
{
    if (const auto text = other.untagged(); !text.empty())
        add(excluded_, fmt::format("not {}", closed(text)));
    return *this;
}

std::string Builder::untagged() const
{
    std::vector<std::string> kinds;
    for (const auto* terms : {&places_, &ports_, &protocols_})
        if (!terms->empty())
            kinds.push_back(joinedBy(" or ", *terms));
    auto text = joinedBy(" and ", kinds);
    for (const auto& term : excluded_)
        text = text.empty() ? term : fmt::format("{} and {}", closed(text), term);
    return text;
}

std::string Builder::expression() const
{
    auto text = untagged();
    if (!vlan_)
        return text;
    return text.empty() ? *vlan_ : fmt::format("{} and {}", *vlan_, closed(text));
}

} // namespace netrondo
