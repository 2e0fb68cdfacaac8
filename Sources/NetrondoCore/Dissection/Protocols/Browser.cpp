// The browser protocol (MS-BRWS): Windows machines announce themselves and elect who keeps the list of them.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::browser {
namespace {
constexpr NamedValue commands[] = {
    {1, "Host announcement"},         {2, "Announcement request"},  {8, "Election request"},
    {9, "Backup list request"},       {10, "Backup list response"}, {11, "Become backup browser"},
    {12, "Domain announcement"},      {13, "Master announcement"},  {14, "Reset of the browser’s state"},
    {15, "Local master announcement"}};
constexpr NamedValue kinds[] = {{0x00000001, "workstation"},
                                {0x00000002, "server"},
                                {0x00000004, "SQL server"},
                                {0x00000008, "domain controller"},
                                {0x00000010, "backup domain controller"},
                                {0x00000020, "time source"},
                                {0x00000040, "Apple server"},
                                {0x00000080, "Novell server"},
                                {0x00000100, "domain member"},
                                {0x00000200, "print server"},
                                {0x00000400, "dial-in server"},
                                {0x00000800, "Unix server"},
                                {0x00001000, "Windows NT"},
                                {0x00002000, "Windows for Workgroups"},
                                {0x00004000, "NetWare file services"},
                                {0x00008000, "Windows NT server"},
                                {0x00010000, "potential browser"},
                                {0x00020000, "backup browser"},
                                {0x00040000, "master browser"},
                                {0x00080000, "domain master browser"},
                                {0x00400000, "Windows 95 or later"},
                                {0x00800000, "DFS server"},
                                {0x02000000, "terminal server"},
                                {0x40000000, "local list only"},
                                {0x80000000, "domain"}};
constexpr NamedValue resets[] = {{0x01, "stop being master"}, {0x02, "forget the lists"}, {0x04, "stop browsing"}};

constexpr Field command{"browser.command", "Command", Wire::u8, commands};
constexpr Field count{"browser.count", "Update count", Wire::u8};
constexpr Field period{"browser.period", "Announced every (ms)", Wire::le32};
constexpr Field name{"browser.name", "Name", Wire::text};
constexpr Field major{"browser.os_major", "System’s major version", Wire::u8};
constexpr Field minor{"browser.os_minor", "System’s minor version", Wire::u8};
constexpr Field kind{"browser.kind", "Server type", Wire::flags, kinds};
constexpr Field browserMajor{"browser.major", "Browser’s major version", Wire::u8};
constexpr Field browserMinor{"browser.minor", "Browser’s minor version", Wire::u8};
constexpr Field signature{"browser.signature", "Signature", Wire::leHex16};
constexpr Field comment{"browser.comment", "Comment", Wire::text};
constexpr Field master{"browser.master", "Local master", Wire::text};
constexpr Field unused{"browser.unused", "Unused", Wire::hex8};
constexpr Field version{"browser.election_version", "Election version", Wire::u8};
constexpr Field criteria{"browser.criteria", "Election criteria", Wire::leHex32};
constexpr Field uptime{"browser.uptime", "Uptime (ms)", Wire::le32};
constexpr Field reserved{"browser.reserved", "Reserved", Wire::leHex32};
constexpr Field wanted{"browser.wanted", "Servers wanted", Wire::u8};
constexpr Field token{"browser.token", "Token", Wire::leHex32};
constexpr Field backups{"browser.backups", "Backup servers", Wire::u8};
constexpr Field backup{"browser.backup", "Backup server", Wire::text};
constexpr Field reset{"browser.reset", "Reset", Wire::flags8, resets};

/// Sixteen bytes, filled up with zeros.
void readFixedName(Layer& layer)
{
    constexpr std::size_t size = 16;
    if (!layer.more(size))
        return static_cast<void>(layer.readText(name, size));
    const auto text = asText(layer.rest().first(size));
    layer.add(name, 0, layer.offset(), std::min(text.find('\0'), size));
    layer.skip(size);
}

void readAnnouncement(Layer& layer, const Field& text)
{
    layer.read(count, period);
    readFixedName(layer);
    layer.read(major, minor);
    if (!layer.more(4))
        return layer.skip(4);
    const auto* const at = layer.rest().data();
    layer.add(kind, load::le32(at), layer.offset(), 4);
    layer.skip(4);
    layer.read(browserMajor, browserMinor, signature);
    layer.readZeroText(text);
}

void decode(Layer& layer)
{
    switch (layer.read(command)) {
    case 1:
    case 15: readAnnouncement(layer, comment); break;
    case 12: readAnnouncement(layer, master); break;
    case 2:
        layer.read(unused);
        layer.readZeroText(name);
        break;
    case 8:
        layer.read(version, criteria, uptime, reserved);
        layer.readZeroText(name);
        break;
    case 9: layer.read(wanted, token); break;
    case 10: {
        const auto servers = layer.read(backups);
        layer.read(token);
        for (std::uint64_t i = 0; i < servers && layer.more(); ++i)
            layer.readZeroText(backup);
        break;
    }
    case 11:
    case 13: layer.readZeroText(name); break;
    case 14: layer.read(reset); break;
    default: layer.reject(command);
    }
    layer.endHere();
}

void describe(const LayerView& view, TextSink& out)
{
    out("{}", view[command]);
    if (const auto who = view[name]; who && !who.text().empty())
        out(" {}", who);
    if (const auto who = view[master])
        out(", local master {}", who);
    if (const auto what = view[kind]; what.number())
        out(": {}", what);
    if (const auto text = view[comment]; text && !text.text().empty())
        out(" “{}”", text);
    if (const auto how = view[criteria])
        out(", criteria {}, up {} ms", how, view[uptime]);
    if (const auto servers = view[wanted])
        out(", {} servers", servers);
    std::size_t listed = 0;
    view.each(backup, [&](const Value& server) { out("{} {}", listed++ ? "," : "", server); });
}
} // namespace

constexpr Protocol protocol{{"browser", "BROWSER", Wire::layer}, {}, {}, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::browser
