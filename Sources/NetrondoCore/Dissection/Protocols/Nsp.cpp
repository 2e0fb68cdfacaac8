// DECnet's network services protocol and the session control in it (Digital Network Architecture, NSP 4.0.0 and session
// control 1.0.0).
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::nsp {
namespace {
constexpr NamedValue messages[] = {{0x00, "Data, middle"},
                                   {0x20, "Data, first"},
                                   {0x40, "Data, last"},
                                   {0x60, "Data"},
                                   {0x10, "Link service"},
                                   {0x30, "Interrupt"},
                                   {0x04, "Data acknowledgment"},
                                   {0x14, "Other data acknowledgment"},
                                   {0x24, "Connect acknowledgment"},
                                   {0x08, "No operation"},
                                   {0x18, "Connect initiate"},
                                   {0x28, "Connect confirm"},
                                   {0x38, "Disconnect initiate"},
                                   {0x48, "Disconnect confirm"},
                                   {0x68, "Connect initiate, sent again"}};
constexpr NamedValue qualifiers[] = {{0, "acknowledged"},
                                     {1, "not acknowledged"},
                                     {2, "acknowledged on the other channel"},
                                     {3, "not acknowledged on the other channel"}};
constexpr NamedValue flowControls[] = {{0, "none"}, {1, "by segments"}, {2, "by messages"}};
constexpr NamedValue versions[] = {{0, "3.2"}, {1, "3.1"}, {2, "4.0"}, {3, "4.1"}};
constexpr NamedValue requests[] = {{0, "go on"}, {1, "stop"}, {2, "no change"}};
constexpr NamedValue reasons[] = {{0, "by the user"},         {1, "no resources"},    {2, "unrecognized node"},
                                  {3, "node shuts down"},     {4, "unknown object"},  {5, "bad name"},
                                  {6, "object busy"},         {7, "protocol error"},  {8, "aborted"},
                                  {9, "aborted by the user"}, {32, "too many nodes"}, {34, "access refused"},
                                  {36, "bad account"},        {38, "no answer"},      {39, "node unreachable"},
                                  {41, "no such link"},       {42, "disconnected"},   {43, "image too long"}};
constexpr NamedValue objects[] = {{0, "by name"},
                                  {1, "file access (1)"},
                                  {15, "remote control"},
                                  {17, "file access"},
                                  {18, "remote terminal"},
                                  {19, "network management"},
                                  {23, "remote terminal (23)"},
                                  {25, "mirror"},
                                  {26, "event logger"},
                                  {27, "mail"},
                                  {29, "phone"},
                                  {42, "CTERM"},
                                  {63, "test receiver"}};

constexpr Field message{"nsp.type", "Message", Wire::hex8, messages};
constexpr Field destination{"nsp.dst", "Destination link", Wire::le16};
constexpr Field source{"nsp.src", "Source link", Wire::le16};
constexpr Field acknowledgment{"nsp.ack", "Acknowledgment", Wire::leHex16};
constexpr Field qualifier{"nsp.ack_kind", "Kind", Wire::bits, qualifiers, 0x7000};
constexpr Field acknowledged{"nsp.acked", "Number", Wire::bits, {}, 0x0fff};
constexpr Field segment{"nsp.segment", "Segment", Wire::leHex16};
constexpr Field isDelayed{"nsp.delay", "May be acknowledged later", Wire::bit, {}, 0x1000};
constexpr Field number{"nsp.number", "Number", Wire::bits, {}, 0x0fff};
constexpr Field linkFlags{"nsp.link", "Flow", Wire::hex8};
constexpr Field request{"nsp.request", "Request", Wire::bits, requests, 0x03};
constexpr Field credit{"nsp.credit", "Segments or messages more", Wire::u8};
constexpr Field services{"nsp.services", "Services", Wire::hex8};
constexpr Field flowControl{"nsp.flow", "Flow control", Wire::bits, flowControls, 0x0c};
constexpr Field info{"nsp.info", "Information", Wire::hex8};
constexpr Field version{"nsp.version", "Version", Wire::bits, versions, 0x03};
constexpr Field segmentSize{"nsp.size", "Largest segment", Wire::le16};
constexpr Field reason{"nsp.reason", "Reason", Wire::le16, reasons};
constexpr Field destinationName{"nsp.object", "Object called", Wire::group};
constexpr Field sourceName{"nsp.caller", "Caller", Wire::group};
constexpr Field nameFormat{"nsp.name_format", "Format of the name", Wire::u8};
constexpr Field object{"nsp.object_type", "Object type", Wire::u8, objects};
constexpr Field group{"nsp.group_code", "Group", Wire::le16};
constexpr Field user{"nsp.user_code", "User", Wire::le16};
constexpr Field nameLength{"nsp.name_len", "Name length", Wire::u8};
constexpr Field calledName{"nsp.called_name", "Name", Wire::text};
constexpr Field callerName{"nsp.caller_name", "Name", Wire::text};
constexpr Field menu{"nsp.menu", "What follows", Wire::hex8};
constexpr Field hasAccess{"nsp.has_access", "Access control", Wire::bit, {}, 0x01};
constexpr Field hasUserData{"nsp.has_data", "User data", Wire::bit, {}, 0x02};
constexpr Field textLength{"nsp.text_len", "Length", Wire::u8};
constexpr Field requester{"nsp.requester", "User name", Wire::text};
constexpr Field password{"nsp.password", "Password", Wire::text};
constexpr Field account{"nsp.account", "Account", Wire::text};
constexpr Field data{"nsp.data", "Data", Wire::bytes};

/// Up to two acknowledgments: of this channel, and of the other one.
void readAcknowledgments(Layer& nsp)
{
    for (int i = 0; i < 2 && nsp.peek8(1) & 0x80; ++i)
        nsp.readParts(acknowledgment, qualifier, acknowledged);
}

void readObject(Layer& nsp, const Field& whole, const Field& name)
{
    const Layer::Group end(nsp, whole);
    const auto format = nsp.read(nameFormat);
    nsp.read(object);
    if (format == 2)
        nsp.read(group, user);
    if (format != 0)
        nsp.readText(name, nsp.read(nameLength));
}

/// Session control's part of a connect initiate: who is called by whom.
void readCall(Layer& nsp)
{
    readObject(nsp, destinationName, calledName);
    readObject(nsp, sourceName, callerName);
    const auto bits = nsp.readParts(menu, hasAccess, hasUserData);
    if (bits & 1) {
        for (const auto* field : {&requester, &password, &account})
            nsp.readText(*field, nsp.read(textLength));
    }
    if (bits & 2)
        nsp.readBytes(data, nsp.read(textLength));
}

void readConnect(Layer& nsp, bool isCall)
{
    nsp.read(source);
    nsp.readParts(services, flowControl);
    nsp.readParts(info, version);
    nsp.read(segmentSize);
    if (isCall)
        readCall(nsp);
    else if (nsp.more())
        nsp.readBytes(data, nsp.read(textLength));
}

void readSegment(Layer& nsp, std::uint64_t kind)
{
    nsp.read(source);
    readAcknowledgments(nsp);
    nsp.readParts(segment, isDelayed, number);
    if (kind == 0x10) {
        nsp.readParts(linkFlags, request);
        nsp.read(credit);
    } else if (nsp.more()) {
        nsp.readRest(data);
    }
}

void decode(Layer& nsp)
{
    const auto kind = nsp.read(message);
    if (kind == 0x08)
        return nsp.endHere();
    nsp.read(destination);
    switch (kind) {
    case 0x00:
    case 0x20:
    case 0x40:
    case 0x60:
    case 0x10:
    case 0x30: readSegment(nsp, kind); break;
    case 0x04:
    case 0x14:
        nsp.read(source);
        readAcknowledgments(nsp);
        break;
    case 0x24: break;
    case 0x18:
    case 0x68: readConnect(nsp, true); break;
    case 0x28: readConnect(nsp, false); break;
    case 0x38:
        nsp.read(source, reason);
        if (nsp.more())
            nsp.readBytes(data, nsp.read(textLength));
        break;
    case 0x48: nsp.read(source, reason); break;
    default: return nsp.reject(message);
    }
    nsp.endHere();
}

void describe(const LayerView& nsp, TextSink& out)
{
    out("{}", nsp[message]);
    if (const auto from = nsp[source])
        out(", link {} → {}", from, nsp[destination]);
    else if (const auto to = nsp[destination])
        out(", link → {}", to);
    if (const auto what = nsp[object])
        out(", object {}", what);
    if (const auto name = nsp[calledName])
        out(" “{}”", name);
    if (const auto name = nsp[callerName])
        out(" for “{}”", name);
    if (const auto why = nsp[reason])
        out(": {}", why);
    if (const auto place = nsp[number])
        out(", segment {}", place);
    if (const auto upTo = nsp[acknowledged]; upTo && !nsp.has(number))
        out(", up to {}", upTo);
    if (const auto what = nsp[request])
        out(", {}", what);
    if (const auto bytes = nsp[data]; bytes && bytes.node()->length)
        out(", {} bytes", bytes.node()->length);
}
} // namespace

constexpr Protocol protocol{{"nsp", "NSP", Wire::layer}, {}, {}, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::nsp
