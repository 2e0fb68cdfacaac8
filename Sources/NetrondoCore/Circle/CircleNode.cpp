// One host on the ring, or one host or service in the services view.
#include "Circle/CircleNode.h"

#include "Base/Address.h"
#include "Base/Json.h"

namespace netrondo {

void write(JsonWriter& json, const CircleNode& node)
{
    json.beginObject();
    json.field("address", node.address);
    json.field("displayLabel", node.displayLabel);
    json.field("position", node.position);
    json.field("protocolColor", node.protocolColor);
    json.field("role", caseName(node.role));
    json.field("serviceName", node.serviceName);
    json.endObject();
}

} // namespace netrondo

std::size_t std::hash<netrondo::CircleNode>::operator()(const netrondo::CircleNode& node) const noexcept
{
    using netrondo::hashWords;
    const std::hash<std::string> ofText;
    const std::hash<double> ofNumber;
    auto mixed = hashWords(ofText(node.address), ofText(node.displayLabel));
    mixed = hashWords(mixed, hashWords(ofNumber(node.position.x), ofNumber(node.position.y)));
    const auto& [r, g, b] = node.protocolColor;
    mixed = hashWords(
        mixed, std::size_t{r} << 24 | std::size_t{g} << 16 | std::size_t{b} << 8 | static_cast<std::size_t>(node.role));
    return hashWords(mixed, node.serviceName ? ofText(*node.serviceName) : 0);
}
