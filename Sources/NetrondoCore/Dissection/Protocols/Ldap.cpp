// Lightweight Directory Access Protocol (RFC 4511), over UDP too (CLDAP).
#include "Dissection/Protocols/Ber.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::ldap {
namespace {
constexpr NamedValue operations[] = {{0, "bindRequest"},      {1, "bindResponse"},      {2, "unbindRequest"},
                                     {3, "searchRequest"},    {4, "searchResEntry"},    {5, "searchResDone"},
                                     {6, "modifyRequest"},    {7, "modifyResponse"},    {8, "addRequest"},
                                     {9, "addResponse"},      {10, "delRequest"},       {11, "delResponse"},
                                     {12, "modDNRequest"},    {13, "modDNResponse"},    {14, "compareRequest"},
                                     {15, "compareResponse"}, {16, "abandonRequest"},   {19, "searchResRef"},
                                     {23, "extendedRequest"}, {24, "extendedResponse"}, {25, "intermediateResponse"}};
constexpr NamedValue results[] = {{0, "success"},
                                  {1, "operationsError"},
                                  {2, "protocolError"},
                                  {3, "timeLimitExceeded"},
                                  {4, "sizeLimitExceeded"},
                                  {5, "compareFalse"},
                                  {6, "compareTrue"},
                                  {7, "authMethodNotSupported"},
                                  {8, "strongerAuthRequired"},
                                  {10, "referral"},
                                  {14, "saslBindInProgress"},
                                  {16, "noSuchAttribute"},
                                  {32, "noSuchObject"},
                                  {34, "invalidDNSyntax"},
                                  {48, "inappropriateAuthentication"},
                                  {49, "invalidCredentials"},
                                  {50, "insufficientAccessRights"},
                                  {51, "busy"},
                                  {52, "unavailable"},
                                  {53, "unwillingToPerform"},
                                  {65, "objectClassViolation"},
                                  {68, "entryAlreadyExists"},
                                  {80, "other"}};
constexpr NamedValue scopes[] = {{0, "base"}, {1, "one level"}, {2, "subtree"}};

constexpr Field message{"ldap.message", "LDAP message", Wire::group};
constexpr Field messageId{"ldap.id", "Message ID", Wire::number};
constexpr Field operation{"ldap.op", "Operation", Wire::number, operations};
constexpr Field version{"ldap.version", "Version", Wire::number};
constexpr Field name{"ldap.name", "Name", Wire::text};
constexpr Field password{"ldap.simple", "Simple authentication", Wire::text};
constexpr Field mechanism{"ldap.mechanism", "SASL mechanism", Wire::text};
constexpr Field credentials{"ldap.credentials", "Credentials", Wire::bytes};
constexpr Field base{"ldap.base", "Base object", Wire::text};
constexpr Field scope{"ldap.scope", "Scope", Wire::number, scopes};
constexpr Field dereference{"ldap.deref", "Dereference aliases", Wire::number};
constexpr Field sizeLimit{"ldap.size_limit", "Size limit", Wire::number};
constexpr Field timeLimit{"ldap.time_limit", "Time limit", Wire::number};
constexpr Field typesOnly{"ldap.types_only", "Types only", Wire::number};
constexpr Field filter{"ldap.filter", "Filter", Wire::bytes};
constexpr Field attribute{"ldap.attribute", "Attribute", Wire::text};
constexpr Field value{"ldap.value", "Value", Wire::text};
constexpr Field result{"ldap.result", "Result", Wire::number, results};
constexpr Field matched{"ldap.matched", "Matched DN", Wire::text};
constexpr Field diagnostic{"ldap.diagnostic", "Diagnostic message", Wire::text};
constexpr Field oid{"ldap.oid", "Request name", Wire::text};
constexpr Field body{"ldap.body", "Contents", Wire::bytes};
constexpr Field sasl{"ldap.sasl", "Protected by SASL", Wire::bytes};

void readResult(Layer& ldap)
{
    ber::readInteger(ldap, result);
    ber::readContents(ldap, matched);
    ber::readContents(ldap, diagnostic);
}

void readBind(Layer& ldap)
{
    ber::readInteger(ldap, version);
    ber::readContents(ldap, name);
    if (ber::tag(ldap) == 0x80)
        return static_cast<void>(ber::readContents(ldap, password));
    if (ber::tag(ldap) != ber::context(3))
        return;
    const auto size = ber::enter(ldap, ber::context(3), mechanism);
    const Layer::Window content(ldap, size);
    ber::readContents(ldap, mechanism);
    if (ldap.more())
        ber::readContents(ldap, credentials);
}

void readSearch(Layer& ldap)
{
    ber::readContents(ldap, base);
    ber::readInteger(ldap, scope);
    ber::readInteger(ldap, dereference);
    ber::readInteger(ldap, sizeLimit);
    ber::readInteger(ldap, timeLimit);
    ber::readInteger(ldap, typesOnly);
    ber::readContents(ldap, filter);
    const auto size = ber::enter(ldap, ber::sequence, attribute);
    const Layer::Window list(ldap, size);
    while (ldap.more())
        ber::readContents(ldap, attribute);
}

void readEntry(Layer& ldap)
{
    ber::readContents(ldap, name);
    const auto size = ber::enter(ldap, ber::sequence, attribute);
    const Layer::Window list(ldap, size);
    while (ldap.more()) {
        const auto bytes = ber::enter(ldap, ber::sequence, attribute);
        const Layer::Window pair(ldap, bytes);
        ber::readContents(ldap, attribute);
        const auto count = ber::enter(ldap, ber::set, value);
        const Layer::Window values(ldap, count);
        while (ldap.more())
            ber::readContents(ldap, value);
    }
}

void readOperation(Layer& ldap)
{
    const auto header = ber::peek(ldap);
    if (!header)
        return ldap.skip(ldap.left() + 1);
    if ((header->tag & 0xc0) != 0x40)
        return ldap.reject(operation);
    const auto kind = header->tag & 0x1fu;
    ldap.add(operation, kind, ldap.offset(), 1);
    ldap.skip(header->size);
    const Layer::Window content(ldap, header->length);
    switch (kind) {
    case 0: readBind(ldap); break;
    case 3: readSearch(ldap); break;
    case 4: readEntry(ldap); break;
    case 1:
    case 5:
    case 7:
    case 9:
    case 11:
    case 13:
    case 15:
    case 24: readResult(ldap); break;
    case 6:
    case 8:
    case 12:
    case 14: ber::readContents(ldap, name); break;
    case 10: ldap.readText(name, ldap.left()); break;
    case 23:
        if (ber::tag(ldap) == 0x80)
            ber::readContents(ldap, oid);
        break;
    default: break;
    }
    if (ldap.more())
        ldap.readRest(body);
}

void decode(Layer& ldap)
{
    while (ldap.more()) {
        if (!ber::startsSequence(ldap.rest())) {
            ldap.readRest(sasl); // wrapped after the bind, or the middle of a message
            return;
        }
        ldap.beginMessage();
        const Layer::Group group(ldap, message);
        const auto size = ber::enter(ldap, ber::sequence, message);
        ldap.expect(size);
        const Layer::Window content(ldap, size);
        ber::readInteger(ldap, messageId);
        readOperation(ldap);
        if (ldap.more())
            ldap.readRest(body); // controls
    }
}

void describe(const LayerView& ldap, TextSink& out)
{
    std::size_t count = 0;
    ldap.each(operation, [&](const Value& entry) {
        if (++count <= 4)
            out("{}{}", count == 1 ? "" : ", ", entry);
    });
    if (count > 4)
        out(" and {} more", count - 4);
    if (const auto from = ldap[base])
        out(" “{}” {}", from, ldap[scope]);
    else if (const auto who = ldap[name]; who && who.node()->length)
        out(" “{}”", who);
    if (const auto how = ldap[mechanism])
        out(" {}", how);
    if (const auto code = ldap[result])
        out(", {}", code);
    if (!count && ldap.has(sasl))
        out("Protected or continued, {} bytes", ldap[sasl].node()->length);
}

Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::tcp && transport != Transport::udp)
        return Likeness::none;
    if (payload.size() < 9 || !ber::startsSequence(payload))
        return Likeness::none;
    const std::size_t at = payload[1] & 0x80 ? 2 + (payload[1] & 0x7f) : 2;
    if (payload.size() < at + 4 || payload[at] != 2 || payload[at + 1] == 0 || payload[at + 1] > 4)
        return Likeness::none;
    const auto tagAt = at + 2 + payload[at + 1];
    return payload.size() > tagAt && (payload[tagAt] & 0xc0) == 0x40 && (payload[tagAt] & 0x1f) <= 25 ? Likeness::likely
                                                                                                      : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(389), udpPort(389), tcpPort(3268)};
} // namespace

constexpr Protocol protocol{{"ldap", "LDAP", Wire::layer},
                            {},
                            claims,
                            decode,
                            describe,
                            guess,
                            opensWith({Transport::tcp, Transport::udp}, 0x30)};
static_assert(wellFormed(protocol));
} // namespace netrondo::ldap
