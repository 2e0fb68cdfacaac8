// Tags and lengths.
#include "Dissection/Protocols/Ber.h"

namespace netrondo::ber {
namespace {

constexpr Field element{"ber.element", "an ASN.1 element", Wire::none};

std::optional<Header> headerOf(Bytes bytes)
{
    if (bytes.size() < 2)
        return std::nullopt;
    Header header{bytes[0], 2, bytes[1]};
    if (bytes[1] & 0x80) {
        const std::size_t count = bytes[1] & 0x7f;
        if (count == 0 || count > 4 || bytes.size() < 2 + count)
            return std::nullopt;
        header.length = 0;
        for (std::size_t i = 0; i < count; ++i)
            header.length = header.length << 8 | bytes[2 + i];
        header.size += count;
    }
    return header;
}

/// The header, or a stop with `field` as what is missing.
std::optional<Header> demand(Layer& layer, const Field& field)
{
    const auto header = peek(layer);
    if (!header) {
        if (layer.left() < 6)
            layer.skip(layer.left() + 1); // the end of the bytes, not their fault
        else
            layer.reject(field);
    }
    return header;
}

} // namespace

std::optional<Header> peek(const Layer& layer)
{
    return headerOf(layer.rest());
}

std::size_t enter(Layer& layer, std::uint8_t tag, const Field& field)
{
    const auto header = demand(layer, field);
    if (!header || layer.stopped())
        return 0;
    if (header->tag != tag) {
        layer.reject(field);
        return 0;
    }
    layer.skip(header->size);
    return header->length;
}

std::uint64_t readInteger(Layer& layer, const Field& field)
{
    const auto header = demand(layer, field);
    if (!header || layer.stopped())
        return 0;
    const auto start = layer.offset();
    layer.skip(header->size);
    if (layer.left() < header->length) {
        layer.readBytes(field, header->length);
        return 0;
    }
    const auto contents = layer.rest().first(header->length);
    const bool negative = header->tag == integer && !contents.empty() && contents[0] & 0x80;
    std::uint64_t value = negative ? ~std::uint64_t{0} : 0;
    for (const auto byte : contents)
        value = value << 8 | byte;
    layer.skip(header->length);
    layer.add(field, value, start, layer.offset() - start);
    return value;
}

Bytes readContents(Layer& layer, const Field& field)
{
    const auto header = demand(layer, field);
    if (!header || layer.stopped())
        return {};
    layer.skip(header->size);
    return layer.readBytes(field, header->length);
}

void skip(Layer& layer)
{
    const auto header = demand(layer, element);
    if (header && !layer.stopped()) {
        layer.skip(header->size);
        layer.skip(header->length);
    }
}

bool startsSequence(Bytes bytes)
{
    const auto header = headerOf(bytes);
    return header && header->tag == sequence;
}

} // namespace netrondo::ber
