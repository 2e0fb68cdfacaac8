#include "Views/TimelineView.h"

#include "Base/Units.h"
#include "Models/Text.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace netrondo {
namespace {

constexpr double margin = 10;
constexpr double gripWidth = 6;

/// The step between marks of a scale that is `span` seconds long and has room for `most` of them.
double niceStep(double span, double most)
{
    const double least = span / std::max(most, 1.0);
    if (least > 30)
        for (const double step : {60.0, 120.0, 300.0, 600.0, 1800.0, 3600.0, 7200.0, 21600.0, 43200.0, 86400.0})
            if (step >= least)
                return step;
    const double power = std::pow(10, std::floor(std::log10(least)));
    for (const double factor : {1.0, 2.0, 5.0, 10.0})
        if (factor * power >= least)
            return factor * power;
    return least;
}

/// "1:05", "2.5 s", "350 ms": short enough for a scale.
QString mark(double seconds)
{
    if (seconds >= 86400)
        return QStringLiteral("%1 d %2 h")
            .arg(std::floor(seconds / 86400))
            .arg(std::floor(std::fmod(seconds, 86400) / 3600));
    if (seconds >= 3600)
        return QStringLiteral("%1:%2 h")
            .arg(std::floor(seconds / 3600))
            .arg(static_cast<int>(std::fmod(seconds, 3600) / 60), 2, 10, QLatin1Char('0'));
    if (seconds >= 60)
        return QStringLiteral("%1:%2 min")
            .arg(std::floor(seconds / 60))
            .arg(static_cast<int>(std::fmod(seconds, 60)), 2, 10, QLatin1Char('0'));
    if (seconds >= 1 || seconds == 0)
        return QStringLiteral("%1 s").arg(seconds, 0, 'g', 3);
    if (seconds >= 1e-3)
        return QStringLiteral("%1 ms").arg(seconds * 1e3, 0, 'g', 3);
    return QStringLiteral("%1 µs").arg(seconds * 1e6, 0, 'g', 3);
}

} // namespace

TimelineView::TimelineView(QWidget* parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("TimelineView"));
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    setAccessibleName(tr("Volume over time"));
    setToolTip(tr("Drag over a span of time to see it alone; drag its edges or use the arrow keys to change it, Escape "
                  "to see everything again"));
    describe();
}

void TimelineView::setVolume(const VolumeOverTime& volume, const std::optional<VolumeOverTime>& chosen)
{
    volume_ = volume;
    chosen_ = chosen;
    update();
    describe();
}

void TimelineView::setUseBytes(bool useBytes)
{
    useBytes_ = useBytes;
    update();
}

void TimelineView::setBrushable(bool isBrushable)
{
    isBrushable_ = isBrushable;
    if (!isBrushable)
        setSpan(std::nullopt);
}

void TimelineView::setSpan(std::optional<Span> span)
{
    span_ = span;
    update();
    describe();
}

void TimelineView::describe()
{
    const double start = volume_.first();
    setAccessibleDescription(
        span_ ? tr("From %1 to %2. Arrow keys move the span, with Shift its end; Escape takes it away.")
                    .arg(asQt(units::timeSpan(span_->first - start)), asQt(units::timeSpan(span_->second - start)))
              : tr("The whole capture, %1. Arrow keys narrow it to a span.")
                    .arg(asQt(units::timeSpan(volume_.last() - start))));
}

QRectF TimelineView::chart() const
{
    const double scale = fontMetrics().height() + 4;
    return QRectF(rect()).adjusted(margin, 6, -margin, -scale);
}

double TimelineView::xOf(double seconds) const
{
    const auto area = chart();
    if (!hasTime())
        return area.center().x();
    return area.left() + (seconds - volume_.first()) / (volume_.last() - volume_.first()) * area.width();
}

double TimelineView::secondsAt(double x) const
{
    const auto area = chart();
    const double share = std::clamp((x - area.left()) / area.width(), 0.0, 1.0);
    return volume_.first() + share * (volume_.last() - volume_.first());
}

