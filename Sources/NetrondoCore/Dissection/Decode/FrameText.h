// Frames, nodes and bytes as text to be pasted elsewhere.
#pragma once

#include "Dissection/Decode/PacketDecoder.h"
#include "Dissection/Decode/TextSink.h"

namespace netrondo::FrameText {

/// A node's row and those below it, indented by their depth, a line each.
void subtree(const DecodedFrame& frame, std::uint32_t node, TextSink& out);
/// All rows of the tree.
void tree(const DecodedFrame& frame, TextSink& out);

/// Lower-case pairs of digits without anything between them.
void hex(Bytes bytes, TextSink& out);
/// Lines of sixteen: offset, pairs of digits, characters.
void hexDump(Bytes bytes, TextSink& out);
/// The bytes as the initialiser of a C array of that name.
void cArray(Bytes bytes, std::string_view name, TextSink& out);

/// How a byte is shown as a character: itself if it is printable ASCII, else a point.
constexpr char character(std::uint8_t byte)
{
    return byte >= 0x20 && byte < 0x7f ? static_cast<char>(byte) : '.';
}

} // namespace netrondo::FrameText
