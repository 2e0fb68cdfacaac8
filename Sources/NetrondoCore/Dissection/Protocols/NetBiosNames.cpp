// NetBIOS names (RFC 1001, 14): 15 letters and a byte for the kind.
#include "Dissection/Protocols/NetBiosNames.h"

#include "Dissection/Protocols/MadeText.h"

namespace netrondo::netBiosNames {

void put(Layer& layer, const Field& field, Bytes sixteen, std::size_t from, std::size_t size)
{
    auto letters = asText(sixteen.first(length - 1));
    letters = letters.substr(0, letters.find_last_not_of(std::string_view(" \0", 2)) + 1);
    MadeText text;
    text.put(letters);
    text.add("<{:02x}>", sixteen[length - 1]);
    layer.addText(field, text, from, size);
}

void read(Layer& layer, const Field& field)
{
    if (!layer.more(length))
        return static_cast<void>(layer.readBytes(field, length));
    put(layer, field, layer.rest().first(length), layer.offset(), length);
    layer.skip(length);
}

} // namespace netrondo::netBiosNames
