// Where the labels around the ring stand, and which of them find room.
#pragma once

#include "Circle/CircleScene.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace netrondo {

/// A host that wants a label.
struct RingLabelWish {
    double angle = 0;
    std::string_view text;
    std::uint64_t weight = 0; ///< who goes first where not all find room
};

/// What all labels of a ring share.
struct RingLabelFrame {
    Size view;
    Point center;
    double radius = 0; ///< of the ring
    double gap = 0;    ///< from the ring to the labels
    SceneColor color;
};

/// The labels that find room, none touching another or leaving the view, by the index of their wish; an empty text
/// where there is none. Level labels when all have room that way, else labels that point outwards.
std::vector<SceneLabel> placeRingLabels(std::span<const RingLabelWish> wishes, const RingLabelFrame& frame,
                                        const TextWidth& textWidth);

/// The largest radius at which the labels that have room around the ring lie within the view.
double ringRadiusForLabels(std::span<const RingLabelWish> wishes, const RingLabelFrame& frame,
                           const TextWidth& textWidth);

} // namespace netrondo
