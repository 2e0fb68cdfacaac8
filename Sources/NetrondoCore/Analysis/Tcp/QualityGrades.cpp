// The grades of TCP quality and the presets that move their bands: one table each.
#include "Analysis/Tcp/TCPSessionQuality.h"

#include <algorithm>
#include <iterator>

namespace netrondo {
namespace {

struct GradeRow {
    std::string_view rawValue, displayName;
    GradeColor color;
};

constexpr GradeRow grades[] = {
    {"excellent", "Excellent", {0, 200, 80}}, {"good", "Good", {160, 220, 0}},     {"fair", "Fair", {255, 165, 0}},
    {"poor", "Poor", {220, 40, 40}},          {"unknown", "n/a", {128, 128, 128}},
};

struct StrictnessRow {
    QualityGradeThresholds thresholds;
    std::string_view id, displayName, subtitle, explanation;
};

constexpr StrictnessRow presets[] = {
    {{70, 50, 25},
     "lenient",
     "Lenient",
     "More sessions look healthy",
     "More sessions look healthy (Excellent ≥ 70 · Good ≥ 50 · Fair ≥ 25). "
     "Use when you only want the worst outliers."},
    {{80, 60, 40},
     "balanced",
     "Balanced",
     "Default Netrondo bands",
     "Default Netrondo bands (Excellent ≥ 80 · Good ≥ 60 · Fair ≥ 40)."},
    {{90, 75, 55},
     "strict",
     "Strict",
     "Only clean sessions look Excellent",
     "Only clean sessions look Excellent (Excellent ≥ 90 · Good ≥ 75 · Fair ≥ 55). "
     "Use when you want Fair/Poor to light up sooner."},
};

const GradeRow& row(SessionQualityGrade grade)
{
    return grades[static_cast<int>(grade)];
}

const StrictnessRow& row(QualityStrictness strictness)
{
    return presets[static_cast<int>(strictness)];
}

} // namespace

// Tested from the top, so that bands out of order give the highest grade whose minimum is met.
SessionQualityGrade gradeOf(std::optional<int> score, const QualityGradeThresholds& bands)
{
    if (!score)
        return SessionQualityGrade::unknown;
    if (*score >= bands.excellentMin)
        return SessionQualityGrade::excellent;
    if (*score >= bands.goodMin)
        return SessionQualityGrade::good;
    return *score >= bands.fairMin ? SessionQualityGrade::fair : SessionQualityGrade::poor;
}

std::string_view rawValue(SessionQualityGrade grade)
{
    return row(grade).rawValue;
}

std::string_view displayName(SessionQualityGrade grade)
{
    return row(grade).displayName;
}

GradeColor color(SessionQualityGrade grade)
{
    return row(grade).color;
}

QualityGradeThresholds thresholds(QualityStrictness strictness)
{
    return row(strictness).thresholds;
}

std::string_view id(QualityStrictness strictness)
{
    return row(strictness).id;
}

std::string_view displayName(QualityStrictness strictness)
{
    return row(strictness).displayName;
}

std::string_view subtitle(QualityStrictness strictness)
{
    return row(strictness).subtitle;
}

std::string_view explanation(QualityStrictness strictness)
{
    return row(strictness).explanation;
}

std::string_view strictnessExplanation()
{
    return "Changes Excellent / Good / Fair / Poor color bands only — not the underlying 0–100 score.";
}

std::optional<QualityStrictness> strictnessById(std::string_view id)
{
    const auto found =
        std::find_if(std::begin(presets), std::end(presets), [&](const auto& row) { return row.id == id; });
    if (found == std::end(presets))
        return {};
    return static_cast<QualityStrictness>(found - std::begin(presets));
}

} // namespace netrondo
