// Host names from DNS answers (RFC 1035), and from their kin on the local link.
#pragma once

#include "Base/Bytes.h"

#include <cstdint>

namespace netrondo {
class HostNameStore;
}

namespace netrondo::names {

enum class DnsKind : std::uint8_t {
    unicast,
    multicast, ///< RFC 6762
    linkLocal, ///< LLMNR, RFC 4795
};

/// Learns the address and pointer records of a response without an error, as far as the message is there.
///
/// An address is given the name that was asked for where the answer leads from there to the address through aliases
/// (CNAME): that is the name users know; the owner of the address record is then some content network's. Without an
/// alias it is the record's owner. Of a multicast answer the additional records count too, because that is where
/// announcements of services carry the addresses of their hosts; other servers put what they like there.
void learnFromDns(Bytes message, DnsKind kind, HostNameStore& store);

} // namespace netrondo::names
