// Who is a domain's controller: the logon service's messages over mailslots (MS-ADTS, 6.3).
#include "Dissection/Protocols/DnsMessage.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::netlogon {
namespace {
constexpr NamedValue operations[] = {{0x00, "Logon request"},
                                     {0x06, "Logon response"},
                                     {0x07, "Query for the primary controller"},
                                     {0x08, "Discovery of the user"},
                                     {0x0a, "Announcement of changes"},
                                     {0x0c, "Answer of the primary controller"},
                                     {0x12, "SAM logon request"},
                                     {0x13, "SAM logon response"},
                                     {0x14, "SAM logon response, paused"},
                                     {0x15, "SAM logon response, user unknown"},
                                     {0x17, "SAM logon response"},
                                     {0x18, "SAM logon response, paused"},
                                     {0x19, "SAM logon response, user unknown"}};
constexpr NamedValue controllerFlags[] = {{0x00000001, "primary"},       {0x00000004, "global catalog"},
                                          {0x00000008, "LDAP"},          {0x00000010, "directory service"},
                                          {0x00000020, "KDC"},           {0x00000040, "time service"},
                                          {0x00000080, "closest"},       {0x00000100, "writable"},
                                          {0x00000200, "reliable time"}, {0x00000400, "no domain"},
                                          {0x00000800, "read-only"},     {0x00001000, "full secrets"}};

constexpr Field operation{"netlogon.op", "Operation", Wire::le16, operations};
constexpr Field requests{"netlogon.requests", "Request count", Wire::le16};
constexpr Field computer{"netlogon.computer", "Computer", Wire::utf16};
constexpr Field computerText{"netlogon.computer", "Computer", Wire::text};
constexpr Field user{"netlogon.user", "User", Wire::utf16};
constexpr Field userText{"netlogon.user", "User", Wire::text};
constexpr Field server{"netlogon.server", "Logon server", Wire::utf16};
constexpr Field serverText{"netlogon.server", "Logon server", Wire::text};
constexpr Field domain{"netlogon.domain", "Domain", Wire::utf16};
constexpr Field mailslot{"netlogon.mailslot", "Mailslot for the answer", Wire::text};
constexpr Field account{"netlogon.account", "Allowable account control", Wire::leHex32};
constexpr Field sidLength{"netlogon.sid_len", "Domain SID length", Wire::le32};
constexpr Field sid{"netlogon.sid", "Domain SID", Wire::bytes};
constexpr Field reserved{"netlogon.reserved", "Reserved", Wire::leHex16};
constexpr Field flags{"netlogon.flags", "Flags", Wire::flags, controllerFlags};
constexpr Field guid{"netlogon.guid", "Domain GUID", Wire::guid};
constexpr Field forest{"netlogon.forest", "Forest", Wire::madeText};
constexpr Field dnsDomain{"netlogon.dns_domain", "DNS domain", Wire::madeText};
constexpr Field dnsHost{"netlogon.dns_host", "DNS host", Wire::madeText};
constexpr Field shortDomain{"netlogon.short_domain", "NetBIOS domain", Wire::madeText};
constexpr Field shortHost{"netlogon.short_host", "NetBIOS computer", Wire::madeText};
constexpr Field shortUser{"netlogon.short_user", "User", Wire::madeText};
constexpr Field site{"netlogon.site", "Controller’s site", Wire::madeText};
constexpr Field clientSite{"netlogon.client_site", "Client’s site", Wire::madeText};
constexpr Field version{"netlogon.version", "Version", Wire::leHex32};
constexpr Field more{"netlogon.more", "Address and token", Wire::bytes};

/// UTF-16 up to a zero character, aligned to two bytes as all of it is.
void readWide(Layer& layer, const Field& field)
{
    layer.skip((layer.offset() - layer.begin()) % 2);
    const auto bytes = layer.rest();
    std::size_t size = 0;
    while (size + 2 <= bytes.size() && (bytes[size] || bytes[size + 1]))
        size += 2;
    layer.readBytes(field, size);
    layer.skip(2);
}

/// A name in the way of DNS; what it leaves out stands earlier in the message.
void readName(Layer& layer, const Field& field)
{
    if (layer.stopped())
        return;
    MadeText text;
    const auto from = layer.offset() - layer.begin();
    const auto behind = dnsMessage::name(layer.whole(), from, text);
    if (!behind)
        return layer.isCut() ? layer.skip(layer.left() + 1) : layer.reject(field);
    layer.addText(field, text, layer.offset(), behind - from);
    layer.skip(behind - from);
}

void readRequest(Layer& layer)
{
    layer.read(requests);
    readWide(layer, computer);
    readWide(layer, user);
    layer.readZeroText(mailslot);
    layer.read(account);
    const auto size = layer.read(sidLength);
    if (!size)
        return;
    layer.skip((4 - (layer.offset() - layer.begin()) % 4) % 4);
    layer.readBytes(sid, size);
}

/// What directory servers answer.
void readExtended(Layer& layer)
{
    layer.read(reserved);
    if (!layer.more(4))
        return layer.skip(4);
    const auto* const at = layer.rest().data();
    layer.add(flags, load::le32(at), layer.offset(), 4);
    layer.skip(4);
    layer.read(guid);
    for (const auto* field : {&forest, &dnsDomain, &dnsHost, &shortDomain, &shortHost, &shortUser, &site, &clientSite})
        readName(layer, *field);
}

void readMessage(Layer& layer)
{
    switch (layer.read(operation)) {
    case 0x00:
        layer.readZeroText(computerText);
        layer.readZeroText(userText);
        return layer.readZeroText(mailslot), static_cast<void>(layer.read(requests));
    case 0x06: layer.readZeroText(userText); return static_cast<void>(layer.readZeroText(serverText));
    case 0x07:
        layer.readZeroText(computerText);
        layer.readZeroText(mailslot);
        return readWide(layer, computer);
    case 0x0c:
        layer.readZeroText(serverText);
        readWide(layer, server);
        return readWide(layer, domain);
    case 0x12: return readRequest(layer);
    case 0x13:
    case 0x14:
    case 0x15:
        readWide(layer, server);
        readWide(layer, user);
        return readWide(layer, domain);
    case 0x17:
    case 0x18:
    case 0x19: return readExtended(layer);
    default: return;
    }
}

void decode(Layer& layer)
{
    constexpr std::size_t ending = 8; // the version, and two tokens that are always ffff
    readMessage(layer);
    if (layer.stopped())
        return;
    if (layer.left() > ending)
        layer.readBytes(more, layer.left() - ending);
    if (layer.left() == ending)
        layer.read(version);
    layer.endHere();
}

void describe(const LayerView& view, TextSink& out)
{
    out("{}", view[operation]);
    const auto say = [&](std::string_view word, std::initializer_list<const Field*> fields) {
        for (const auto* field : fields) {
            if (const auto value = view[*field]; value && value.node()->length)
                return out("{} {}", word, value);
        }
    };
    say(", computer", {&computer, &computerText});
    say(", server", {&dnsHost, &server, &serverText});
    say(", domain", {&dnsDomain, &domain});
    say(", user", {&user, &userText});
}
} // namespace

constexpr Protocol protocol{{"netlogon", "NETLOGON", Wire::layer}, {}, {}, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::netlogon
