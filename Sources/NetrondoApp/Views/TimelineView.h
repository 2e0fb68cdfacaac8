// How much was sent when, and a brush that narrows the window to a span of the capture's time.
#pragma once

#include "Analysis/Model/VolumeOverTime.h"

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QWidget>
#include <optional>
#include <utility>

namespace netrondo {

class TimelineView : public QWidget {
    Q_OBJECT
public:
    explicit TimelineView(QWidget* parent = nullptr);

    /// With `chosen` only what a filter selects is drawn, on the time scale of the whole.
    void setVolume(const VolumeOverTime& volume, const std::optional<VolumeOverTime>& chosen = {});
    void setUseBytes(bool useBytes);
    /// While a file is followed there is nothing to brush: the next moment would not be in the span.
    void setBrushable(bool isBrushable);

    using Span = std::pair<double, double>; ///< seconds, from and to
    const std::optional<Span>& span() const { return span_; }
    void setSpan(std::optional<Span> span);

    bool isPlaying() const { return timer_.isActive(); }
    /// Runs through the capture, or the span, in `playSeconds`.
    void play();
    void pause();
    /// The moment that is played or paused at; none when nothing is.
    std::optional<double> moment() const { return moment_; }
    void setMoment(std::optional<double> seconds);
    /// What the whole run takes.
    static constexpr double playSeconds = 20;

    QSize sizeHint() const override { return {600, 84}; }
    QSize minimumSizeHint() const override { return {120, 60}; }

signals:
    /// The brush was moved and let go; none when it was taken away.
    void spanChanged();
    void momentChanged();
    void playingChanged();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    enum class Grip { none, fresh, from, to, both };

    QRectF chart() const;
    double xOf(double seconds) const;
    double secondsAt(double x) const;
    Grip gripAt(double x) const;
    bool hasTime() const { return !volume_.empty() && volume_.last() > volume_.first(); }
    void moveBrush(double by, bool isResize);
    void describe();

    VolumeOverTime volume_;
    std::optional<VolumeOverTime> chosen_;
    bool useBytes_ = true;
    bool isBrushable_ = true;
    std::optional<Span> span_;
    std::optional<Span> spanBefore_; ///< when the mouse went down
    Grip grip_ = Grip::none;
    double pressedAt_ = 0; ///< seconds
    std::optional<double> moment_;
    QBasicTimer timer_;
    QElapsedTimer sinceTick_;
};

} // namespace netrondo
