// A rasteriser for lines. A painter's general one strokes each line to a polygon and scans that: a ring with 20,000
// chords then takes a second. Here a line is walked along its longer side, and each step blends the two or more pixels
// that the line covers there. It works on bands of the image, unpacked into words that keep eight bits behind the
// point: what a step does then takes few instructions, and what many faint lines cross is not rounded at each of them.
#include "Drawing/RasterShapes.h"

#include <QImage>
#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstring>
#include <optional>
#include <thread>
#include <vector>

namespace netrondo {
namespace {

/// A pixel is four words, a channel each, with eight bits behind the point; two pixels fit into a register.
using Word = std::uint16_t;
constexpr std::int64_t wordsOfPixel = 4;
using One = Word __attribute__((vector_size(8)));
using Two = Word __attribute__((vector_size(16)));
using Signed = std::int16_t __attribute__((vector_size(16)));
using Halves = std::uint64_t __attribute__((vector_size(16)));

constexpr int fractionBits = 16;
constexpr std::int64_t one = std::int64_t{1} << fractionBits;

std::int64_t fixed(double value)
{
    return static_cast<std::int64_t>(value * static_cast<double>(one));
}

/// Mixes shares of 256 parts of a colour, given without its point, into pixels. What passes 16 bits on the way comes
/// back: the sum stays below 65,536.
template <typename Words> inline Words mix(Words below, Words color, Words share)
{
    return below + (color - (below >> 8)) * share;
}

Two bothOf(One pixel)
{
    return __builtin_shufflevector(pixel, pixel, 0, 1, 2, 3, 0, 1, 2, 3);
}

One colorOf(const SceneColor& color)
{
    const auto packed = 0xff000000U | static_cast<std::uint32_t>(color.rgb.r) << 16
        | static_cast<std::uint32_t>(color.rgb.g) << 8 | color.rgb.b;
    const auto bytes = std::bit_cast<std::array<std::uint8_t, 4>>(packed); // as they lie in the image
    return One{Word{bytes[0]}, Word{bytes[1]}, Word{bytes[2]}, Word{bytes[3]}};
}

/// A line ready to be walked: all that does not depend on the band.
struct Stroke {
    std::int64_t from, to;    ///< steps along the longer side: columns of a flat line, rows of a steep one
    double middle;            ///< of the line across, at step 0
    double slope;             ///< from step to step, at most 1 either way
    double stepsPerPixel;     ///< across; 0 for a line that runs along
    double reach;             ///< half of the line's extent across the walk
    std::int64_t top, bottom; ///< rows that the line may touch, `bottom` behind the last
    std::uint32_t alpha;      ///< of 256
    bool isFlat, isHairline;
    One color;
};

struct Steps {
    std::int64_t from, to;
};

/// The steps of a line whose middle lies between two bounds, and a few more.
Steps stepsBetween(const Stroke& line, double low, double high)
{
    if (line.stepsPerPixel == 0)
        return line.middle < low || line.middle > high ? Steps{0, 0} : Steps{line.from, line.to};
    double first = (low - line.middle) * line.stepsPerPixel, last = (high - line.middle) * line.stepsPerPixel;
    if (first > last)
        std::swap(first, last);
    first = std::max(first, static_cast<double>(line.from));
    last = std::min(last, static_cast<double>(line.to));
    if (!(first <= last))
        return {0, 0};
    return {static_cast<std::int64_t>(first), std::min(static_cast<std::int64_t>(last) + 1, line.to)};
}

/// Nothing for a line that is nowhere in an image of this size.
std::optional<Stroke> strokeOf(const SceneLine& line, const RasterPlacing& placing, std::int64_t width,
                               std::int64_t height)
{
    const double x0 = line.from.x * placing.scale + placing.dx, y0 = line.from.y * placing.scale + placing.dy;
    const double x1 = line.to.x * placing.scale + placing.dx, y1 = line.to.y * placing.scale + placing.dy;
    constexpr double farthest = 1e8; // beyond that numbers do not tell pixels apart
    for (const double value : {x0, y0, x1, y1, line.width * placing.scale})
        if (!(std::abs(value) < farthest))
            return std::nullopt;
    const double across = x1 - x0, down = y1 - y0;
    if (across == 0 && down == 0)
        return std::nullopt;
    Stroke stroke{};
    stroke.isFlat = std::abs(across) >= std::abs(down);
    stroke.slope = stroke.isFlat ? down / across : across / down;
    stroke.stepsPerPixel = std::abs(stroke.slope) < 1e-9 ? 0 : 1 / stroke.slope;
    stroke.reach = std::max(line.width * placing.scale / 2 * std::sqrt(1 + stroke.slope * stroke.slope), 1e-4);
    // The middle at step 0, whose pixels have their middle at 0.5.
    stroke.middle = stroke.isFlat ? y0 + (0.5 - x0) * stroke.slope : x0 + (0.5 - y0) * stroke.slope;
    const auto [begin, end] = stroke.isFlat ? std::minmax(x0, x1) : std::minmax(y0, y1);
    const auto steps = static_cast<double>(stroke.isFlat ? width : height);
    stroke.from = static_cast<std::int64_t>(std::clamp(std::ceil(begin - 0.5), 0.0, steps));
    stroke.to = static_cast<std::int64_t>(std::clamp(std::ceil(end - 0.5), 0.0, steps));
    const auto room = static_cast<double>(stroke.isFlat ? height : width);
    const auto within = stepsBetween(stroke, -stroke.reach - 1, room + stroke.reach + 1);
    stroke.from = within.from;
    stroke.to = within.to;
    if (stroke.from >= stroke.to)
        return std::nullopt;
    if (stroke.isFlat) {
        const auto [top, bottom] = std::minmax(y0, y1);
        stroke.top = static_cast<std::int64_t>(std::max(std::floor(top - stroke.reach - 1), 0.0));
        stroke.bottom = std::min(static_cast<std::int64_t>(std::ceil(bottom + stroke.reach + 1)), height);
    } else {
        stroke.top = stroke.from;
        stroke.bottom = stroke.to;
    }
    stroke.alpha = static_cast<std::uint32_t>(std::lround(std::clamp(line.color.alpha, 0.0, 1.0) * 256));
    // What two pixels cannot hold takes more.
    stroke.isHairline = line.width * placing.scale <= 1.5 && stroke.alpha * 2 * stroke.reach <= 256;
    stroke.color = colorOf(line.color);
    return stroke;
}

/// Rows of the image, unpacked, with a margin all around into which thin lines may run without being asked.
class Band {
public:
    Band(std::int64_t width, std::int64_t rows)
        : width_(width)
        , stride_((width + 2 * margin) * wordsOfPixel)
        , words_(static_cast<std::size_t>(stride_ * (rows + 2 * margin)))
    { }

