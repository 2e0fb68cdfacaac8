// Capture filters, in libpcap's language (pcap-filter(7)), made of what a person picks instead of writes.
#pragma once

#include "Base/Address.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace netrondo {

/// What is picked in the circle: hosts with all they say, and conversations.
struct TrafficSelection {
    std::vector<Address> hosts;
    std::vector<std::pair<Address, Address>> conversations; ///< either way

    bool isEmpty() const { return hosts.empty() && conversations.empty(); }
    friend bool operator==(const TrafficSelection&, const TrafficSelection&) = default;
};

/// Collects what is wanted; what is of one kind is wanted instead of one another (either host, either port), what is of
/// several kinds together (these hosts, and these ports). Nothing wanted is every frame.
///
///     CaptureFilterBuilder().host(server).port(443, CaptureFilterBuilder::Transport::tcp).expression()
///     // "host 10.0.0.1 and tcp port 443"
class CaptureFilterBuilder {
public:
    /// From which end a host, network or port is wanted.
    enum class Direction { either, source, destination };
    enum class Transport { any, tcp, udp, sctp };
    enum class Protocol { arp, icmp, icmpv6, igmp, ip, ipv6, ipx, lldp, sctp, stp, tcp, udp };
    /// Frames by whom they are meant for.
    enum class Cast { broadcast, multicast };

    /// An IP address also selects the ARP frames about it; of an IPX address only the node can be asked for.
    CaptureFilterBuilder& host(const Address& address, Direction direction = Direction::either);
    /// The bits of an IP address behind `prefixLength` do not matter; lengths beyond the address's are cut down to it.
    /// Addresses of other kinds have no networks and are taken as hosts.
    CaptureFilterBuilder& network(const Address& address, unsigned prefixLength,
                                  Direction direction = Direction::either);
    CaptureFilterBuilder& port(std::uint16_t port, Transport transport = Transport::any,
                               Direction direction = Direction::either);
    /// Ports from `first` to `last`, both included, in either order.
    CaptureFilterBuilder& ports(std::uint16_t first, std::uint16_t last, Transport transport = Transport::any,
                                Direction direction = Direction::either);
    CaptureFilterBuilder& protocol(Protocol protocol);
    CaptureFilterBuilder& cast(Cast cast);
    /// Hosts and conversations of the circle.
    CaptureFilterBuilder& selection(const TrafficSelection& selection);
    /// Only frames with a VLAN tag: of this VLAN (its lowest 12 bits count), or of any. The last call holds, as libpcap
    /// would take a second one for a tag inside the first.
    CaptureFilterBuilder& vlan(std::optional<std::uint16_t> id = std::nullopt);
    /// None of what the other builder selects. Its VLAN is left out of account.
    CaptureFilterBuilder& exclude(const CaptureFilterBuilder& other);

    /// The text; empty selects every frame.
    std::string expression() const;

private:
    std::string untagged() const;

    std::vector<std::string> places_; ///< hosts, networks and what was picked in the circle
    std::vector<std::string> ports_;
    std::vector<std::string> protocols_; ///< casts among them
    std::vector<std::string> excluded_;
    std::optional<std::string> vlan_;
};

} // namespace netrondo
