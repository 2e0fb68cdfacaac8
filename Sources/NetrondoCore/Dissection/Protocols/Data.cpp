// Bytes that no dissector knows, and bytes that fill a frame up.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::data {
namespace {
constexpr Field bytes{"data.data", "Data", Wire::bytes};

void decode(Layer& data)
{
    data.readRest(bytes);
}
} // namespace

constexpr Protocol protocol{{"data", "Data", Wire::layer}, {}, {}, decode};
static_assert(wellFormed(protocol));
} // namespace netrondo::data

namespace netrondo::padding {
namespace {
constexpr Field bytes{"padding.data", "Padding or trailer", Wire::bytes};

void decode(Layer& padding)
{
    padding.readRest(bytes);
}
} // namespace

constexpr Protocol protocol{{"padding", "Padding", Wire::layer}, {}, {}, decode};
static_assert(wellFormed(protocol));
} // namespace netrondo::padding
