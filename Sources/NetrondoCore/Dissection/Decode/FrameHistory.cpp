// Finding the nodes by their fields.
#include "Dissection/Decode/FrameHistory.h"

#include "Dissection/Decode/Protocol.h"

namespace netrondo {
namespace {

/// The id of the field that shows the finding.
std::string_view fieldOf(Expert finding)
{
    switch (finding) {
    case Expert::tcpAckedUnseen: return "tcp.ack";
    case Expert::tcpZeroWindow: return "tcp.window";
    default: return "tcp.seq";
    }
}

} // namespace

void markHistory(DecodedFrame& frame, std::span<const Expert> findings)
{
    if (findings.empty())
        return;
    auto& tree = frame.tree;
    for (const auto& layer : tree.layers()) {
        if (layer.quoted || layer.protocol->field.id != std::string_view("tcp"))
            continue;
        for (const auto finding : findings) {
            for (auto index = layer.node + 1; index < tree[layer.node].end; ++index) {
                if (tree[index].field->id == fieldOf(finding)) {
                    tree.at(index).expert = finding;
                    break;
                }
            }
        }
        return;
    }
}

} // namespace netrondo
