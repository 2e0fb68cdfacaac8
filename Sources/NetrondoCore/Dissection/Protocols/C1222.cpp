// ANSI C12.22: meters on networks, ACSE around the services that read and write their tables (IEEE 1703).
#include "Dissection/Protocols/Ber.h"
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>

namespace netrondo::c1222 {
namespace {
constexpr NamedValue elements[] = {{0xa1, "application context"}, {0xa2, "called title"},  {0xa3, "called qualifier"},
                                   {0xa4, "called invocation"},   {0xa6, "calling title"}, {0xa7, "calling qualifier"},
                                   {0xa8, "calling invocation"},  {0x8b, "mechanism"},     {0xac, "authentication"},
                                   {0xbe, "user information"}};
constexpr NamedValue services[] = {{0x20, "Identification"},
                                   {0x21, "Terminate"},
                                   {0x22, "Disconnect"},
                                   {0x24, "Deregister"},
                                   {0x25, "Resolve"},
                                   {0x26, "Trace"},
                                   {0x27, "Register"},
                                   {0x30, "Full read"},
                                   {0x31, "Partial read by index 1"},
                                   {0x32, "Partial read by index 2"},
                                   {0x33, "Partial read by index 3"},
                                   {0x3e, "Default read"},
                                   {0x3f, "Partial read by offset"},
                                   {0x40, "Full write"},
                                   {0x41, "Partial write by index 1"},
                                   {0x42, "Partial write by index 2"},
                                   {0x43, "Partial write by index 3"},
                                   {0x4f, "Partial write by offset"},
                                   {0x50, "Logon"},
                                   {0x51, "Security"},
                                   {0x52, "Logoff"},
                                   {0x60, "Negotiate"},
                                   {0x70, "Wait"},
                                   {0x71, "Timing setup"}};
constexpr NamedValue results[] = {{0x00, "ok"},
                                  {0x01, "error"},
                                  {0x02, "service not supported"},
                                  {0x03, "insufficient security clearance"},
                                  {0x04, "operation not possible"},
                                  {0x05, "inappropriate action requested"},
                                  {0x06, "device busy"},
                                  {0x07, "data not ready"},
                                  {0x08, "data locked"},
                                  {0x09, "renegotiate"},
                                  {0x0a, "invalid service sequence"},
                                  {0x0b, "security mechanism error"},
                                  {0x0c, "unknown title"},
                                  {0x0d, "network timeout"},
                                  {0x0e, "network not reachable"},
                                  {0x0f, "request too large"},
                                  {0x10, "response too large"},
                                  {0x11, "segmentation not possible"},
                                  {0x12, "segmentation error"}};
constexpr NamedValue securityModes[] = {{0, "clear text"}, {1, "clear text, authenticated"}, {2, "encrypted"}};
constexpr NamedValue responseModes[] = {{0, "always"}, {1, "on exception"}, {2, "never"}};

constexpr Field message{"c1222.message", "Message", Wire::group};
constexpr Field acse{"c1222.acse", "ACSE", Wire::hex8};
constexpr Field element{"c1222.element", "Element", Wire::hex, elements};
constexpr Field context{"c1222.context", "Application context", Wire::oid};
constexpr Field calledTitle{"c1222.called", "Called title", Wire::oid};
constexpr Field callingTitle{"c1222.calling", "Calling title", Wire::oid};
constexpr Field relativeTitle{"c1222.relative", "Relative title", Wire::bytes};
constexpr Field qualifier{"c1222.qualifier", "Qualifier", Wire::number};
constexpr Field calledInvocation{"c1222.called_invocation", "Called invocation", Wire::number};
constexpr Field callingInvocation{"c1222.calling_invocation", "Calling invocation", Wire::number};
constexpr Field mechanism{"c1222.mechanism", "Mechanism", Wire::oid};
constexpr Field epsem{"c1222.epsem", "EPSEM control", Wire::hex8};
constexpr Field recovery{"c1222.recovery", "Session recovered", Wire::bit, {}, 0x40};
constexpr Field proxied{"c1222.proxied", "Through a proxy", Wire::bit, {}, 0x20};
constexpr Field hasDevice{"c1222.has_device", "Device class given", Wire::bit, {}, 0x10};
constexpr Field securityMode{"c1222.security_mode", "Security", Wire::bits, securityModes, 0x0c};
constexpr Field responseMode{"c1222.response_mode", "Response", Wire::bits, responseModes, 0x03};
constexpr Field device{"c1222.device", "Device class", Wire::bytes};
constexpr Field serviceLength{"c1222.service_length", "Service length", Wire::number};
constexpr Field service{"c1222.service", "Service", Wire::hex8, services};
constexpr Field result{"c1222.result", "Result", Wire::hex8, results};
constexpr Field table{"c1222.table", "Table", Wire::u16};
constexpr Field index{"c1222.index", "Index", Wire::u16};
constexpr Field offset{"c1222.offset", "Offset", Wire::u24};
constexpr Field count{"c1222.count", "Count", Wire::u16};
constexpr Field values{"c1222.values", "Values", Wire::bytes};
constexpr Field checksum{"c1222.checksum", "Checksum", Wire::hex8};
constexpr Field userId{"c1222.user_id", "User ID", Wire::u16};
constexpr Field user{"c1222.user", "User", Wire::text};
constexpr Field timeout{"c1222.timeout", "Session timeout (s)", Wire::u16};
constexpr Field password{"c1222.password", "Password", Wire::bytes};
constexpr Field waiting{"c1222.wait", "Wait (s)", Wire::u8};
constexpr Field mac{"c1222.mac", "Message authentication code", Wire::bytes};
constexpr Field data{"c1222.data", "Data", Wire::bytes};

constexpr std::uint8_t acseTag = 0x60, userInformation = 0xbe, external = 0x28, epsemTag = 0x81;

/// Values with the count before them and a checksum behind them.
void readValues(Layer& meter)
{
    const auto size = meter.read(count);
    if (size)
        meter.readBytes(values, size);
    meter.read(checksum);
}

void readRequest(Layer& meter, std::uint64_t what)
{
    const auto low = what & 0x0f;
    switch (what >> 4) {
    case 3:
    case 4:
        if (what == 0x3e)
            return;
        meter.read(table);
        if (low == 0x0f)
            meter.read(offset);
        for (std::uint64_t i = 0; low < 10 && i < low; ++i)
            meter.read(index);
        if (what >> 4 == 4)
            readValues(meter);
        else if (low)
            meter.read(count);
        return;
    case 5:
        if (what == 0x50) {
            meter.read(userId);
            meter.readText(user, 10);
            if (meter.more(2))
                meter.read(timeout);
        } else if (what == 0x51) {
            meter.readBytes(password, 20);
            if (meter.more(2))
                meter.read(userId);
        }
        return;
    case 7:
        if (what == 0x70)
            meter.read(waiting);
        return;
    default: return;
    }
}

/// An answer does not say which service it answers; an ok one with a count that fits is a read's.
void readAnswer(Layer& meter, std::uint64_t outcome)
{
    if (outcome == 0 && meter.left() >= 3 && meter.peek16() + 3u == meter.leftOnWire())
        readValues(meter);
}

/// Each is led by its length, in BER's way of writing lengths.
void readService(Layer& meter)
{
    const std::size_t lead = meter.peek8(), wide = lead & 0x80 ? lead & 0x7f : 0;
    if (wide > 2 || meter.left() < 1 + wide)
        return wide > 2 ? meter.reject(serviceLength) : meter.await(serviceLength);
    const std::size_t size = wide == 0 ? lead : wide == 1 ? meter.peek8(1) : meter.peek16(1);
    meter.add(serviceLength, size, meter.offset(), 1 + wide);
    meter.skip(1 + wide);
    const Layer::Window content(meter, size);
    if (!meter.more())
        return;
    if (meter.peek8() < 0x20)
        readAnswer(meter, meter.read(result));
    else
        readRequest(meter, meter.read(service));
    if (meter.more())
        meter.readRest(data);
}

void readEpsem(Layer& meter)
{
    const auto bits = meter.readParts(epsem, recovery, proxied, hasDevice, securityMode, responseMode);
    if (bits & 0x10)
        meter.readBytes(device, 4);
    if ((bits >> 2 & 3) == 2) // encrypted, all of it
        return static_cast<void>(meter.more() ? meter.readRest(data) : Bytes());
    const std::size_t behind = (bits >> 2 & 3) == 1 ? 4 : 0;
    while (meter.more() && meter.leftOnWire() > behind)
        readService(meter);
    if (behind && meter.more())
        meter.readRest(mac);
}

/// A title: an object identifier, or one relative to the network's.
void readTitle(Layer& meter, const Field& field)
{
    ber::readContents(meter, ber::tag(meter) == ber::objectId ? field : relativeTitle);
}

void readContents(Layer& meter, std::uint8_t tag)
{
    switch (tag) {
    case 0xa1: ber::readContents(meter, context); break;
    case 0xa2: readTitle(meter, calledTitle); break;
    case 0xa6: readTitle(meter, callingTitle); break;
    case 0xa3:
    case 0xa7: ber::readInteger(meter, qualifier); break;
    case 0xa4: ber::readInteger(meter, calledInvocation); break;
    case 0xa8: ber::readInteger(meter, callingInvocation); break;
    case 0x8b: meter.readRest(mechanism); break;
    case userInformation: {
        const Layer::Window outer(meter, ber::enter(meter, external, element));
        const Layer::Window inner(meter, ber::enter(meter, epsemTag, element));
        if (meter.more())
            readEpsem(meter);
        break;
    }
    default: break;
    }
}

void readElements(Layer& meter)
{
    while (meter.more()) {
        const auto tag = ber::tag(meter);
        const Layer::Group group(meter, element, tag);
        const Layer::Window content(meter, ber::enter(meter, tag, element));
        if (meter.more())
            readContents(meter, tag);
        if (meter.more())
            meter.readRest(data);
    }
}

void decode(Layer& meter)
{
    while (meter.more()) {
        if (ber::tag(meter) != acseTag)
            return static_cast<void>(meter.readRest(data));
        meter.beginMessage();
        const Layer::Group group(meter, message);
        const auto header = ber::peek(meter);
        if (header)
            meter.add(acse, acseTag, meter.offset(), header->size);
        const Layer::Window body(meter, ber::enter(meter, acseTag, acse));
        readElements(meter);
    }
}

void describe(const LayerView& meter, TextSink& out)
{
    if (!meter.has(message))
        return out("Data, {} bytes", meter.bytes().size());
    std::size_t told = 0;
    for (const auto& node : meter.nodes()) {
        const bool isResult = node.field == &result;
        if ((isResult || node.field == &service) && ++told <= 4)
            out("{}{}{}", told > 1 ? ", " : "", isResult ? "Response: " : "", Value(meter.tree(), &node));
    }
    if (!told)
        out("{}", meter.has(epsem) ? "EPSEM" : "ACSE");
    if (const auto which = meter[table])
        out(", table {}", which);
    if (const auto who = meter[user])
        out(", user {}", who);
    if (const auto from = meter[callingTitle])
        out(", from {}", from);
    if (const auto to = meter[calledTitle])
        out(", to {}", to);
}

constexpr Claim claims[] = {tcpPort(1153), udpPort(1153)};
} // namespace

constexpr Protocol protocol{{"c1222", "C12.22", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::c1222