void TimelineView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const auto area = chart();
    auto faint = palette().color(QPalette::WindowText);
    faint.setAlphaF(0.65F);
    painter.fillRect(rect(), palette().color(QPalette::Base));
    if (!hasTime()) {
        painter.setPen(faint);
        painter.drawText(rect(), Qt::AlignCenter,
                         volume_.empty() ? tr("No frames, no times")
                                         : tr("All frames carry the same time: there is no span to choose"));
        return;
    }

    const auto& drawn = chosen_ ? *chosen_ : volume_;
    // A column for every two points; the square root keeps quiet times visible beside bursts.
    const int columns = std::max(1, static_cast<int>(area.width() / 2));
    std::vector<double> heights(static_cast<std::size_t>(columns));
    const double step = (volume_.last() - volume_.first()) / columns;
    double most = 0;
    for (int i = 0; i < columns; ++i) {
        const double from = volume_.first() + i * step;
        const auto bin = drawn.between(from, from + step);
        auto& height = heights[static_cast<std::size_t>(i)];
        height = std::sqrt(static_cast<double>(useBytes_ ? bin.bytes : bin.packets));
        most = std::max(most, height);
    }
    QPainterPath hills;
    hills.moveTo(area.bottomLeft());
    for (int i = 0; i < columns; ++i) {
        const double share = most > 0 ? heights[static_cast<std::size_t>(i)] / most : 0;
        const double y = area.bottom() - share * area.height();
        hills.lineTo(area.left() + i * area.width() / columns, y);
        hills.lineTo(area.left() + (i + 1) * area.width() / columns, y);
    }
    hills.lineTo(area.bottomRight());
    const auto accent = palette().color(QPalette::Highlight);
    auto resting = accent;
    resting.setAlphaF(span_ ? 0.30F : 0.75F);
    painter.fillPath(hills, resting);
    if (span_) {
        const QRectF brushed(QPointF(xOf(span_->first), 2),
                             QPointF(std::max(xOf(span_->second), xOf(span_->first) + 1), area.bottom()));
        auto wash = accent;
        wash.setAlphaF(0.14F);
        painter.fillRect(brushed, wash);
        painter.save();
        painter.setClipRect(brushed);
        painter.fillPath(hills, accent);
        painter.restore();
        painter.setPen(QPen(palette().color(QPalette::WindowText), 1.5));
        painter.drawLine(brushed.topLeft(), brushed.bottomLeft());
        painter.drawLine(brushed.topRight(), brushed.bottomRight());
    }

    painter.setPen(faint);
    const double total = volume_.last() - volume_.first();
    const double marks = niceStep(total, area.width() / 90);
    for (double t = 0; t <= total * 1.0001; t += marks) {
        const double x = xOf(volume_.first() + t);
        painter.drawLine(QPointF(x, area.bottom()), QPointF(x, area.bottom() + 3));
        const auto text = mark(t);
        const double width = fontMetrics().horizontalAdvance(text);
        const double left = std::clamp(x - width / 2, 2.0, this->width() - width - 2);
        painter.drawText(QPointF(left, height() - fontMetrics().descent() - 1), text);
    }
    if (moment_) {
        painter.setPen(QPen(palette().color(QPalette::WindowText), 2));
        painter.drawLine(QPointF(xOf(*moment_), 0), QPointF(xOf(*moment_), area.bottom()));
    }
    if (hasFocus()) {
        painter.setPen(QPen(accent, 2));
        painter.drawRect(rect().adjusted(1, 1, -1, -1));
    }
}

TimelineView::Grip TimelineView::gripAt(double x) const
{
    if (!span_)
        return Grip::fresh;
    const double from = xOf(span_->first), to = xOf(span_->second);
    if (std::abs(x - to) <= gripWidth)
        return Grip::to;
    if (std::abs(x - from) <= gripWidth)
        return Grip::from;
    return x > from && x < to ? Grip::both : Grip::fresh;
}

void TimelineView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !hasTime() || !isBrushable_)
        return;
    spanBefore_ = span_;
    pressedAt_ = secondsAt(event->position().x());
    grip_ = gripAt(event->position().x());
    if (grip_ == Grip::fresh)
        span_ = Span(pressedAt_, pressedAt_); // a click beside the brush takes it away
}

