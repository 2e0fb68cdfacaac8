// The transactions of SMB's first version: messages to a mailslot, and calls over a named pipe (MS-CIFS, 2.2.4.33).
#pragma once

#include "Dissection/Decode/Layer.h"
#include "Dissection/Decode/LayerView.h"

namespace netrondo::smbTransaction {

/// Whether the command with so many words is a transaction that can be read.
bool isOne(std::uint64_t command, std::uint64_t words, bool answers);
/// Reads it from its words on; what it carries goes to the protocol that its name tells. `headerAt` is where the
/// message begins.
void read(Layer& smb, std::uint64_t words, bool answers, bool isUnicode, std::uint32_t headerAt);
/// What it is sent to, and what is asked there.
void describe(const LayerView& smb, TextSink& out);

} // namespace netrondo::smbTransaction
