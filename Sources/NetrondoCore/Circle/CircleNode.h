// One host on the ring, or one host or service in the services view.
#pragma once

#include "Circle/Geometry.h"
#include "Circle/ProtocolColors.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace netrondo {

struct CircleNode {
    enum class Role : std::uint8_t { host, service };

    std::string address;      ///< the host as the pairs name it: the node's identity
    std::string displayLabel; ///< the text beside the node
    Point position;           ///< the node's centre
    ProtocolColors::RGB protocolColor;
    Role role = Role::host;
    std::optional<std::string> serviceName; ///< for service nodes

    const std::string& id() const { return address; }

    friend bool operator==(const CircleNode&, const CircleNode&) = default;
};

constexpr std::string_view caseName(CircleNode::Role role)
{
    return role == CircleNode::Role::host ? "host" : "service";
}

void write(JsonWriter& json, const CircleNode& node);

} // namespace netrondo

template <> struct std::hash<netrondo::CircleNode> {
    std::size_t operator()(const netrondo::CircleNode& node) const noexcept;
};
