// The words and bytes of the commands of SMB's first version (MS-CIFS, 2.2.4; MS-SMB, 2.2.4).
#pragma once

#include "Dissection/Decode/Layer.h"
#include "Dissection/Decode/LayerView.h"

namespace netrondo::smbCommands {

/// One command of a message.
struct Command {
    std::uint64_t number, words; ///< how many words it has, of two bytes each
    bool answers, isUnicode;
    std::uint32_t headerAt; ///< where the message begins; text is aligned against it
};

/// What the words say of the bytes that follow them, and of the next command.
struct Sizes {
    std::uint64_t next = 0xff, nextOffset = 0; ///< the command that follows in the message; 0xff is none
    std::uint64_t blob = 0, password = 0, widePassword = 0;
};

/// Reads as many of the words as are taken apart, in a window that ends with them.
Sizes readWords(Layer& smb, const Command& command);
/// Reads the texts and blobs behind the words, in a window that ends with them.
void readBytes(Layer& smb, const Command& command, const Sizes& sizes);
/// The path, file or amount that a command is about.
void describe(const LayerView& smb, TextSink& out);

} // namespace netrondo::smbCommands
