// NetBIOS names (RFC 1001, 14): 15 letters and a byte for the kind.
#include "Dissection/Protocols/NetBiosNames.h"

namespace netrondo::netBiosNames {

void put(MadeText& out, Bytes sixteen)
{
    const auto letters = asText(sixteen.first(length - 1));
    out.put(letters.substr(0, letters.find_last_not_of(std::string_view(" \0", 2)) + 1));
    out.add("<{:02x}>", sixteen[length - 1]);
}

std::optional<std::array<std::uint8_t, length>> unpack(Bytes bytes)
{
    if (bytes.size() < encodedLength || bytes[0] != 2 * length)
        return std::nullopt;
    std::array<std::uint8_t, length> name;
    for (std::size_t i = 0; i < length; ++i) {
        const auto high = bytes[1 + 2 * i] - 'A', low = bytes[2 + 2 * i] - 'A';
        if (high < 0 || high > 15 || low < 0 || low > 15)
            return std::nullopt;
        name[i] = static_cast<std::uint8_t>(high << 4 | low);
    }
    return name;
}

void read(Layer& layer, const Field& field)
{
    if (!layer.more(length))
        return static_cast<void>(layer.readBytes(field, length));
    MadeText text;
    put(text, layer.rest().first(length));
    layer.addText(field, text, layer.offset(), length);
    layer.skip(length);
}

bool readEncoded(Layer& layer, const Field& field)
{
    constexpr std::size_t whole = encodedLength + 1;
    const auto name = layer.more(whole) ? unpack(layer.rest()) : std::nullopt;
    if (!name)
        return false;
    MadeText text;
    put(text, *name);
    layer.addText(field, text, layer.offset(), whole);
    layer.skip(whole);
    return true;
}

} // namespace netrondo::netBiosNames
