// The information elements of telecontrol's objects (IEC 60870-5-101, 7.2.6).
#pragma once

#include "Dissection/Decode/Layer.h"
#include "Dissection/Decode/LayerView.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace netrondo::iec104 {

/// How many bytes follow each object's address in a unit of that type; nothing where the type leaves it open.
std::optional<std::size_t> elementSize(std::uint64_t type);

/// Reads the elements of one object, those that are not known as bytes.
void readElement(Layer& iec, std::uint64_t type);

/// Says an object's value, what is wrong with it, and whether a command only selects; by the object's nodes.
void describeElement(std::span<const Node> object, const DecodeTree& tree, TextSink& out);

} // namespace netrondo::iec104
