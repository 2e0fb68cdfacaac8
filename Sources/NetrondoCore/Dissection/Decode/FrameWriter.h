// Decoded frames as people and programs read them: a line of the packet list each, or a line of JSON with the tree.
#pragma once

#include "Base/Json.h"
#include "Base/TextOutput.h"
#include "Dissection/Decode/PacketList.h"

namespace netrondo {

class FrameWriter {
public:
    enum class Form { list, json };

    /// Writes to `out`, which outlives it; what it needs is used again from frame to frame.
    FrameWriter(TextOutput& out, Form form) : out_(out), form_(form), json_(out) { }

    void write(const DecodedFrame& frame);

private:
    void writeJson(const DecodedFrame& frame);

    TextOutput& out_;
    Form form_;
    JsonWriter json_;
    TextSink text_;
    PacketList list_;
};

} // namespace netrondo
