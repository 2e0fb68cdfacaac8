// A rasteriser for lines and discs. A painter's general one strokes each line to a polygon and scans that: a ring with
// 20,000 chords then takes a second. Here a line is walked along its longer side, and each step blends the two or three
// pixels that the line covers there.
#include "Drawing/RasterShapes.h"

#include <QImage>
#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstring>
#include <thread>
#include <vector>

namespace netrondo {
namespace {

/// Four channels in lanes of 16 bits, so that one multiplication takes them all.
using Lanes = std::uint64_t;
constexpr Lanes everyByte = 0x00ff00ff00ff00ff;
constexpr Lanes half = 0x0080008000800080; // rounds; cutting off would darken what many faint lines cross

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

using Words = std::uint16_t __attribute__((vector_size(16)));
using Octets = std::uint8_t __attribute__((vector_size(16)));
using LowOctets = std::uint8_t __attribute__((vector_size(8)));
using Halves = std::uint64_t __attribute__((vector_size(16)));

/// Every share of 256 in all lanes of a pixel.
constexpr auto sharesInLanes = [] {
    std::array<std::uint64_t, 257> shares{};
    for (std::uint64_t i = 0; i < shares.size(); ++i)
        shares[i] = i * 0x0001000100010001;
    return shares;
}();

/// The same for two neighbours at once, in one vector.
inline std::uint64_t mixTwo(std::uint64_t pixels, Lanes color, std::uint64_t share0, std::uint64_t share1)
{
    const auto share = reinterpret_cast<Words>(Halves{sharesInLanes[share0], sharesInLanes[share1]});
    const auto colors = reinterpret_cast<Words>(Halves{color, color});
    const auto octets = reinterpret_cast<Octets>(Halves{pixels, 0});
    const auto below = reinterpret_cast<Words>(
        __builtin_shufflevector(octets, Octets{}, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23));
    // below * (256 - share) + color * share: what passes 16 bits on the way comes back, as the sum stays below 65,536.
    const Words mixed = ((below << 8) + (colors - below) * share + 128) >> 8;
    return std::bit_cast<std::uint64_t>(__builtin_convertvector(mixed, LowOctets));
}

Lanes lanesOf(const SceneColor& color)
{
    return spread(0xff000000U | static_cast<std::uint32_t>(color.rgb.r) << 16
                  | static_cast<std::uint32_t>(color.rgb.g) << 8 | color.rgb.b);
}

/// The rows of an image that one thread works on at a time: few enough to stay in its cache.
struct Band {
    std::uint32_t* pixels; ///< of row 0
    std::ptrdiff_t stride; ///< from row to row, in pixels
    std::int64_t width;
    std::int64_t top, bottom;

