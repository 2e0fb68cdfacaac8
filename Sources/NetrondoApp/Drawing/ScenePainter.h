// Plays a scene onto a QPainter, whatever that paints on: a screen, an image, SVG or PDF.
#pragma once

#include "Circle/CircleScene.h"

#include <QFont>

class QPainter;

namespace netrondo {

/// The font of a label on a device with this many dots per inch, so that its size is `size` points of the view.
QFont sceneFont(double size, bool isBold, int dotsPerInch);
/// How wide the painter draws a text.
double sceneTextWidth(std::string_view text, double size, bool isBold);

/// Draws the scene at the painter's origin, ground first.
void play(const CircleScene& scene, QPainter& painter);

} // namespace netrondo
