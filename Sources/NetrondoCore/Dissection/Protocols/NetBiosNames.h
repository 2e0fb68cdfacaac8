// NetBIOS names as they stand in the frames of NetBEUI and IPX, and as the letters that TCP/IP carries.
#pragma once

#include "Dissection/Decode/Layer.h"
#include "Dissection/Protocols/MadeText.h"

#include <array>
#include <optional>

namespace netrondo::netBiosNames {

constexpr std::size_t length = 16, encodedLength = 33;

/// "WORKGROUP<1e>": the letters without what fills them up, and the last byte, which says what kind of name it is.
void put(MadeText& out, Bytes sixteen);
/// The name that the bytes begin with as a label of 32 letters, two for each of its bytes (RFC 1001, 14.1); nothing
/// where they are something else.
std::optional<std::array<std::uint8_t, length>> unpack(Bytes bytes);

/// Reads a name of 16 bytes.
void read(Layer& layer, const Field& field);
/// Reads a name of letters with the empty label that ends it; false, and nothing read, where there is none.
bool readEncoded(Layer& layer, const Field& field);

} // namespace netrondo::netBiosNames
