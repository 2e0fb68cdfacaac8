// Discs straight into the pixels of an image.
#include "Drawing/RasterShapes.h"

#include <QImage>
#include <algorithm>
#include <cmath>

namespace netrondo {
namespace {

/// Four channels in lanes of 16 bits, so that one multiplication takes them all.
using Lanes = std::uint64_t;
constexpr Lanes everyByte = 0x00ff00ff00ff00ff;
constexpr Lanes half = 0x0080008000800080; // rounds

constexpr Lanes spread(std::uint32_t pixel)
{
    const auto pairs = (pixel | Lanes{pixel} << 16) & 0x0000ffff0000ffff;
    return (pairs | pairs << 8) & everyByte;
}

constexpr std::uint32_t gather(Lanes lanes)
{
    const auto pairs = (lanes | lanes >> 8) & 0x0000ffff0000ffff;
    return static_cast<std::uint32_t>(pairs | pairs >> 16);
}

/// Mixes `share` of 256 parts of the colour into a pixel.
inline void blend(std::uint32_t& pixel, Lanes color, std::uint32_t share)
{
    pixel = gather((spread(pixel) * (256 - share) + color * share + half) >> 8 & everyByte);
}

Lanes lanesOf(const SceneColor& color)
{
    return spread(0xff000000U | static_cast<std::uint32_t>(color.rgb.r) << 16
                  | static_cast<std::uint32_t>(color.rgb.g) << 8 | color.rgb.b);
}

struct Canvas {
    std::uint32_t* pixels;
    std::ptrdiff_t stride; ///< from row to row, in pixels
    int width, height;
};

void fillDisc(const Canvas& canvas, double x, double y, double radius, const SceneColor& color)
{
    const auto lanes = lanesOf(color);
    const double alpha = std::clamp(color.alpha, 0.0, 1.0) * 256;
    const int top = std::max(0, static_cast<int>(std::floor(y - radius - 1)));
    const int bottom = std::min(canvas.height, static_cast<int>(std::ceil(y + radius + 1)));
    const int left = std::max(0, static_cast<int>(std::floor(x - radius - 1)));
    const int right = std::min(canvas.width, static_cast<int>(std::ceil(x + radius + 1)));
    for (int row = top; row < bottom; ++row) {
        auto* const pixels = canvas.pixels + row * canvas.stride;
        const double down = row + 0.5 - y;
        for (int column = left; column < right; ++column) {
            const double across = column + 0.5 - x;
            const double away = std::sqrt(across * across + down * down);
            if (const double covered = std::clamp(radius + 0.5 - away, 0.0, 1.0); covered > 0)
                blend(pixels[column], lanes, static_cast<std::uint32_t>(std::lround(covered * alpha)));
        }
    }
}

void drawDisc(const Canvas& canvas, const SceneDisc& disc, const RasterPlacing& placing)
{
    if (disc.fill.alpha <= 0)
        return;
    const double x = disc.center.x * placing.scale + placing.dx, y = disc.center.y * placing.scale + placing.dy;
    const double rim = disc.outlineWidth / 2 * placing.scale, radius = disc.radius * placing.scale;
    if (!std::isfinite(x) || !std::isfinite(y) || std::abs(x) > 1e6 || std::abs(y) > 1e6)
        return;
    if (rim > 0 && disc.outline.alpha > 0)
        fillDisc(canvas, x, y, radius + rim, disc.outline);
    fillDisc(canvas, x, y, radius - rim, disc.fill);
}

} // namespace

bool isRaster(const QImage& image)
{
    return image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32_Premultiplied;
}

void drawDiscs(QImage& image, const RasterPlacing& placing, std::span<const SceneDisc> discs)
{
    const Canvas canvas{reinterpret_cast<std::uint32_t*>(image.bits()), image.bytesPerLine() / 4, image.width(),
                        image.height()};
    for (const auto& disc : discs)
        drawDisc(canvas, disc, placing);
}

} // namespace netrondo
