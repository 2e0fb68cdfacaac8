// The declarations behind Protocols.def: one `protocol` in each protocol's namespace.
#pragma once

#include "Dissection/Decode/Layer.h"
#include "Dissection/Decode/LayerView.h"
#include "Dissection/Decode/Protocol.h"

namespace netrondo {

#define NR_PROTOCOL(name)                                                                                              \
    namespace name {                                                                                                   \
    extern const Protocol protocol;                                                                                    \
    }
#define NR_LAYER(name) NR_PROTOCOL(name)
#include "Dissection/Protocols/Protocols.def"
#undef NR_PROTOCOL
#undef NR_LAYER

} // namespace netrondo
