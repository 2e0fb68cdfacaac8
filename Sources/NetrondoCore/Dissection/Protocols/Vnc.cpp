// The remote framebuffer protocol of VNC (RFC 6143).
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Protocols/TextLines.h"

namespace netrondo::vnc {
namespace {
constexpr NamedValue clientMessages[] = {
    {0, "Set pixel format"}, {2, "Set encodings"}, {3, "Framebuffer update request"},
    {4, "Key event"},        {5, "Pointer event"}, {6, "Client cut text"}};
constexpr NamedValue serverMessages[] = {
    {0, "Framebuffer update"}, {1, "Set colour map entries"}, {2, "Bell"}, {3, "Server cut text"}};
constexpr NamedValue encodings[] = {{0, "raw"},  {1, "copy rectangle"}, {2, "RRE"},   {5, "Hextile"},
                                    {6, "zlib"}, {7, "Tight"},          {15, "TRLE"}, {16, "ZRLE"}};

constexpr Field version{"vnc.version", "Protocol version", Wire::text};
constexpr Field clientMessage{"vnc.client", "Client message", Wire::u8, clientMessages};
constexpr Field serverMessage{"vnc.server", "Server message", Wire::u8, serverMessages};
constexpr Field incremental{"vnc.incremental", "Incremental", Wire::u8};
constexpr Field x{"vnc.x", "X", Wire::u16};
constexpr Field y{"vnc.y", "Y", Wire::u16};
constexpr Field width{"vnc.width", "Width", Wire::u16};
constexpr Field height{"vnc.height", "Height", Wire::u16};
constexpr Field down{"vnc.down", "Down", Wire::u8};
constexpr Field key{"vnc.key", "Key", Wire::hex32};
constexpr Field buttons{"vnc.buttons", "Buttons", Wire::hex8};
constexpr Field rectangles{"vnc.rectangles", "Rectangles", Wire::u16};
constexpr Field encoding{"vnc.encoding", "Encoding", Wire::i32, encodings};
constexpr Field data{"vnc.data", "Data", Wire::bytes};

bool isVersion(Bytes bytes)
{
    return bytes.size() >= 12 && asText(bytes).starts_with("RFB 0") && bytes[11] == '\n';
}

/// Ports 59xx are the server's.
bool isServer(Layer& vnc)
{
    const auto& summary = vnc.summary();
    return summary.sourcePort >= 5500 && summary.sourcePort < 6000;
}

/// What a message is cannot be told without the conversation; a size that fits exactly makes it certain enough.
void readClient(Layer& vnc)
{
    const auto kind = vnc.peek8();
    if (kind == 3 && vnc.left() % 10 == 0)
        vnc.read(clientMessage), vnc.read(incremental, x, y, width, height);
    else if (kind == 4 && vnc.left() % 8 == 0)
        vnc.read(clientMessage), vnc.read(down), vnc.skip(2), vnc.read(key);
    else if (kind == 5 && vnc.left() % 6 == 0)
        vnc.read(clientMessage), vnc.read(buttons, x, y);
    else if ((kind == 0 && vnc.left() >= 20) || (kind == 2 && vnc.left() >= 8))
        vnc.read(clientMessage);
    if (vnc.more())
        vnc.readRest(data);
}

void readServer(Layer& vnc)
{
    const bool update = vnc.left() >= 16 && vnc.peek16() == 0 && vnc.peek16(2) > 0 && vnc.peek16(2) < 2000
        && !nameIn(encodings, vnc.peek32(12)).empty();
    if (update) {
        vnc.read(serverMessage);
        vnc.skip(1);
        vnc.read(rectangles, x, y, width, height);
        vnc.read(encoding);
    }
    if (vnc.more())
        vnc.readRest(data);
}

void decode(Layer& vnc)
{
    if (isVersion(vnc.rest()))
        vnc.readText(version, 11), vnc.skip(1);
    else if (isServer(vnc))
        readServer(vnc);
    else
        readClient(vnc);
}

void describe(const LayerView& vnc, TextSink& out)
{
    if (const auto name = vnc[version])
        return out("Protocol version {}", name);
    if (const auto what = vnc[clientMessage])
        return out("{}", what);
    if (const auto what = vnc[serverMessage])
        return out("{}, {} rectangles, {}", what, vnc[rectangles], vnc[encoding]);
    out("Data, {} bytes", vnc[data].node() ? vnc[data].node()->length : 0u);
}

Likeness guess(Bytes payload, Transport transport)
{
    return transport == Transport::tcp && isVersion(payload) ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {tcpPorts(5900, 5909), tcpPort(5500)};
} // namespace

constexpr Protocol protocol{{"vnc", "VNC", Wire::layer},     {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, 'R')};
static_assert(wellFormed(protocol));
} // namespace netrondo::vnc