void TimelineView::mouseMoveEvent(QMouseEvent* event)
{
    const double x = event->position().x();
    if (grip_ == Grip::none) {
        const auto would = isBrushable_ && hasTime() ? gripAt(x) : Grip::none;
        setCursor(would == Grip::from || would == Grip::to ? Qt::SizeHorCursor
                      : would == Grip::both                ? Qt::OpenHandCursor
                                                           : Qt::ArrowCursor);
        return;
    }
    const double now = secondsAt(x);
    if (grip_ == Grip::fresh) {
        span_ = std::minmax(pressedAt_, now);
    } else if (grip_ == Grip::both) {
        const double length = spanBefore_->second - spanBefore_->first;
        const double from = std::clamp(spanBefore_->first + now - pressedAt_, volume_.first(), volume_.last() - length);
        span_ = Span(from, from + length);
    } else {
        span_ = grip_ == Grip::from ? std::minmax(now, spanBefore_->second) : std::minmax(spanBefore_->first, now);
    }
    update();
}

void TimelineView::mouseReleaseEvent(QMouseEvent*)
{
    if (grip_ == Grip::none)
        return;
    constexpr double leastPoints = 3;
    if (grip_ == Grip::fresh && span_ && xOf(span_->second) - xOf(span_->first) < leastPoints)
        span_.reset();
    grip_ = Grip::none;
    update();
    describe();
    if (span_ != spanBefore_)
        emit spanChanged();
}

void TimelineView::mouseDoubleClickEvent(QMouseEvent*)
{
    if (!span_)
        return;
    setSpan(std::nullopt);
    emit spanChanged();
}

void TimelineView::moveBrush(double by, bool isResize)
{
    const double step = (volume_.last() - volume_.first()) / 50 * by;
    auto span = span_.value_or(Span(volume_.first(), volume_.first() + (volume_.last() - volume_.first()) / 10));
    if (span_ && isResize)
        span.second = std::clamp(span.second + step, span.first + std::abs(step) / 2, volume_.last());
    else if (span_) {
        const double length = span.second - span.first;
        span.first = std::clamp(span.first + step, volume_.first(), volume_.last() - length);
        span.second = span.first + length;
    }
    if (span == span_)
        return;
    setSpan(span);
    emit spanChanged();
}

void TimelineView::keyPressEvent(QKeyEvent* event)
{
    const bool isShifted = event->modifiers() & Qt::ShiftModifier;
    switch (event->key()) {
    case Qt::Key_Left:
    case Qt::Key_Right:
        if (hasTime() && isBrushable_)
            moveBrush(event->key() == Qt::Key_Right ? 1 : -1, isShifted);
        return;
    case Qt::Key_Space:
        if (isPlaying())
            pause();
        else
            play();
        return;
    case Qt::Key_Escape:
        if (moment_) {
            pause();
            setMoment(std::nullopt);
        } else if (span_) {
            setSpan(std::nullopt);
            emit spanChanged();
        } else {
            event->ignore();
        }
        return;
    default: QWidget::keyPressEvent(event);
    }
}

void TimelineView::play()
{
    if (!hasTime() || isPlaying())
        return;
    const auto [from, to] = span_.value_or(Span(volume_.first(), volume_.last()));
    if (!moment_ || *moment_ >= to || *moment_ < from)
        setMoment(from);
    sinceTick_.start();
    timer_.start(33, this);
    emit playingChanged();
}

void TimelineView::pause()
{
    if (!isPlaying())
        return;
    timer_.stop();
    emit playingChanged();
}

void TimelineView::setMoment(std::optional<double> seconds)
{
    if (seconds == moment_)
        return;
    moment_ = seconds;
    update();
    emit momentChanged();
}

void TimelineView::timerEvent(QTimerEvent* event)
{
    if (event->timerId() != timer_.timerId())
        return QWidget::timerEvent(event);
    const auto [from, to] = span_.value_or(Span(volume_.first(), volume_.last()));
    const double passed = static_cast<double>(sinceTick_.restart()) / 1000;
    const double next = moment_.value_or(from) + passed * (to - from) / playSeconds;
    if (next < to)
        return setMoment(next);
    pause();
    setMoment(std::nullopt); // everything is lit again at the end
}

} // namespace netrondo
