// ISO transport over TCP: TPKT (RFC 1006) and the class 0 of X.224 in it, which remote desktops and controllers share.
#pragma once

#include "Dissection/Decode/Layer.h"

namespace netrondo::isoTransport {

inline constexpr NamedValue pduNames[] = {{0xe0, "Connection Request"},
                                          {0xd0, "Connection Confirm"},
                                          {0x80, "Disconnect Request"},
                                          {0xf0, "Data"},
                                          {0x70, "Error"}};
enum Pdu : std::uint8_t { error = 0x70, disconnect = 0x80, confirm = 0xd0, request = 0xe0, data = 0xf0 };

/// The fields of one of these protocols.
struct Fields {
    const Field& packet; ///< a group
    const Field& version;
    const Field& reserved;
    const Field& length;
    const Field& headerLength;
    const Field& pdu;
    const Field& destination;
    const Field& source;
    const Field& options;
    const Field& endOfData;
    const Field& foreign; ///< bytes that are no packet
};

/// Whether a packet of at least the smallest length begins with these bytes, and how long it says to be (7 to 65535).
bool isPacket(Bytes bytes);

/// Reads the layer to its end, packet by packet. `content` gets the kind of PDU and reads what follows the fixed part
/// of its header, in a window that ends with the packet.
void read(Layer& layer, const Fields& fields, void content(Layer&, std::uint64_t pdu));

} // namespace netrondo::isoTransport
