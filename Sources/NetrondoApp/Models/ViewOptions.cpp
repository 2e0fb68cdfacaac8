#include "Models/ViewOptions.h"

#include "Models/Text.h"

#include <QSettings>

namespace netrondo {
namespace {

template <typename T> struct Word {
    T value;
    const char* text;
};
constexpr Word<AnalysisMode> modes[] = {{AnalysisMode::l3IP, "l3IP"}, {AnalysisMode::l2MAC, "l2MAC"}};
constexpr Word<EdgeColorMode> colorModes[] = {{EdgeColorMode::protocol, "protocol"},
                                              {EdgeColorMode::quality, "quality"}};
constexpr Word<ThemeChoice> themes[] = {
    {ThemeChoice::desktop, "desktop"}, {ThemeChoice::light, "light"}, {ThemeChoice::dark, "dark"}};

template <typename T, std::size_t n> QString wordOf(const Word<T> (&words)[n], T value)
{
    for (const auto& word : words)
        if (word.value == value)
            return QLatin1String(word.text);
    return {};
}

template <typename T, std::size_t n> void read(const Word<T> (&words)[n], const QVariant& stored, T& into)
{
    for (const auto& word : words)
        if (stored.toString() == QLatin1String(word.text))
            into = word.value;
}

} // namespace

void ViewOptions::save(QSettings& settings) const
{
    settings.beginGroup(QStringLiteral("view"));
    settings.setValue(QStringLiteral("mode"), wordOf(modes, mode));
    settings.setValue(QStringLiteral("layout"), asQt(rawValue(layout)));
    settings.setValue(QStringLiteral("bytes"), useBytes);
    settings.setValue(QStringLiteral("thickness"), showLineThickness);
    settings.setValue(QStringLiteral("names"), showHostNames);
    settings.setValue(QStringLiteral("limit"), limit);
    settings.setValue(QStringLiteral("color"), wordOf(colorModes, colorMode));
    settings.setValue(QStringLiteral("strictness"), asQt(id(strictness)));
    settings.setValue(QStringLiteral("theme"), wordOf(themes, theme));
    settings.endGroup();
}

void ViewOptions::load(const QSettings& settings)
{
    const auto stored = [&](const char* key) { return settings.value(QStringLiteral("view/") + QLatin1String(key)); };
    const auto flag = [&](const char* key, bool& into) {
        if (const auto value = stored(key); value.isValid())
            into = value.toBool();
    };
    read(modes, stored("mode"), mode);
    if (const auto known = circleHostLayoutMode(stored("layout").toString().toStdString());
        known && *known != CircleHostLayoutMode::map)
        layout = *known;
    flag("bytes", useBytes);
    flag("thickness", showLineThickness);
    flag("names", showHostNames);
    bool isNumber = false;
    if (const int number = stored("limit").toInt(&isNumber); isNumber && number >= 0)
        limit = number;
    read(colorModes, stored("color"), colorMode);
    strictness = strictnessById(stored("strictness").toString().toStdString()).value_or(strictness);
    read(themes, stored("theme"), theme);
}

} // namespace netrondo
