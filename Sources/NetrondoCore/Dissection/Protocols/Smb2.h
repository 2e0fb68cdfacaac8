// Messages of SMB's second generation, versions 2 and 3 (MS-SMB2, 2.2).
#pragma once

#include "Dissection/Decode/Layer.h"
#include "Dissection/Decode/LayerView.h"

namespace netrondo::smb2 {

inline constexpr std::uint32_t magic = 0xfe534d42;

/// Reads messages as long as one follows the other.
void read(Layer& smb);
void describe(const LayerView& smb, TextSink& out);

} // namespace netrondo::smb2
