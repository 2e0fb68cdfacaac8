// ASN.1 in the Basic Encoding Rules (X.690), as SNMP, LDAP and Kerberos use it.
#pragma once

#include "Dissection/Decode/Layer.h"

#include <cstdint>
#include <optional>

namespace netrondo::ber {

constexpr std::uint8_t boolean = 0x01, integer = 0x02, octets = 0x04, null = 0x05, objectId = 0x06, enumerated = 0x0a,
                       sequence = 0x30, set = 0x31;
/// The tag of a context-specific constructed element.
constexpr std::uint8_t context(unsigned number)
{
    return static_cast<std::uint8_t>(0xa0 | number);
}

/// What stands in front of an element's contents.
struct Header {
    std::uint8_t tag = 0; ///< high tag numbers do not occur in these protocols
    std::size_t size = 0; ///< of tag and length
    std::size_t length = 0;
};

/// The header at the layer's offset, nothing when it is incomplete or of indefinite length.
std::optional<Header> peek(const Layer& layer);

/// Steps over a header with the tag; the answer is the length of the contents. Another tag rejects the layer with
/// `field` as the reason and yields 0.
std::size_t enter(Layer& layer, std::uint8_t tag, const Field& field);
/// Reads an INTEGER, ENUMERATED or BOOLEAN into a node. Wider than 64 bits it keeps the low ones.
std::uint64_t readInteger(Layer& layer, const Field& field);
/// Reads the contents of any primitive element as a node of the field's kind.
Bytes readContents(Layer& layer, const Field& field);
/// Steps over the element, whatever it is.
void skip(Layer& layer);
/// The tag at the offset, 0 at the end.
inline std::uint8_t tag(const Layer& layer)
{
    return layer.peek8();
}
/// True when the bytes begin with a sequence whose length fits them (or, in a stream, may go on).
bool startsSequence(Bytes bytes);

} // namespace netrondo::ber
