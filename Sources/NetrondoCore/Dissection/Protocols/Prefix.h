// Address prefixes as routing protocols write them: as many bytes as the length in bits needs.
#pragma once

#include "Dissection/Decode/Layer.h"

namespace netrondo::prefix {

/// Reads a prefix of `bits` bits in `size` bytes as one node, "10.1.0.0/16"; stops the layer at a length that no
/// address of the kind has. `length` bytes before the address belong to the node as well.
void read(Layer& layer, const Field& field, Address::Kind kind, std::uint64_t bits, std::size_t size,
          std::size_t length = 0);

/// How many bytes so many bits take.
constexpr std::size_t bytesFor(std::uint64_t bits)
{
    return static_cast<std::size_t>((bits + 7) / 8);
}

} // namespace netrondo::prefix
