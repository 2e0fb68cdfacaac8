// Host names learnt from the capture itself: no lookup ever leaves the machine.
#pragma once

#include "Base/Address.h"
#include "Base/PagedVector.h"
#include "Base/SlotIndex.h"
#include "Dissection/Classify/FrameFacts.h"

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo {

/// Names of hosts by address. They come from DNS, multicast DNS (RFC 6762) and LLMNR (RFC 4795) answers (A, AAAA, PTR),
/// the NetBIOS name service (RFC 1002) and DHCP host-name options (RFC 2132); the newest answer wins. A hostile name
/// (control characters, wrong length, a pointer loop) is dropped. A copy is independent.
class HostNameStore {
public:
    /// A flood of made-up answers fills no more than this; then only the names of known addresses still change. That
    /// is more hosts than a view can tell apart, and 190 MB if every name has the greatest length.
    static constexpr std::uint32_t maxNames = 512 * 1024;

    /// True when a frame with these ports could carry names: the cheap test that the analysis makes for every frame.
    /// Whoever tells names speaks from the service's own port: a server, a multicast responder, a DHCP client.
    static bool mayHoldNames(const FrameFacts& facts)
    {
        const auto port = facts.sourcePort;
        if (facts.isTcp)
            return port == 53;
        return facts.isUdp && (port == 53 || port == 5353 || port == 5355 || port == 137 || port == 67 || port == 68);
    }
    /// Learns what the frame's payload has to tell; what is not well formed tells nothing. Takes no memory for what is
    /// known already.
    void harvest(const FrameFacts& facts);
    /// Remembers the newest name of an address. A hostile name, and an address that is no single host's (unspecified,
    /// loopback, multicast, broadcast), change nothing.
    void learn(const Address& address, std::string_view name);

    /// The name of an address (IP, or a MAC address that DHCP has named), empty when there is none. The view is good
    /// until the next `harvest` or `learn`.
    std::string_view name(const Address& address) const;
    std::size_t size() const;

private:
    /// A known host, in one cache line. Few names are longer than fits there; those lie in `longNames_`.
    struct Host {
        static constexpr std::size_t shortest = 35;
        Address address;
        std::uint32_t longName = 0; ///< which one, when `length` does not fit
        std::uint8_t length = 0;
        std::array<char, shortest> text;
    };
    static_assert(sizeof(Host) == 64);

    /// Something learnt that is yet to be filed. The tables of names are far larger than the cache and servers tell
    /// much, so some of it is collected first: then the rows it belongs to come from memory at the same time.
    struct Tiding {
        Address address;
        std::uint64_t hash = 0;
        std::uint8_t length = 0;
        std::array<char, 253> text;

        std::string_view name() const { return {text.data(), length}; }
    };
    static constexpr std::size_t mostTidings = 16;

    std::span<const Tiding> tidings() const { return std::span(tidings_).first(tidingCount_); }
    std::uint32_t find(const Address& address, std::uint64_t hash) const;
    void fileTidings();
    void file(const Tiding& tiding);
    std::string_view nameOf(const Host& host) const;

    PagedVector<Host> hosts_;
    SlotIndex index_; ///< of `hosts_`, by address
    std::vector<std::string> longNames_;
    std::array<Tiding, mostTidings> tidings_;
    std::size_t tidingCount_ = 0;
};

} // namespace netrondo
