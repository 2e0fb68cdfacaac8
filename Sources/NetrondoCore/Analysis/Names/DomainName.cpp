// Unpacking, checking and comparing domain names.
#include "Analysis/Names/DomainName.h"

#include "Base/Utf8.h"

#include <algorithm>
#include <charconv>

namespace netrondo::names {
namespace {

// Far more than any server writes; it keeps a message made of pointers from costing the square of its length.
constexpr int mostJumps = 32;

constexpr char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

bool equalIgnoringCase(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lower(x) == lower(y); });
}

/// Takes `suffix` off the end of a name; false when the name does not end so.
bool takeSuffix(std::string_view& name, std::string_view suffix)
{
    if (name.size() < suffix.size() || !equalIgnoringCase(name.substr(name.size() - suffix.size()), suffix))
        return false;
    name.remove_suffix(suffix.size());
    return true;
}

/// Controls of the first and second kind, and the marks that reorder or hide text.
bool isDangerous(char32_t character)
{
    return character < 0x20 || (character >= 0x7f && character < 0xa0) || character == 0x061c
        || (character >= 0x200b && character <= 0x200f) || (character >= 0x2028 && character <= 0x202e)
        || (character >= 0x2060 && character <= 0x206f) || character == 0xfeff
        || (character >= 0xfff9 && character <= 0xfffb) || character >= 0xe0000;
}

std::optional<Address> reverseIpv4(std::string_view labels)
{
    std::uint32_t address = 0;
    for (int i = 0; i < 4; ++i) {
        std::uint8_t octet = 0;
        const auto [end, error] = std::from_chars(labels.data(), labels.data() + labels.size(), octet);
        if (error != std::errc{})
            return {};
        address |= std::uint32_t{octet} << 8 * i;
        labels.remove_prefix(static_cast<std::size_t>(end - labels.data()));
        if (i < 3 && !labels.starts_with('.'))
            return {};
        labels.remove_prefix(i < 3);
    }
    return labels.empty() ? std::optional(Address::ipv4(address)) : std::nullopt;
}

std::optional<Address> reverseIpv6(std::string_view labels)
{
    if (labels.size() != 63)
        return {};
    Address address{0, 0, Address::Kind::ipv6};
    for (std::size_t i = 0; i < 32; ++i) {
        const char c = lower(labels[2 * i]);
        const int nibble = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
        if (nibble < 0 || (i < 31 && labels[2 * i + 1] != '.'))
            return {};
        (i < 16 ? address.low : address.high) |= static_cast<std::uint64_t>(nibble) << 4 * (i % 16);
    }
    return address;
}

} // namespace

bool DomainName::read(Bytes message, std::size_t& offset)
{
    length_ = 0;
    spoilt_ = false;
    std::size_t at = offset;
    std::size_t earliest = offset; // where the labels in hand began: a pointer must lead to before that
    int jumps = 0;
    // Once a pointer has ended the name in place, trouble further on costs the name only, and is not followed.
    const auto fail = [&] {
        spoil();
        return jumps > 0;
    };
    for (;;) {
        if (at >= message.size())
            return fail();
        const std::size_t length = message[at];
        if (length >= 0xc0) {
            if (message.size() - at < 2)
                return fail();
            const std::size_t target = load::be16(&message[at]) & 0x3fffu;
            if (jumps++ == 0)
                offset = at + 2;
            if (target >= earliest || jumps > mostJumps)
                return fail();
            at = earliest = target;
            continue;
        }
        if (length >= 0x40 || message.size() - at - 1 < length)
            return fail();
        at += 1 + length;
        if (jumps == 0)
            offset = at;
        if (length == 0)
            return true;
        append(message.subspan(at - length, length));
        if (spoilt_ && jumps)
            return fail();
    }
}

void DomainName::append(Bytes label)
{
    const std::size_t dot = length_ ? 1 : 0;
    if (spoilt_ || length_ + dot + label.size() > longest || std::find(label.begin(), label.end(), '.') != label.end())
        return spoil();
    if (dot)
        characters_[length_++] = '.';
    std::copy(label.begin(), label.end(), characters_.begin() + static_cast<std::ptrdiff_t>(length_));
    length_ += label.size();
}

void DomainName::spoil()
{
    spoilt_ = true;
    length_ = 0;
}

bool DomainName::isSameAs(const DomainName& other) const
{
    return !empty() && (text() == other.text() || equalIgnoringCase(text(), other.text()));
}

void DomainName::toLowerCase()
{
    std::transform(characters_.begin(), characters_.begin() + static_cast<std::ptrdiff_t>(length_), characters_.begin(),
                   lower);
}

bool isAcceptable(std::string_view name)
{
    if (name.size() > 253)
        return false;
    std::size_t label = 0;
    for (std::size_t at = 0; at < name.size();) {
        const auto byte = static_cast<std::uint8_t>(name[at]);
        std::size_t length = 1;
        if (byte < 0x20 || byte >= 0x7f) { // other than most of all names
            const auto character = utf8At(name.substr(at));
            if (!character.valid || isDangerous(character.value))
                return false;
            length = character.length;
        }
        at += length;
        const bool ends = byte == '.';
        if (ends && label == 0)
            return false;
        label = ends ? 0 : label + length;
        if (label > 63)
            return false;
    }
    return label != 0;
}

std::optional<Address> reverseAddress(std::string_view name)
{
    if (takeSuffix(name, ".in-addr.arpa"))
        return reverseIpv4(name);
    if (takeSuffix(name, ".ip6.arpa"))
        return reverseIpv6(name);
    return {};
}

} // namespace netrondo::names
