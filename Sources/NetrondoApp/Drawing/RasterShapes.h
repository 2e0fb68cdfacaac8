// Lines and discs straight into the pixels of an image: what a crowded ring has thousands of.
#pragma once

#include "Circle/CircleScene.h"

#include <span>

class QImage;

namespace netrondo {

/// From the scene's points to the image's pixels.
struct RasterPlacing {
    double scale = 1;
    double dx = 0, dy = 0; ///< pixels
};

/// True for the two pixel formats that the functions below write: 32 bits, opaque or premultiplied.
bool isRaster(const QImage& image);

/// Blends the shapes over what is in the image, anti-aliased, in their order, the lines on all processors.
/// Every pixel gets the share of the colour that the shape covers of it; lines end flat.
void drawLines(QImage& image, const RasterPlacing& placing, std::span<const SceneLine> lines);
/// Fills and outlines; a disc without fill is left to others.
void drawDiscs(QImage& image, const RasterPlacing& placing, std::span<const SceneDisc> discs);

} // namespace netrondo
