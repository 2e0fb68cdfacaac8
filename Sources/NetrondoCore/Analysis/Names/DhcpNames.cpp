// Reading DHCP messages for the names of clients.
#include "Analysis/Names/DhcpNames.h"

#include "Analysis/HostNameStore.h"
#include "Analysis/Names/DomainName.h"

#include <cstring>

namespace netrondo::names {
namespace {

constexpr std::size_t headerSize = 236;
constexpr std::uint32_t magicCookie = 0x63825363;
enum MessageType : std::uint8_t { unspecified = 0, decline = 4, acknowledgement = 5 };

struct Options {
    Bytes hostName;
    Bytes qualifiedName;
    std::uint8_t messageType = unspecified;
};

Options readOptions(Bytes area)
{
    constexpr std::uint8_t padding = 0, hostName = 12, messageType = 53, clientFqdn = 81, end = 255;
    Options options;
    Cursor cursor(area);
    while (cursor.left()) {
        const auto code = cursor.u8();
        if (code == padding)
            continue;
        if (code == end)
            break;
        const auto content = cursor.take(cursor.u8());
        if (cursor.failed())
            break;
        if (code == hostName)
            options.hostName = content;
        else if (code == clientFqdn)
            options.qualifiedName = content;
        else if (code == messageType && content.size() == 1)
            options.messageType = content[0];
    }
    return options;
}

/// Plain text, as some clients send it with a zero at its end and some with the dot of a complete name.
std::string_view plainName(Bytes content)
{
    auto text = asText(content);
    text = text.substr(0, text.find_last_not_of('\0') + 1);
    if (text.ends_with('.'))
        text.remove_suffix(1);
    return text;
}

/// The name in option 81: behind flags and two obsolete codes, as labels or, from old clients, as text. A name that is
/// not fully qualified comes without the empty label at its end, so one is put there.
std::string_view qualifiedName(Bytes content, DomainName& labels)
{
    if (content.size() <= 3)
        return {};
    const bool isLabels = content[0] & 0x04;
    content = content.subspan(3);
    if (!isLabels)
        return plainName(content);
    std::array<std::uint8_t, 256> terminated{};
    std::memcpy(terminated.data(), content.data(), content.size());
    std::size_t offset = 0;
    return labels.read(Bytes(terminated).first(content.size() + 1), offset) ? labels.text() : std::string_view{};
}

} // namespace

void learnFromDhcp(Bytes message, HostNameStore& store)
{
    if (message.size() < headerSize + 4 || load::be32(&message[headerSize]) != magicCookie)
        return;
    constexpr std::uint8_t request = 1, reply = 2, ethernet = 1;
    const auto operation = message[0];
    const auto client = message[1] == ethernet && message[2] == 6 ? Address::mac(&message[28]) : Address{};
    const auto clientsOwn = Address::ipv4(&message[12]), given = Address::ipv4(&message[16]);

    const auto options = readOptions(message.subspan(headerSize + 4));
    DomainName labels;
    auto name = qualifiedName(options.qualifiedName, labels);
    if (!isAcceptable(name))
        name = plainName(options.hostName);

    if (operation == request && options.messageType != decline) {
        store.learn(client, name);
        store.learn(clientsOwn, name);
    } else if (operation == reply && (options.messageType == acknowledgement || options.messageType == unspecified)) {
        // The client's own word is kept in a buffer: learning may move what the store's view shows.
        std::array<char, 253> told{};
        if (!isAcceptable(name)) {
            const auto known = store.name(client);
            name = {told.data(), known.copy(told.data(), told.size())};
        }
        store.learn(client, name);
        store.learn(given, name);
        store.learn(clientsOwn, name);
    }
}

} // namespace netrondo::names
