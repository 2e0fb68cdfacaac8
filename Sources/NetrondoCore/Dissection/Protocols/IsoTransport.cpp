// Packets of a stream, and the fixed parts of their headers.
#include "Dissection/Protocols/IsoTransport.h"

namespace netrondo::isoTransport {
namespace {
std::uint64_t readHeader(Layer& layer, const Fields& fields)
{
    layer.read(fields.headerLength);
    const auto kind = layer.read(fields.pdu);
    if (kind == request || kind == confirm || kind == disconnect)
        layer.read(fields.destination, fields.source, fields.options);
    else if (kind == data)
        layer.read(fields.endOfData);
    return kind;
}
} // namespace

bool isPacket(Bytes bytes)
{
    return bytes.size() >= 7 && bytes[0] == 3 && bytes[1] == 0 && load::be16(&bytes[2]) >= 7;
}

void read(Layer& layer, const Fields& fields, void content(Layer&, std::uint64_t pdu))
{
    while (layer.more()) {
        if (layer.peek8() != 3 || layer.peek8(1) != 0) {
            layer.readRest(fields.foreign);
            return;
        }
        layer.beginMessage();
        const Layer::Group group(layer, fields.packet);
        layer.read(fields.version, fields.reserved);
        const auto size = layer.read(fields.length);
        if (size < 7)
            return layer.reject(fields.length);
        const Layer::Window inside(layer, size - 4);
        const auto kind = readHeader(layer, fields);
        if (layer.more())
            content(layer, kind);
    }
}

} // namespace netrondo::isoTransport
