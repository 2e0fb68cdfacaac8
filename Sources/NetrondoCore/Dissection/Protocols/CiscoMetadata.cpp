// Cisco's metadata header: the security group of the sender, between a frame's or tunnel's header and the packet.
#include "Dissection/Protocols/EtherTypeNames.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::metadata {
namespace {
constexpr NamedValue optionTypes[] = {{1, "security group"}};

constexpr Field version{"metadata.version", "Version", Wire::u8};
constexpr Field length{"metadata.len", "Length", Wire::u8};
constexpr Field option{"metadata.option", "Option", Wire::hex16};
constexpr Field optionLength{"metadata.option_len", "Option length", Wire::bits, {}, 0xf000};
constexpr Field optionType{"metadata.option_type", "Option type", Wire::bits, optionTypes, 0x0fff};
constexpr Field group{"metadata.group", "Security group tag", Wire::u16};
constexpr Field next{"metadata.proto", "EtherType", Wire::hex16, etherTypeNames};

/// In frames the EtherType stands last; in GRE it stands first, where the version would be 8 or more.
void decode(Layer& layer)
{
    constexpr std::uint16_t lowestEtherType = 0x0600;
    const bool isFirst = layer.peek16() >= lowestEtherType;
    auto number = isFirst ? layer.read(next) : 0;
    layer.read(version, length);
    layer.readParts(option, optionLength, optionType);
    layer.read(group);
    if (!isFirst)
        number = layer.read(next);
    if (!layer.stopped())
        layer.handOver(etherType(static_cast<std::uint16_t>(number)));
}

void describe(const LayerView& view, TextSink& out)
{
    out("Security group {}, {}", view[group], view[next]);
}

constexpr Claim claims[] = {etherType(0x8909)};
} // namespace

constexpr Protocol protocol{{"metadata", "Cisco metadata", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::metadata
