// The message format that DNS, multicast DNS, LLMNR and the NetBIOS name service share (RFC 1035, RFC 1002).
#pragma once

#include "Dissection/Decode/Layer.h"
#include "Dissection/Decode/LayerView.h"
#include "Dissection/Protocols/MadeText.h"

namespace netrondo::dnsMessage {

inline constexpr NamedValue rcodes[] = {{0, "no error"},          {1, "format error"},      {2, "server failure"},
                                        {3, "no such name"},      {4, "not implemented"},   {5, "refused"},
                                        {6, "name exists"},       {7, "record set exists"}, {8, "no such record set"},
                                        {9, "not authoritative"}, {10, "not in zone"},      {16, "bad version"}};

inline constexpr Field id{"dns.id", "DNS transaction ID", Wire::hex16};
inline constexpr Field rcode{"dns.rcode", "DNS response code", Wire::bits, rcodes, 0x000f};
inline constexpr Field question{"dns.q", "DNS query name", Wire::madeText};
inline constexpr Field answer{"dns.an", "DNS answer", Wire::madeText};

enum class Names { domain, netBios };

/// Reads one message; the layer ends with it.
void read(Layer& layer, Names names);
/// "Standard query 0x1234 A example.com", or the response with its answers.
void describe(const LayerView& view, TextSink& out);
/// True when the bytes hold a header that a resolver could have sent.
bool looksRight(Bytes message);

/// The domain name at `offset` of the message, compression followed; where the name's own bytes end, or 0 when it is
/// broken.
std::size_t name(Bytes message, std::size_t offset, MadeText& out);

} // namespace netrondo::dnsMessage
