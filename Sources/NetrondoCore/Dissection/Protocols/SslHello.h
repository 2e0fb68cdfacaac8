// The client hello of SSL 2.0, by which clients of old began that would speak TLS as well (RFC 5246, appendix E.2).
#pragma once

#include "Base/Bytes.h"
#include "Dissection/Decode/Layer.h"

namespace netrondo::sslHello {

/// Whether the bytes begin with one: the lengths in its head add up to its own.
bool begins(Bytes bytes);
/// Reads the whole of it, as the client hello that it is.
void read(Layer& layer);

} // namespace netrondo::sslHello
