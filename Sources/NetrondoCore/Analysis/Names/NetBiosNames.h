// Host names from the NetBIOS name service (RFC 1001, RFC 1002).
#pragma once

#include "Base/Address.h"
#include "Base/Bytes.h"

namespace netrondo {
class HostNameStore;
}

namespace netrondo::names {

/// Learns the names that hosts claim (registrations and refreshes: where names are broadcast, silence is consent), that
/// name servers and owners confirm, and that `sender` lists as its own. Only names of one host count, and of those the
/// workstation's and the file server's; the others name groups, domains and users.
void learnFromNetBios(Bytes message, const Address& sender, HostNameStore& store);

} // namespace netrondo::names
