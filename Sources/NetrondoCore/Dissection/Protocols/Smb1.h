// Messages of SMB's first version (MS-CIFS, 2.2.3).
#pragma once

#include "Dissection/Decode/Layer.h"
#include "Dissection/Decode/LayerView.h"

namespace netrondo::smb1 {

inline constexpr std::uint32_t magic = 0xff534d42;

/// Reads a message with all commands of its chain.
void read(Layer& smb);
void describe(const LayerView& smb, TextSink& out);

} // namespace netrondo::smb1
