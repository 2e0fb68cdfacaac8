// The colour of every protocol: a few chosen by hand, the others spread evenly over what both grounds can show.
#include "Circle/ProtocolColors.h"

#include "Base/Json.h"
#include "Dissection/Classify/ProtocolName.h"

#include <algorithm>
#include <array>
#include <boost/unordered/unordered_flat_set.hpp>
#include <cmath>
#include <numbers>
#include <optional>

namespace netrondo::ProtocolColors {
namespace {

struct Row {
    std::string_view name;
    RGB color;
};

// Searched for the greatest smallest difference (CIEDE2000) between any two of them, as seen with normal vision,
// protanopia, deuteranopia and tritanopia, within the contrast that both grounds ask for. Bare transport is grey: it
// says least.
constexpr Row chosen[] = {
    {"TCP", {0x60, 0x75, 0x75}},  {"UDP", {0xa4, 0x94, 0x64}},  {"TLS", {0x05, 0x77, 0x54}},
    {"HTTP", {0x78, 0x8c, 0xff}}, {"DNS", {0xd2, 0x83, 0x12}},  {"mDNS", {0xb1, 0x24, 0x9d}},
    {"ICMP", {0xf2, 0x32, 0x88}}, {"ARP", {0xdc, 0x06, 0x00}},  {"SSH", {0x8f, 0x00, 0xff}},
    {"SMB", {0x02, 0xa7, 0x97}},  {"DHCP", {0xba, 0x6d, 0xba}}, {"NTP", {0xbf, 0x29, 0x45}},
};

constexpr auto names = [] {
    std::array<std::string_view, std::size(chosen)> found;
    for (std::size_t i = 0; i < found.size(); ++i)
        found[i] = chosen[i].name;
    return found;
}();

/// One channel of a colour given by CIE lightness, chroma and hue (D65), 0 to 1 when the screen has that colour.
std::array<double, 3> channels(double lightness, double chroma, double hue)
{
    const auto cube = [](double t) { return t > 6.0 / 29 ? t * t * t : 3 * (6.0 / 29) * (6.0 / 29) * (t - 4.0 / 29); };
    const double fy = (lightness + 16) / 116;
    const double x = 0.95047 * cube(fy + chroma * std::cos(hue) / 500), y = cube(fy),
                 z = 1.08883 * cube(fy - chroma * std::sin(hue) / 200);
    const auto encoded = [](double v) { return v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1 / 2.4) - 0.055; };
    return {encoded(3.2404542 * x - 1.5371385 * y - 0.4985314 * z),
            encoded(-0.9692660 * x + 1.8760108 * y + 0.0415560 * z),
            encoded(0.0556434 * x - 0.2040259 * y + 1.0572252 * z)};
}

/// The n-th of an endless row of colours. Each turns the hue by the golden angle, so that neighbours differ most, and
/// lightness and chroma take turns, all within what stands out from both grounds.
RGB spread(std::uint32_t n)
{
    constexpr double lightnesses[] = {52, 47, 57};
    constexpr double chromas[] = {62, 34};
    const double lightness = lightnesses[n % 3], hue = std::fmod(n * 137.50776405, 360) * std::numbers::pi / 180;
    double chroma = chromas[n / 3 % 2];
    auto rgb = channels(lightness, chroma, hue);
    const auto shows = [&] { return std::ranges::all_of(rgb, [](double v) { return v >= 0 && v <= 1; }); };
    while (!shows() && chroma > 1)
        rgb = channels(lightness, chroma -= 1, hue);
    const auto level = [](double v) { return static_cast<std::uint8_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255)); };
    return {level(rgb[0]), level(rgb[1]), level(rgb[2])};
}

std::array<RGB, protocolNameCount> makeTable()
{
    std::array<RGB, protocolNameCount> table;
    boost::unordered_flat_set<std::uint32_t> taken;
    const auto take = [&](RGB rgb) {
        return taken.insert(std::uint32_t{rgb.r} << 16 | std::uint32_t{rgb.g} << 8 | rgb.b).second;
    };
    for (const auto& row : chosen)
        take(row.color);
    std::uint32_t n = 0;
    for (auto& color : table)
        do // hue and lightness meet again after some hundred steps
            color = spread(n++);
        while (!take(color));
    for (const auto& row : chosen)
        if (const auto name = protocolName(row.name))
            table[static_cast<std::size_t>(*name)] = row.color;
    return table;
}

/// Stable between runs and machines, unlike the library's hash.
std::uint32_t stableNumber(std::string_view name)
{
    std::uint32_t hash = 2166136261;
    for (const char c : name)
        hash = (hash ^ static_cast<unsigned char>(c)) * 16777619;
    return hash >> 8;
}

} // namespace

RGB color(std::string_view protocolName)
{
    static const auto table = makeTable();
    const auto known = netrondo::protocolName(protocolName);
    return known ? table[static_cast<std::size_t>(*known)] : spread(stableNumber(protocolName));
}

std::span<const std::string_view> common()
{
    return names;
}

void write(JsonWriter& json, const RGB& color)
{
    json.beginObject();
    json.field("r", color.r);
    json.field("g", color.g);
    json.field("b", color.b);
    json.endObject();
}

} // namespace netrondo::ProtocolColors
