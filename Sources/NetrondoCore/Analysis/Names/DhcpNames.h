// Host names from DHCP (RFC 2131, RFC 2132, RFC 4702).
#pragma once

#include "Base/Bytes.h"

namespace netrondo {
class HostNameStore;
}

namespace netrondo::names {

/// Learns the name of a client: its MAC address and, where it has one already, its IP address are named when it tells
/// its name; the address it is given is named when the server acknowledges it, by the server's name for it or by the
/// one that the client told before. A fully qualified name (option 81) is preferred to a host name (option 12).
void learnFromDhcp(Bytes message, HostNameStore& store);

} // namespace netrondo::names
