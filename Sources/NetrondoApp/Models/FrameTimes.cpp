// Whole seconds are Qt's affair; the decimals are counted here, for Qt knows no nanoseconds.
#include "Models/FrameTimes.h"

#include <QDateTime>
#include <QRegularExpression>

namespace netrondo::FrameTimes {
namespace {
constexpr std::int64_t second = 1'000'000'000;

/// "25" stands for a quarter of a second.
std::int64_t decimals(const QString& digits)
{
    return digits.leftJustified(9, QLatin1Char('0')).toLongLong();
}
} // namespace

QString clock(std::int64_t nanoseconds, const QString& format)
{
    const auto fraction = (nanoseconds % second + second) % second;
    const auto moment = QDateTime::fromSecsSinceEpoch((nanoseconds - fraction) / second);
    const auto digits = QString::number(fraction).rightJustified(9, QLatin1Char('0'));
    return moment.toString(format) + QLatin1Char('.') + (fraction % 1000 == 0 ? digits.left(6) : digits);
}

std::int64_t shifted(std::int64_t nanoseconds, std::int64_t shift)
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(nanoseconds) + static_cast<std::uint64_t>(shift));
}

std::optional<std::int64_t> parseSpan(QString text)
{
    static const QRegularExpression form(
        QStringLiteral(R"(^([+-]?)(?:(?:(\d{1,6}):)?(\d{1,6}):)?(\d{1,9})(?:\.(\d{1,9}))?$)"));
    text.replace(QChar(0x2212), QLatin1Char('-')); // as it is typeset
    const auto parts = form.match(text.trimmed());
    if (!parts.hasMatch())
        return {};
    const auto number = [&](int part) { return parts.captured(part).toLongLong(); };
    const auto span = ((number(2) * 60 + number(3)) * 60 + number(4)) * second + decimals(parts.captured(5));
    return parts.captured(1) == QLatin1String("-") ? -span : span;
}

QString spanText(std::int64_t nanoseconds)
{
    const auto size =
        nanoseconds < 0 ? ~static_cast<std::uint64_t>(nanoseconds) + 1 : static_cast<std::uint64_t>(nanoseconds);
    auto text = QString::number(size / second);
    if (size % second != 0) {
        text += QLatin1Char('.') + QString::number(size % second).rightJustified(9, QLatin1Char('0'));
        while (text.endsWith(QLatin1Char('0')))
            text.chop(1);
    }
    return nanoseconds < 0 ? QLatin1Char('-') + text : text;
}

std::optional<std::int64_t> parseMoment(const QString& text)
{
    static const QRegularExpression form(QStringLiteral(R"(^(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)(?:\.(\d{1,9}))?$)"));
    const auto parts = form.match(text.trimmed());
    const auto moment = QDateTime::fromString(parts.captured(1), QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    std::int64_t nanoseconds = 0;
    if (!moment.isValid() || __builtin_mul_overflow(moment.toSecsSinceEpoch(), second, &nanoseconds)
        || __builtin_add_overflow(nanoseconds, decimals(parts.captured(2)), &nanoseconds))
        return {};
    return nanoseconds;
}

} // namespace netrondo::FrameTimes
