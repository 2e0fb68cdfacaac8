// What an NTLM message tells of who logs in from where (MS-NLMP, 2.2.1).
#include "Dissection/Protocols/Ntlm.h"

namespace netrondo::ntlm {
namespace {
constexpr NamedValue types[] = {{1, "negotiate"}, {2, "challenge"}, {3, "authenticate"}};

constexpr Field type{"ntlm.type", "NTLM message", Wire::number, types};
constexpr Field domain{"ntlm.domain", "Domain", Wire::text};
constexpr Field domainWide{"ntlm.domain", "Domain", Wire::utf16};
constexpr Field user{"ntlm.user", "User", Wire::text};
constexpr Field userWide{"ntlm.user", "User", Wire::utf16};
constexpr Field host{"ntlm.host", "Workstation", Wire::text};
constexpr Field hostWide{"ntlm.host", "Workstation", Wire::utf16};
} // namespace

void read(Layer& layer, Bytes credentials, std::size_t at)
{
    constexpr std::string_view mark = "NTLMSSP";
    constexpr std::size_t typeAt = 8, flagsAt = 60, authenticate = 3;
    const auto found = asText(credentials).find(mark);
    if (found == std::string_view::npos || credentials.size() - found < typeAt + 4)
        return;
    const auto message = credentials.subspan(found);
    const auto kind = load::le32(&message[typeAt]);
    layer.add(type, kind, at + found + typeAt, 4);
    if (kind != authenticate || message.size() < flagsAt + 4)
        return;
    const bool isWide = load::le32(&message[flagsAt]) & 1;
    const auto name = [&](const Field& wide, const Field& narrow, std::size_t place) {
        const std::size_t size = load::le16(&message[place]), start = load::le32(&message[place + 4]);
        if (size && start <= message.size() && size <= message.size() - start)
            layer.add(isWide ? wide : narrow, 0, at + found + start, size);
    };
    name(domainWide, domain, 28);
    name(userWide, user, 36);
    name(hostWide, host, 44);
}

void describe(const LayerView& view, TextSink& out)
{
    if (const auto who = view[userWide] ? view[userWide] : view[user])
        out(", user {}\\{}", view[domainWide] ? view[domainWide] : view[domain], who);
    else if (const auto kind = view[type])
        out(", NTLM {}", kind);
}

} // namespace netrondo::ntlm
