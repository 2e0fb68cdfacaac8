// Pictures beside golden ones in Tests/Golden/Pictures.
//
// They hold no letters: fonts differ from machine to machine, and a picture that only fits one of them tells nothing. A
// label is drawn as the bar that it fills, by widths that need no font, so that its place is compared all the same.
// Lines may end in another shade where a compiler rounds otherwise; so both pictures are blurred a little before they
// are compared, and then hardly anything may differ: a chord that moved by its own width does not hide in that.
#pragma once

#include "Circle/CircleScene.h"

#include <QImage>
#include <gtest/gtest.h>
#include <string>

namespace netrondo::test {

/// The scene on a screen of one pixel a point, bars for its labels.
QImage drawnWithoutLetters(CircleScene scene);

struct PictureDifference {
    int most = 0;   ///< of a channel of a blurred pixel, of 255
    int differ = 0; ///< pixels by which the eye would tell
    QPoint where;   ///< of the most
};
/// Of two pictures of one size.
PictureDifference difference(const QImage& a, const QImage& b);
/// What passes as the same picture.
bool isSame(const PictureDifference& difference);

/// Compares with Tests/Golden/Pictures/`name`.png. With NETRONDO_REWRITE_GOLDEN set it writes the file instead. Where
/// they differ the actual picture is left in the folder for temporary files.
void expectGoldenPicture(const std::string& name, const QImage& actual);

} // namespace netrondo::test
