// Simple Network Management Protocol versions 1, 2c and 3 (RFC 1157, 3416, 3412).
#include "Dissection/Protocols/Ber.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::snmp {
namespace {
constexpr NamedValue versions[] = {{0, "1"}, {1, "2c"}, {3, "3"}};
constexpr NamedValue operations[] = {
    {0, "get-request"},      {1, "get-next-request"}, {2, "response"}, {3, "set-request"}, {4, "trap"},
    {5, "get-bulk-request"}, {6, "inform-request"},   {7, "trap-v2"},  {8, "report"}};
constexpr NamedValue errors[] = {
    {0, "no error"},     {1, "too big"},       {2, "no such name"},        {3, "bad value"},
    {4, "read only"},    {5, "general error"}, {6, "no access"},           {7, "wrong type"},
    {8, "wrong length"}, {10, "wrong value"},  {12, "inconsistent value"}, {16, "authorization error"},
    {17, "not writable"}};
constexpr NamedValue traps[] = {{0, "cold start"},
                                {1, "warm start"},
                                {2, "link down"},
                                {3, "link up"},
                                {4, "authentication failure"},
                                {5, "EGP neighbour loss"},
                                {6, "enterprise specific"}};

constexpr Field version{"snmp.version", "SNMP version", Wire::number, versions};
constexpr Field community{"snmp.community", "SNMP community", Wire::text};
constexpr Field messageId{"snmp.msg_id", "Message ID", Wire::number};
constexpr Field maxSize{"snmp.max_size", "Maximum message size", Wire::number};
constexpr Field messageFlags{"snmp.msg_flags", "Message flags", Wire::bytes};
constexpr Field securityModel{"snmp.security_model", "Security model", Wire::number};
constexpr Field engine{"snmp.engine", "Engine ID", Wire::bytes};
constexpr Field boots{"snmp.engine_boots", "Engine boots", Wire::number};
constexpr Field engineTime{"snmp.engine_time", "Engine time", Wire::number};
constexpr Field user{"snmp.user", "User", Wire::text};
constexpr Field authentication{"snmp.auth", "Authentication parameters", Wire::bytes};
constexpr Field privacy{"snmp.privacy", "Privacy parameters", Wire::bytes};
constexpr Field contextName{"snmp.context", "Context", Wire::text};
constexpr Field encrypted{"snmp.encrypted", "Encrypted PDU", Wire::bytes};
constexpr Field operation{"snmp.pdu", "SNMP operation", Wire::number, operations};
constexpr Field requestId{"snmp.request_id", "Request ID", Wire::number};
constexpr Field errorStatus{"snmp.error", "Error", Wire::number, errors};
constexpr Field errorIndex{"snmp.error_index", "Error index", Wire::number};
constexpr Field nonRepeaters{"snmp.non_repeaters", "Non-repeaters", Wire::number};
constexpr Field repetitions{"snmp.repetitions", "Maximum repetitions", Wire::number};
constexpr Field enterprise{"snmp.enterprise", "Enterprise", Wire::oid};
constexpr Field agent{"snmp.agent", "Agent address", Wire::ipv4};
constexpr Field genericTrap{"snmp.generic_trap", "Generic trap", Wire::number, traps};
constexpr Field specificTrap{"snmp.specific_trap", "Specific trap", Wire::number};
constexpr Field uptime{"snmp.uptime", "Time stamp (10 ms)", Wire::number};
constexpr Field binding{"snmp.binding", "Variable", Wire::group};
constexpr Field name{"snmp.name", "Name", Wire::oid};
constexpr Field integerValue{"snmp.value_int", "Integer", Wire::number};
constexpr Field textValue{"snmp.value_text", "Octets", Wire::text};
constexpr Field oidValue{"snmp.value_oid", "Object identifier", Wire::oid};
constexpr Field addressValue{"snmp.value_address", "Address", Wire::ipv4};
constexpr Field counterValue{"snmp.value_counter", "Counter", Wire::number};
constexpr Field gaugeValue{"snmp.value_gauge", "Gauge", Wire::number};
constexpr Field ticksValue{"snmp.value_ticks", "Time ticks (10 ms)", Wire::number};
constexpr Field otherValue{"snmp.value", "Value", Wire::bytes};
constexpr Field message{"snmp.message", "an SNMP message", Wire::none};

void readAddress(Layer& snmp, const Field& field)
{
    const auto header = ber::peek(snmp);
    if (!header || header->length != 4)
        return ber::skip(snmp);
    snmp.skip(header->size);
    snmp.read(field);
}

void readValue(Layer& snmp)
{
    switch (ber::tag(snmp)) {
    case ber::integer: ber::readInteger(snmp, integerValue); break;
    case ber::octets: ber::readContents(snmp, textValue); break;
    case ber::objectId: ber::readContents(snmp, oidValue); break;
    case 0x40: readAddress(snmp, addressValue); break;
    case 0x41:
    case 0x46: ber::readInteger(snmp, counterValue); break;
    case 0x42: ber::readInteger(snmp, gaugeValue); break;
    case 0x43: ber::readInteger(snmp, ticksValue); break;
    default: ber::readContents(snmp, otherValue); break;
    }
}

void readBindings(Layer& snmp)
{
    const auto size = ber::enter(snmp, ber::sequence, binding);
    const Layer::Window list(snmp, size);
    while (snmp.more()) {
        const Layer::Group group(snmp, binding);
        const auto bytes = ber::enter(snmp, ber::sequence, binding);
        const Layer::Window content(snmp, bytes);
        ber::readContents(snmp, name);
        readValue(snmp);
    }
}

void readTrap(Layer& snmp)
{
    ber::readContents(snmp, enterprise);
    readAddress(snmp, agent);
    ber::readInteger(snmp, genericTrap);
    ber::readInteger(snmp, specificTrap);
    ber::readInteger(snmp, uptime);
}

void readPdu(Layer& snmp)
{
    const auto header = ber::peek(snmp);
    if (!header)
        return snmp.skip(snmp.left() + 1);
    const auto kind = header->tag & 0x1fu;
    if ((header->tag & 0xe0) != 0xa0)
        return snmp.reject(operation);
    snmp.add(operation, kind, snmp.offset(), 1);
    snmp.skip(header->size);
    const Layer::Window content(snmp, header->length);
    if (kind == 4) {
        readTrap(snmp);
    } else {
        ber::readInteger(snmp, requestId);
        ber::readInteger(snmp, kind == 5 ? nonRepeaters : errorStatus);
        ber::readInteger(snmp, kind == 5 ? repetitions : errorIndex);
    }
    readBindings(snmp);
}

void readSecurity(Layer& snmp)
{
    const auto octets = ber::enter(snmp, ber::octets, securityModel);
    const Layer::Window outer(snmp, octets);
    const auto size = ber::enter(snmp, ber::sequence, securityModel);
    const Layer::Window parameters(snmp, size);
    ber::readContents(snmp, engine);
    ber::readInteger(snmp, boots);
    ber::readInteger(snmp, engineTime);
    ber::readContents(snmp, user);
    ber::readContents(snmp, authentication);
    ber::readContents(snmp, privacy);
}

void readVersion3(Layer& snmp)
{
    {
        const auto size = ber::enter(snmp, ber::sequence, messageId);
        const Layer::Window global(snmp, size);
        ber::readInteger(snmp, messageId);
        ber::readInteger(snmp, maxSize);
        ber::readContents(snmp, messageFlags);
        ber::readInteger(snmp, securityModel);
    }
    readSecurity(snmp);
    if (ber::tag(snmp) == ber::octets)
        return static_cast<void>(ber::readContents(snmp, encrypted));
    const auto size = ber::enter(snmp, ber::sequence, contextName);
    const Layer::Window scoped(snmp, size);
    ber::readContents(snmp, engine);
    ber::readContents(snmp, contextName);
    readPdu(snmp);
}

void decode(Layer& snmp)
{
    const auto size = ber::enter(snmp, ber::sequence, message);
    const Layer::Window content(snmp, size);
    const auto kind = ber::readInteger(snmp, version);
    if (kind == 3)
        return readVersion3(snmp);
    ber::readContents(snmp, community);
    readPdu(snmp);
}

void describe(const LayerView& snmp, TextSink& out)
{
    if (const auto what = snmp[operation])
        out("{}", what);
    else if (snmp.has(encrypted))
        out("encrypted PDU");
    else
        return;
    std::size_t count = 0;
    snmp.each(name, [&](const Value& entry) {
        if (++count <= 4)
            out(" {}", entry);
    });
    if (count > 4)
        out(" and {} more", count - 4);
    if (const auto error = snmp[errorStatus]; error && error.number())
        out(", {}", error);
    if (const auto who = snmp[user]; who && who.node()->length)
        out(", user “{}”", who);
}

Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::udp || payload.size() < 12 || !ber::startsSequence(payload))
        return Likeness::none;
    const std::size_t at = payload[1] & 0x80 ? 2 + (payload[1] & 0x7f) : 2;
    if (payload.size() < at + 4 || payload[at] != 2 || payload[at + 1] != 1)
        return Likeness::none;
    const auto number = payload[at + 2];
    return (number <= 1 && payload[at + 3] == 4) || (number == 3 && payload[at + 3] == 0x30) ? Likeness::likely
                                                                                             : Likeness::none;
}

constexpr const Field* catalogue[] = {&community};
constexpr Claim claims[] = {udpPort(161), udpPort(162), tcpPort(161), tcpPort(162)};
} // namespace

constexpr Protocol protocol{{"snmp", "SNMP", Wire::layer},    catalogue, claims, decode, describe, guess,
                            opensWith({Transport::udp}, 0x30)};
static_assert(wellFormed(protocol));
} // namespace netrondo::snmp
