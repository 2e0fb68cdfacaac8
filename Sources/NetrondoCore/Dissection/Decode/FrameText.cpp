// Lines for the clipboard.
#include "Dissection/Decode/FrameText.h"

#include "Dissection/Decode/Render.h"

#include <array>

namespace netrondo::FrameText {
namespace {
constexpr std::size_t bytesPerLine = 16;
constexpr std::size_t bytesPerArrayLine = 12;
constexpr std::size_t maxDepth = 64;

void rows(const DecodedFrame& frame, std::uint32_t from, std::uint32_t to, TextSink& out)
{
    std::array<std::uint32_t, maxDepth> ends;
    std::size_t depth = 0;
    for (auto node = from; node < to; ++node) {
        while (depth > 0 && ends[depth - 1] <= node)
            --depth;
        for (std::size_t i = 0; i < depth; ++i)
            out.put("    ");
        Render::row(frame, node, out);
        out.put('\n');
        if (frame.tree[node].end > node + 1 && depth < maxDepth)
            ends[depth++] = frame.tree[node].end;
    }
}
} // namespace

void subtree(const DecodedFrame& frame, std::uint32_t node, TextSink& out)
{
    rows(frame, node, frame.tree[node].end, out);
}

void tree(const DecodedFrame& frame, TextSink& out)
{
    rows(frame, 0, frame.tree.size(), out);
}

void hex(Bytes bytes, TextSink& out)
{
    for (const auto byte : bytes)
        out.putHex(byte, 2);
}

void hexDump(Bytes bytes, TextSink& out)
{
    for (std::size_t at = 0; at < bytes.size(); at += bytesPerLine) {
        const auto line = slice(bytes, at, bytesPerLine);
        out.putHex(at, 4);
        out.put(' ');
        for (std::size_t i = 0; i < bytesPerLine; ++i) {
            out.put(i == bytesPerLine / 2 ? "  " : " ");
            if (i < line.size())
                out.putHex(line[i], 2);
            else
                out.put("  ");
        }
        out.put("  ");
        for (const auto byte : line)
            out.put(character(byte));
        out.put('\n');
    }
}

void cArray(Bytes bytes, std::string_view name, TextSink& out)
{
    out("static const unsigned char {}[{}] = {", name, bytes.size());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        out.put(i % bytesPerArrayLine == 0 ? "\n    0x" : " 0x");
        out.putHex(bytes[i], 2);
        out.put(',');
    }
    out.put("\n};\n");
}

} // namespace netrondo::FrameText
