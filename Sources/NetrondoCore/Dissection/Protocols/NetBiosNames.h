// NetBIOS names as they stand in the frames of NetBEUI, of IPX and of the datagram service.
#pragma once

#include "Dissection/Decode/Layer.h"

namespace netrondo::netBiosNames {

constexpr std::size_t length = 16;

/// "WORKGROUP<1e>": the letters without what fills them up, and the last byte, which says what kind of name it is.
void put(Layer& layer, const Field& field, Bytes sixteen, std::size_t from, std::size_t size);
/// A name of 16 bytes.
void read(Layer& layer, const Field& field);

} // namespace netrondo::netBiosNames