    std::uint32_t* row(std::int64_t y) const { return pixels + y * stride; }
};

constexpr int fractionBits = 16;
constexpr std::int64_t one = std::int64_t{1} << fractionBits;

std::int64_t fixed(double value)
{
    return std::llround(value * static_cast<double>(one));
}

/// How much of a colour a pixel gets that is covered so far.
constexpr std::uint32_t shareOf(std::int64_t covered, std::uint32_t alpha)
{
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(covered) * alpha >> fractionBits);
}

/// What a line does along its longer side: the middle of the line at each step, and how far it reaches to both sides.
struct Walk {
    std::int64_t from, to;    ///< steps: columns of a flat line, rows of a steep one
    std::int64_t middle;      ///< at the first step, fixed point
    std::int64_t slope;       ///< from step to step
    std::int64_t reach;       ///< half of the line's extent across the walk
    std::int64_t least, most; ///< pixels across that may be touched, `most` behind the last
    std::uint32_t alpha;      ///< of 256
    Lanes color;
};

/// One step across a line of any width.
template <typename Pixels>
void cross(const Walk& line, std::int64_t step, std::int64_t begin, std::int64_t end, const Pixels& pixels)
{
    const auto first = begin >> fractionBits, last = (end - 1) >> fractionBits;
    for (auto at = std::max(first, line.least); at <= std::min(last, line.most - 1); ++at) {
        const auto covered = std::min(end, (at + 1) << fractionBits) - std::max(begin, at << fractionBits);
        blend(pixels.at(step, at), line.color, shareOf(covered, line.alpha));
    }
}

/// A hairline: at each step two pixels share its colour by how near they are.
template <typename Pixels> void walkHairline(const Walk& line, const Pixels& pixels)
{
    const auto strength = static_cast<std::uint64_t>(line.alpha) * static_cast<std::uint64_t>(2 * line.reach);
    auto at = line.middle - one / 2;
    for (auto step = line.from; step < line.to; ++step, at += line.slope) {
        const auto first = at >> fractionBits;
        if (first < line.least || first + 2 > line.most) {
            cross(line, step, at + one / 2 - line.reach, at + one / 2 + line.reach, pixels);
            continue;
        }
        const auto part = static_cast<std::uint64_t>(at & (one - 1)) >> 8; // of 256
        const auto whole = strength >> fractionBits;
        const auto second = whole * part >> 8;
        pixels.blendTwo(step, first, line.color, whole - second, second);
    }
}

/// A line of a few pixels: as many are blended at every step, some with nothing. How many it touches changes from step
/// to step, and a processor that guesses that wrong loses more time.
template <typename Pixels> void walkThin(const Walk& line, const Pixels& pixels)
{
    constexpr int touched = 4;
    auto begin = line.middle - line.reach;
    for (auto step = line.from; step < line.to; ++step, begin += line.slope) {
        const auto first = begin >> fractionBits;
        if (first < line.least || first + touched > line.most) {
            cross(line, step, begin, begin + 2 * line.reach, pixels);
            continue;
        }
        auto left = 2 * line.reach;
        const auto take = [&](std::int64_t room) {
            const auto covered = std::min(room, left);
            left -= covered;
            return std::uint64_t{shareOf(covered, line.alpha)};
        };
        const auto s0 = take(one - (begin & (one - 1))), s1 = take(one), s2 = take(one), s3 = take(one);
        pixels.blendTwo(step, first, line.color, s0, s1);
        pixels.blendTwo(step, first + 2, line.color, s2, s3);
    }
}

template <typename Pixels> void walk(const Walk& line, bool isHairline, const Pixels& pixels)
{
    if (isHairline)
        return walkHairline(line, pixels);
    if (2 * line.reach <= 3 * one)
        return walkThin(line, pixels);
    auto begin = line.middle - line.reach;
    for (auto step = line.from; step < line.to; ++step, begin += line.slope)
        cross(line, step, begin, begin + 2 * line.reach, pixels);
}

/// The pixels of a line that is walked column by column, and across them down.
struct Columns {
    const Band& band;
    std::uint32_t& at(std::int64_t x, std::int64_t y) const { return band.row(y)[x]; }
    void blendTwo(std::int64_t x, std::int64_t y, Lanes color, std::uint64_t s0, std::uint64_t s1) const
    {
        auto* const upper = band.row(y) + x;
        auto* const lower = upper + band.stride;
        const auto mixed = mixTwo(*upper | std::uint64_t{*lower} << 32, color, s0, s1);
        *upper = static_cast<std::uint32_t>(mixed);
        *lower = static_cast<std::uint32_t>(mixed >> 32);
    }
};

/// The pixels of a line that is walked row by row; across it they lie side by side.
struct Rows {
    const Band& band;
    std::uint32_t& at(std::int64_t y, std::int64_t x) const { return band.row(y)[x]; }
    void blendTwo(std::int64_t y, std::int64_t x, Lanes color, std::uint64_t s0, std::uint64_t s1) const
    {
        auto* const place = band.row(y) + x;
        std::uint64_t both = 0;
        std::memcpy(&both, place, sizeof both);
        both = mixTwo(both, color, s0, s1);
        std::memcpy(place, &both, sizeof both);
    }
};

/// Where the walk's middle lies between two bounds, as steps; all of it for a line that runs along.
std::pair<double, double> stepsBetween(double middleAtZero, double slope, double low, double high)
{
    if (std::abs(slope) < 1e-9)
        return middleAtZero < low || middleAtZero > high ? std::pair(1.0, 0.0) : std::pair(-1e9, 1e9);
    const auto a = (low - middleAtZero) / slope, b = (high - middleAtZero) / slope;
    return std::minmax(a, b);
}

void drawLine(const Band& band, const SceneLine& line, const RasterPlacing& placing)
{
    const double x0 = line.from.x * placing.scale + placing.dx, y0 = line.from.y * placing.scale + placing.dy;
    const double x1 = line.to.x * placing.scale + placing.dx, y1 = line.to.y * placing.scale + placing.dy;
    const double across = x1 - x0, down = y1 - y0;
    const double length = std::hypot(across, down);
    if (!(length > 0) || !std::isfinite(length))
        return;
    const bool isFlat = std::abs(across) >= std::abs(down);
    const double slope = isFlat ? down / across : across / down;
    const double reach = line.width * placing.scale / 2 * std::hypot(1.0, slope);
    // The middle at the step 0, whose pixels have their middle at 0.5.
    const double middleAtZero = isFlat ? y0 + (0.5 - x0) * slope : x0 + (0.5 - y0) * slope;
    const auto [begin, end] = isFlat ? std::minmax(x0, x1) : std::minmax(y0, y1);

    const double low = isFlat ? static_cast<double>(band.top) : 0.0;
    const double high = static_cast<double>(isFlat ? band.bottom : band.width);
    const auto [enters, leaves] = stepsBetween(middleAtZero, slope, low - reach - 1, high + reach + 1);
    const double firstStep = isFlat ? 0.0 : static_cast<double>(band.top);
    const double lastStep = static_cast<double>(isFlat ? band.width : band.bottom);
    const auto from = static_cast<std::int64_t>(std::max({std::ceil(begin - 0.5), std::floor(enters), firstStep}));
    const auto to = static_cast<std::int64_t>(std::min({std::ceil(end - 0.5), std::ceil(leaves) + 1, lastStep}));
    if (from >= to)
        return;
    const Walk steps{from,
                     to,
                     fixed(middleAtZero + slope * static_cast<double>(from)),
                     fixed(slope),
                     std::max<std::int64_t>(fixed(reach), 1),
                     isFlat ? band.top : 0,
                     isFlat ? band.bottom : band.width,
                     static_cast<std::uint32_t>(std::lround(std::clamp(line.color.alpha, 0.0, 1.0) * 256)),
                     lanesOf(line.color)};
    // What two pixels cannot hold takes three.
    const bool isHairline = line.width * placing.scale <= 1.5 && steps.alpha * 2 * steps.reach <= 256 * one;
    if (isFlat)
        walk(steps, isHairline, Columns{band});
    else
        walk(steps, isHairline, Rows{band});
}

void fillDisc(const Band& band, double x, double y, double radius, const SceneColor& color)
{
    const auto lanes = lanesOf(color);
    const double alpha = std::clamp(color.alpha, 0.0, 1.0) * 256;
    const auto top = std::max(band.top, static_cast<std::int64_t>(std::floor(y - radius - 1)));
    const auto bottom = std::min(band.bottom, static_cast<std::int64_t>(std::ceil(y + radius + 1)));
    const auto left = std::max<std::int64_t>(0, static_cast<std::int64_t>(std::floor(x - radius - 1)));
    const auto right = std::min(band.width, static_cast<std::int64_t>(std::ceil(x + radius + 1)));
    for (auto row = top; row < bottom; ++row)
        for (auto column = left; column < right; ++column) {
            const double away = std::hypot(static_cast<double>(column) + 0.5 - x, static_cast<double>(row) + 0.5 - y);
            if (const double covered = std::clamp(radius + 0.5 - away, 0.0, 1.0); covered > 0)
                blend(band.row(row)[column], lanes, static_cast<std::uint32_t>(std::lround(covered * alpha)));
        }
}

void drawDisc(const Band& band, const SceneDisc& disc, const RasterPlacing& placing)
{
    if (disc.fill.alpha <= 0)
        return;
    const double x = disc.center.x * placing.scale + placing.dx, y = disc.center.y * placing.scale + placing.dy;
    const double rim = disc.outlineWidth / 2 * placing.scale, radius = disc.radius * placing.scale;
    if (!std::isfinite(x) || !std::isfinite(y) || std::abs(x) > 1e6 || std::abs(y) > 1e6)
        return;
    if (rim > 0 && disc.outline.alpha > 0)
        fillDisc(band, x, y, radius + rim, disc.outline);
    fillDisc(band, x, y, radius - rim, disc.fill);
}

/// Draws every shape band by band; the bands are shared out among the processors.
template <typename Shape, typename Draw> void inBands(QImage& image, std::span<const Shape> shapes, const Draw& draw)
{
    constexpr std::int64_t bytesOfCache = 768 * 1024;
    constexpr std::size_t fewShapes = 256; // not worth waking anybody for
    const std::int64_t width = image.width(), height = image.height(), bytesPerRow = image.bytesPerLine();
    if (width == 0 || height == 0 || shapes.empty())
        return;
    auto* const pixels = reinterpret_cast<std::uint32_t*>(image.bits());
    const auto rows =
        shapes.size() < fewShapes ? height : std::clamp<std::int64_t>(bytesOfCache / bytesPerRow, 16, height);
    std::atomic<std::int64_t> next = 0;
    const auto work = [&] {
        for (auto top = next.fetch_add(rows); top < height; top = next.fetch_add(rows)) {
            const Band band{pixels, bytesPerRow / 4, width, top, std::min(top + rows, height)};
            for (const auto& shape : shapes)
                draw(band, shape);
        }
    };
    std::vector<std::jthread> helpers;
    if (rows < height)
        for (unsigned i = 1; i < std::min(std::thread::hardware_concurrency(), 8U); ++i)
            helpers.emplace_back(work);
    work();
}

} // namespace

bool isRaster(const QImage& image)
{
    return image.format() == QImage::Format_RGB32 || image.format() == QImage::Format_ARGB32_Premultiplied;
}

void drawLines(QImage& image, const RasterPlacing& placing, std::span<const SceneLine> lines)
{
    inBands(image, lines, [&](const Band& band, const SceneLine& line) { drawLine(band, line, placing); });
}

void drawDiscs(QImage& image, const RasterPlacing& placing, std::span<const SceneDisc> discs)
{
    inBands(image, discs, [&](const Band& band, const SceneDisc& disc) { drawDisc(band, disc, placing); });
}

} // namespace netrondo
