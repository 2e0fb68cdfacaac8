// Reading NetBIOS name service packets for the names of addresses.
#include "Analysis/Names/NetBiosNames.h"

#include "Analysis/HostNameStore.h"
#include "Analysis/Names/DomainName.h"

#include <algorithm>
#include <optional>

namespace netrondo::names {
namespace {

constexpr std::uint16_t groupFlag = 0x8000;
constexpr std::size_t nameSize = 16; // fifteen characters padded with blanks, and what the name is for

/// The sixteen bytes of a name, if it is one host's; what follows the blanks is not part of it.
std::string_view hostName(std::string_view sixteen)
{
    const auto purpose = static_cast<std::uint8_t>(sixteen[15]);
    constexpr std::uint8_t workstation = 0x00, fileServer = 0x20;
    if (purpose != workstation && purpose != fileServer)
        return {};
    const auto name = sixteen.substr(0, 15);
    return name.substr(0, name.find_last_not_of(std::string_view(" \0", 2)) + 1);
}

/// The first label of a name: each half byte is a letter from A to P (RFC 1001, section 14).
std::optional<std::array<char, nameSize>> decoded(std::string_view name)
{
    const auto label = name.substr(0, name.find('.'));
    if (label.size() != 2 * nameSize
        || !std::all_of(label.begin(), label.end(), [](char c) { return c >= 'A' && c <= 'P'; }))
        return {};
    std::array<char, nameSize> bytes{};
    for (std::size_t i = 0; i < nameSize; ++i)
        bytes[i] = static_cast<char>((label[2 * i] - 'A') << 4 | (label[2 * i + 1] - 'A'));
    return bytes;
}

/// An address record: flags and an address, several of them for a host with several.
void learnAddresses(Bytes data, std::string_view name, HostNameStore& store)
{
    Cursor cursor(data);
    while (cursor.left() >= 6) {
        const auto flags = cursor.u16();
        const auto address = Address::ipv4(cursor.u32());
        if (!(flags & groupFlag))
            store.learn(address, name);
    }
}

/// A node's own list of its names; the first that is its own as a workstation or file server will do.
void learnStatus(Bytes data, const Address& sender, HostNameStore& store)
{
    Cursor cursor(data);
    for (unsigned left = cursor.u8(); left && cursor.left() >= nameSize + 2; --left) {
        const auto name = hostName(asText(cursor.take(nameSize)));
        if (!(cursor.u16() & groupFlag) && !name.empty())
            return store.learn(sender, name);
    }
}

} // namespace

void learnFromNetBios(Bytes message, const Address& sender, HostNameStore& store)
{
    Cursor header(message);
    header.skip(2);
    const auto flags = header.u16();
    const unsigned questions = header.u16();
    unsigned records = header.u16();
    records += header.u16();
    records += header.u16();
    const bool isResponse = flags & 0x8000;
    const unsigned operation = flags >> 11 & 0xf, error = flags & 0xf;
    constexpr unsigned query = 0, registration = 5, refresh = 8, alternateRefresh = 9, multiHomed = 15;
    const bool claims =
        operation == registration || operation == refresh || operation == alternateRefresh || operation == multiHomed;
    if (header.failed() || error || !(claims || (isResponse && operation == query)))
        return;

    auto offset = header.offset();
    DomainName owner;
    for (unsigned i = 0; i < questions; ++i) {
        if (!owner.read(message, offset) || message.size() - offset < 4)
            return;
        offset += 4;
    }
    for (unsigned i = 0; i < records && owner.read(message, offset); ++i) {
        Cursor record(message.subspan(offset));
        const auto type = record.u16();
        record.skip(6); // class, time to live
        const auto data = record.take(record.u16());
        if (record.failed())
            return;
        offset += record.offset();
        constexpr std::uint16_t address = 0x20, nodeStatus = 0x21;
        if (type == nodeStatus)
            learnStatus(data, sender, store);
        else if (const auto name = decoded(owner.text()); type == address && name)
            learnAddresses(data, hostName({name->data(), name->size()}), store);
    }
}

} // namespace netrondo::names
