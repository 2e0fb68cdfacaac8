// Host names learnt from the capture itself: no lookup ever leaves the machine.
#pragma once

#include "Base/Address.h"
#include "Dissection/Classify/FrameFacts.h"

#include <boost/unordered/unordered_flat_map.hpp>
#include <string>
#include <string_view>

namespace netrondo {

/// Names of hosts by address. They come from DNS, multicast DNS (RFC 6762) and LLMNR (RFC 4795) answers (A, AAAA, PTR),
/// the NetBIOS name service (RFC 1002) and DHCP host-name options (RFC 2132); the newest answer wins. A hostile name
/// (control characters, wrong length, a pointer loop) is dropped. A copy is independent.
class HostNameStore {
public:
    /// True when a frame with these ports could carry names: the cheap test that the analysis makes for every frame.
    static bool mayHoldNames(const FrameFacts& facts);
    /// Learns what the frame's payload has to tell; anything that is not a well-formed answer changes nothing.
    void harvest(const FrameFacts& facts);

    /// The name of an address (IP, or a MAC address that DHCP has named), empty when there is none. The view is good
    /// until the next `harvest`.
    std::string_view name(const Address& address) const;
    std::size_t size() const { return names_.size(); }

private:
    void learn(const Address& address, std::string_view name);

    boost::unordered_flat_map<Address, std::string, AddressHash> names_;
};

} // namespace netrondo
