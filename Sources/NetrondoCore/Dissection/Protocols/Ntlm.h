// NTLM messages (MS-NLMP), which several protocols carry among other credentials.
#pragma once

#include "Dissection/Decode/Layer.h"
#include "Dissection/Decode/LayerView.h"

namespace netrondo::ntlm {

/// Adds what an NTLM message within `credentials` says of the user; nothing where there is none. `at` is where they
/// stand.
void read(Layer& layer, Bytes credentials, std::size_t at);
/// The user, or else which message it is.
void describe(const LayerView& view, TextSink& out);

} // namespace netrondo::ntlm
