// X.509 certificates (RFC 5280) as a chain shows them, read through OpenSSL.
#pragma once

#include "Dissection/Decode/Layer.h"

namespace netrondo::certificate {

/// Reads a certificate of `size` bytes at the layer's offset. A cut one becomes bytes only.
void read(Layer& layer, std::size_t size);

} // namespace netrondo::certificate
