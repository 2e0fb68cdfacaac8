// How far apart two colours look, also to people with a colour-vision deficiency.
#include "Support/ColorVision.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace netrondo::test {
namespace {

using Triple = std::array<double, 3>;
using Matrix = std::array<Triple, 3>;
constexpr double pi = std::numbers::pi;

/// What a viewer sees of linear red, green and blue.
constexpr std::array<Matrix, 4> seen{{
    {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}},
    {{{0.152286, 1.052583, -0.204868}, {0.114503, 0.786281, 0.099216}, {-0.003882, -0.048116, 1.051998}}},
    {{{0.367322, 0.860646, -0.227968}, {0.280085, 0.672501, 0.047413}, {-0.011820, 0.042940, 0.968881}}},
    {{{1.255528, -0.076749, -0.178779}, {-0.078411, 0.930809, 0.147602}, {0.004733, 0.691367, 0.303900}}},
}};
constexpr Matrix xyzOfLinear{
    {{0.4124564, 0.3575761, 0.1804375}, {0.2126729, 0.7151522, 0.0721750}, {0.0193339, 0.1191920, 0.9503041}}};

Triple times(const Matrix& matrix, const Triple& v)
{
    Triple product{};
    for (std::size_t i = 0; i < 3; ++i)
        product[i] = matrix[i][0] * v[0] + matrix[i][1] * v[1] + matrix[i][2] * v[2];
    return product;
}

double linear(std::uint8_t channel)
{
    const double c = channel / 255.0;
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

Triple linear(ProtocolColors::RGB color)
{
    return {linear(color.r), linear(color.g), linear(color.b)};
}

Triple lab(ProtocolColors::RGB color, Vision vision)
{
    auto light = times(seen[static_cast<std::size_t>(vision)], linear(color));
    for (auto& channel : light)
        channel = std::clamp(channel, 0.0, 1.0);
    const auto xyz = times(xyzOfLinear, light);
    const auto f = [](double t) { return t > 216.0 / 24389 ? std::cbrt(t) : (24389.0 / 27 * t + 16) / 116; };
    const double x = f(xyz[0] / 0.95047), y = f(xyz[1]), z = f(xyz[2] / 1.08883);
    return {116 * y - 16, 500 * (x - y), 200 * (y - z)};
}

double luminance(ProtocolColors::RGB color)
{
    const auto [r, g, b] = linear(color);
    return 0.2126 * r + 0.7152 * g + 0.0722 * b;
}

double power7(double v)
{
    return std::pow(v, 7);
}

/// The angle of a hue in [0, 2π); 0 for grey.
double hue(double a, double b)
{
    const double angle = a == 0 && b == 0 ? 0 : std::atan2(b, a);
    return angle < 0 ? angle + 2 * pi : angle;
}

double ciede2000(const Triple& one, const Triple& two)
{
    const double meanChroma = (std::hypot(one[1], one[2]) + std::hypot(two[1], two[2])) / 2;
    const double g = 0.5 * (1 - std::sqrt(power7(meanChroma) / (power7(meanChroma) + power7(25))));
    const double a1 = one[1] * (1 + g), a2 = two[1] * (1 + g);
    const double c1 = std::hypot(a1, one[2]), c2 = std::hypot(a2, two[2]);
    const double h1 = hue(a1, one[2]), h2 = hue(a2, two[2]);

    const bool grey = c1 * c2 == 0;
    double turn = h2 - h1;
    if (turn > pi)
        turn -= 2 * pi;
    if (turn < -pi)
        turn += 2 * pi;
    const double dL = two[0] - one[0], dC = c2 - c1, dH = grey ? 0 : 2 * std::sqrt(c1 * c2) * std::sin(turn / 2);

    const double meanL = (one[0] + two[0]) / 2, meanC = (c1 + c2) / 2;
    double meanH = h1 + h2;
    if (!grey)
        meanH = std::abs(h1 - h2) <= pi ? meanH / 2 : (meanH + (meanH < 2 * pi ? 2 * pi : -2 * pi)) / 2;
    const double t = 1 - 0.17 * std::cos(meanH - pi / 6) + 0.24 * std::cos(2 * meanH)
        + 0.32 * std::cos(3 * meanH + pi / 30) - 0.20 * std::cos(4 * meanH - 63 * pi / 180);
    const double bend = pi / 6 * std::exp(-std::pow((meanH * 180 / pi - 275) / 25, 2));
    const double rC = 2 * std::sqrt(power7(meanC) / (power7(meanC) + power7(25)));
    const double fromMiddle = (meanL - 50) * (meanL - 50);
    const double l = dL / (1 + 0.015 * fromMiddle / std::sqrt(20 + fromMiddle)), c = dC / (1 + 0.045 * meanC),
                 h = dH / (1 + 0.015 * meanC * t);
    return std::sqrt(l * l + c * c + h * h - std::sin(2 * bend) * rC * c * h);
}

} // namespace

double difference(ProtocolColors::RGB a, ProtocolColors::RGB b, Vision vision)
{
    return ciede2000(lab(a, vision), lab(b, vision));
}

double contrast(ProtocolColors::RGB a, ProtocolColors::RGB b)
{
    const auto [darker, lighter] = std::minmax({luminance(a), luminance(b)});
    return (lighter + 0.05) / (darker + 0.05);
}

} // namespace netrondo::test
