// File Transfer Protocol: the data connection (RFC 959).
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/TextLines.h"

namespace netrondo::ftpdata {
namespace {
constexpr Field text{"ftpdata.text", "First line", Wire::text};
constexpr Field data{"ftpdata.data", "Data", Wire::bytes};

void decode(Layer& layer)
{
    if (textLines::isText(layer.rest()))
        layer.add(text, 0, layer.offset(), textLines::firstLine(layer.rest()).size());
    if (layer.left())
        layer.readRest(data);
}

void describe(const LayerView& view, TextSink& out)
{
    if (const auto bytes = view[data])
        out("FTP data, {} bytes", bytes.node()->length);
}

constexpr Claim claims[] = {tcpPort(20)};
} // namespace

constexpr Protocol protocol{{"ftpdata", "FTP-DATA", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::ftpdata
