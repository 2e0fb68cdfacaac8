// A prefix into an address and its length.
#include "Dissection/Protocols/Prefix.h"

#include "Dissection/Protocols/MadeText.h"

#include <algorithm>
#include <array>

namespace netrondo::prefix {

void read(Layer& layer, const Field& field, Address::Kind kind, std::uint64_t bits, std::size_t size,
          std::size_t length)
{
    const bool is4 = kind == Address::Kind::ipv4;
    if (bits > (is4 ? 32 : 128) || layer.stopped())
        return layer.reject(field);
    if (layer.left() < size)
        return layer.skip(size);
    std::array<std::uint8_t, 16> bytes{};
    const auto known = layer.rest().first(std::min(bytesFor(bits), size));
    std::ranges::copy(known, bytes.begin());
    char text[Address::maxText];
    const auto address = is4 ? Address::ipv4(bytes.data()) : Address::ipv6(bytes.data());
    MadeText made;
    made.put({text, address.write(text)});
    made.add("/{}", bits);
    layer.addText(field, made, layer.offset() - length, size + length);
    layer.skip(size);
}

} // namespace netrondo::prefix
