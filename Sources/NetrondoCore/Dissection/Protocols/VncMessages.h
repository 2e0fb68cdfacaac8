// The messages of VNC once both sides have agreed (RFC 6143, 7.5 to 7.8).
#pragma once

#include "Dissection/Decode/Layer.h"
#include "Dissection/Decode/LayerView.h"
#include "Dissection/Protocols/VncNames.h"

namespace netrondo::vncMessages {

inline constexpr Field data{"vnc.data", "Data", Wire::bytes};
inline constexpr Field width{"vnc.width", "Width", Wire::u16};
inline constexpr Field height{"vnc.height", "Height", Wire::u16};
inline constexpr Field bitsPerPixel{"vnc.bits_per_pixel", "Bits per pixel", Wire::u8};

/// What is known of a connection's messages. Of a way that is not `inStep`, nobody knows where the next one begins.
struct State {
    std::uint16_t width = 0, height = 0; ///< of the desktop; 0 where unknown
    std::uint16_t rectangles = 0;        ///< of the update that is being sent, those to come
    std::uint8_t pixelSize = 0;          ///< bytes; 0 where unknown
    std::uint8_t tightPixelSize = 0;     ///< of Tight, which leaves out an unused byte
    bool isServerInStep = false, isClientInStep = false;

    friend bool operator==(const State&, const State&) = default;
};

/// Reads a pixel format, which holds for what the server sends from here on.
void readPixelFormat(Layer& vnc, State& state);
/// Reads so many bytes, in this segment and those that follow.
void readContent(Layer& vnc, const Field& field, std::uint64_t size);

/// Reads one message, or one rectangle of an update. A way that is not in step gets there by bytes that hardly mean
/// anything else. False when the bytes are no message: the way is out of step then.
bool readFromClient(Layer& vnc, State& state);
bool readFromServer(Layer& vnc, State& state);

/// Nothing where there is no message.
void describe(const LayerView& vnc, TextSink& out);

} // namespace netrondo::vncMessages