    static constexpr std::int64_t margin = 8;
    std::int64_t width() const { return width_; }
    std::int64_t stride() const { return stride_; } ///< from row to row, in words
    std::int64_t top = 0, bottom = 0;               ///< rows of the image

    Word* at(std::int64_t x, std::int64_t y)
    {
        return words_.data() + (y - top + margin) * stride_ + (x + margin) * wordsOfPixel;
    }
    void unpack(const std::uint8_t* row, std::int64_t y)
    {
        auto* const words = at(0, y);
        for (std::int64_t i = 0; i < width_ * wordsOfPixel; ++i)
            words[i] = static_cast<Word>(row[i] << 8 | 0x80);
    }
    void pack(std::uint8_t* row, std::int64_t y)
    {
        const auto* const words = at(0, y);
        for (std::int64_t i = 0; i < width_ * wordsOfPixel; ++i)
            row[i] = static_cast<std::uint8_t>(words[i] >> 8);
    }

private:
    std::int64_t width_, stride_;
    std::vector<Word> words_;
};

/// What a line does in a band, along its longer side.
struct Walk {
    std::int64_t from, to;    ///< steps
    std::int64_t middle;      ///< at the first step, fixed point
    std::int64_t slope;       ///< from step to step
    std::int64_t reach;       ///< half of the line's extent across the walk
    std::int64_t least, most; ///< pixels across that are in the band, `most` behind the last
    std::uint32_t alpha;      ///< of 256
    One color;
};

/// The pixels of a line that is walked row by row; across it they lie side by side.
struct Rows {
    Band& band;
    Word* at(std::int64_t y, std::int64_t x) const { return band.at(x, y); }
    std::int64_t along() const { return band.stride(); }
    static constexpr std::int64_t across() { return wordsOfPixel; }
    static Two load(const Word* place)
    {
        Two both;
        std::memcpy(&both, place, sizeof both);
        return both;
    }
    static void store(Word* place, const Two& both) { std::memcpy(place, &both, sizeof both); }
};

/// The pixels of a line that is walked column by column, and across them down.
struct Columns {
    Band& band;
    Word* at(std::int64_t x, std::int64_t y) const { return band.at(x, y); }
    static constexpr std::int64_t along() { return wordsOfPixel; }
    std::int64_t across() const { return band.stride(); }
    Two load(const Word* place) const
    {
        std::uint64_t upper = 0, lower = 0;
        std::memcpy(&upper, place, sizeof upper);
        std::memcpy(&lower, place + band.stride(), sizeof lower);
        return reinterpret_cast<Two>(Halves{upper, lower});
    }
    void store(Word* place, const Two& both) const
    {
        const auto halves = reinterpret_cast<Halves>(both);
        const std::uint64_t upper = halves[0], lower = halves[1];
        std::memcpy(place, &upper, sizeof upper);
        std::memcpy(place + band.stride(), &lower, sizeof lower);
    }
};

/// A hairline: at each step two pixels share its colour by how near they are.
template <typename Pixels> void walkHairline(const Walk& line, const Pixels& pixels)
{
    const auto strength = static_cast<Word>(std::min<std::uint64_t>(
        (line.alpha * static_cast<std::uint64_t>(2 * line.reach) + one / 2) >> fractionBits, 256));
    const Two color = bothOf(line.color), strengths = Two{} + strength;
    constexpr Two nearer{255, 255, 255, 255, 0, 0, 0, 0};
    auto at = line.middle - one / 2;
    Two fraction = Two{} + static_cast<Word>(at), slope = Two{} + static_cast<Word>(line.slope);
    const auto along = pixels.along(), across = pixels.across();
    auto* place = pixels.at(line.from, 0);
    for (auto step = line.from; step < line.to; ++step, at += line.slope, fraction += slope, place += along) {
        auto* const first = place + (at >> fractionBits) * across;
        const Two share = (((fraction >> 8) ^ nearer) * strengths + 128) >> 8;
        pixels.store(first, mix(pixels.load(first), color, share));
    }
}

/// A line of a few pixels: as many are blended at every step, some with nothing. How many it touches changes from step
/// to step, and a processor that guesses that wrong loses more time.
template <typename Pixels> void walkThin(const Walk& line, const Pixels& pixels)
{
    const Two color = bothOf(line.color);
    const Two alpha = Two{} + static_cast<Word>(std::min(line.alpha, 255U)); // 256 of 256 pass the word
    const Signed width = Signed{} + static_cast<std::int16_t>((2 * line.reach + 128) >> 8);
    constexpr Signed whole{256, 256, 256, 256, 256, 256, 256, 256}, none{};
    constexpr Signed begins0{0, 0, 0, 0, 256, 256, 256, 256}, begins1{512, 512, 512, 512, 768, 768, 768, 768};
    constexpr Signed onlyFirst{-1, -1, -1, -1, 0, 0, 0, 0};
    auto at = line.middle - line.reach;
    Two fraction = Two{} + static_cast<Word>(at), slope = Two{} + static_cast<Word>(line.slope);
    const auto along = pixels.along(), across = pixels.across();
    auto* place = pixels.at(line.from, 0);
    for (auto step = line.from; step < line.to; ++step, at += line.slope, fraction += slope, place += along) {
        auto* const first = place + (at >> fractionBits) * across;
        const auto begin = reinterpret_cast<Signed>(fraction >> 8);
        const auto until = [&](const Signed& pixel) { // how much of each pixel lies before the line's end
            const Signed covered = begin + width - pixel;
            const Signed some = covered > none ? covered : none;
            return some < whole ? some : whole;
        };
        const auto share0 = reinterpret_cast<Two>(until(begins0) - (begin & onlyFirst)) * alpha >> 8;
        const auto share1 = reinterpret_cast<Two>(until(begins1)) * alpha >> 8;
        pixels.store(first, mix(pixels.load(first), color, share0));
        auto* const third = first + 2 * across;
        pixels.store(third, mix(pixels.load(third), color, share1));
    }
}

/// A wide line: two edges, and between them pixels that it covers wholly.
template <typename Pixels> void walkWide(const Walk& line, const Pixels& pixels)
{
    const auto blend = [&](Word* place, std::int64_t covered) {
        const auto share = static_cast<std::uint64_t>(covered) * line.alpha >> fractionBits;
        One pixel;
        std::memcpy(&pixel, place, sizeof pixel);
        pixel = mix(pixel, line.color, One{} + static_cast<Word>(share));
        std::memcpy(place, &pixel, sizeof pixel);
    };
    const Two color = bothOf(line.color), alpha = Two{} + static_cast<Word>(line.alpha);
    const auto across = pixels.across();
    auto begin = line.middle - line.reach;
    for (auto step = line.from; step < line.to; ++step, begin += line.slope) {
        const auto from = std::max(begin, line.least << fractionBits);
        const auto to = std::min(begin + 2 * line.reach, line.most << fractionBits);
        if (from >= to)
            continue;
        auto at = from >> fractionBits;
        const auto last = (to - 1) >> fractionBits;
        auto* place = pixels.at(step, at);
        if (at == last) {
            blend(place, to - from);
            continue;
        }
        blend(place, ((at + 1) << fractionBits) - from);
        for (++at, place += across; at + 1 < last; at += 2, place += 2 * across)
            pixels.store(place, mix(pixels.load(place), color, alpha));
        if (at < last) {
            blend(place, one);
            place += across;
        }
        blend(place, to - (last << fractionBits));
    }
}

template <typename Pixels> void walk(const Walk& line, bool isHairline, const Pixels& pixels)
{
    if (isHairline)
        walkHairline(line, pixels);
    else if (2 * line.reach <= 3 * one)
        walkThin(line, pixels);
    else
        walkWide(line, pixels);
}

void draw(const Stroke& line, Band& band)
{
    if (line.bottom <= band.top || line.top >= band.bottom)
        return;
    const auto within = line.isFlat ? stepsBetween(line, static_cast<double>(band.top) - line.reach - 1,
                                                   static_cast<double>(band.bottom) + line.reach + 1)
                                    : Steps{std::max(line.from, band.top), std::min(line.to, band.bottom)};
    if (within.from >= within.to)
        return;
    const Walk steps{within.from,
                     within.to,
                     fixed(line.middle + line.slope * static_cast<double>(within.from)),
                     fixed(line.slope),
                     fixed(line.reach),
                     line.isFlat ? band.top : 0,
                     line.isFlat ? band.bottom : band.width(),
                     line.alpha,
                     line.color};
    if (line.isFlat)
        walk(steps, line.isHairline, Columns{band});
    else
        walk(steps, line.isHairline, Rows{band});
}

} // namespace

void drawLines(QImage& image, const RasterPlacing& placing, std::span<const SceneLine> lines)
{
    const std::int64_t width = image.width(), height = image.height(), bytesPerRow = image.bytesPerLine();
    std::vector<Stroke> strokes;
    strokes.reserve(lines.size());
    std::int64_t begin = height, end = 0; // the rows that lines touch
    for (const auto& line : lines)
        if (const auto stroke = strokeOf(line, placing, width, height)) {
            strokes.push_back(*stroke);
            begin = std::min(begin, stroke->top);
            end = std::max(end, stroke->bottom);
        }

    // Bands that stay in a processor's cache, shared out among the processors.
    constexpr std::int64_t bytesOfCache = 1536 * 1024;
    const auto rows =
        std::clamp<std::int64_t>(bytesOfCache / std::max<std::int64_t>(width * wordsOfPixel * 2, 1), 16, 512);
    auto* const pixels = image.bits();
    std::atomic<std::int64_t> next = begin;
    const auto work = [&] {
        std::optional<Band> band;
        for (auto top = next.fetch_add(rows); top < end; top = next.fetch_add(rows)) {
            if (!band)
                band.emplace(width, rows);
            band->top = top;
            band->bottom = std::min(top + rows, end);
            for (auto y = top; y < band->bottom; ++y)
                band->unpack(pixels + y * bytesPerRow, y);
            for (const auto& stroke : strokes)
                draw(stroke, *band);
            for (auto y = top; y < band->bottom; ++y)
                band->pack(pixels + y * bytesPerRow, y);
        }
    };
    constexpr std::size_t fewLines = 256; // not worth waking anybody for
    std::vector<std::jthread> helpers;
    if (strokes.size() >= fewLines)
        for (unsigned i = 1; i < std::min(std::thread::hardware_concurrency(), 8U); ++i)
            helpers.emplace_back(work);
    work();
}

} // namespace netrondo
