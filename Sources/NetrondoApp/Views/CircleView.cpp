#include "Views/CircleView.h"

#include "Base/Units.h"
#include "Circle/CircleLayout.h"
#include "Models/CaptureFindings.h"
#include "Models/Text.h"
#include "Tasks/Background.h"
#include "Views/CircleAccessible.h"
#include "Views/Picture.h"

#include <QAccessible>
#include <QGuiApplication>
#include <QHelpEvent>
#include <QImage>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QStyle>
#include <QToolTip>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

namespace netrondo {
namespace {

constexpr double mostZoom = 24;

QString hostText(const std::string& address, const std::optional<std::string>& name)
{
    return name ? QStringLiteral("%1 (%2)").arg(asQt(*name), asQt(address)) : asQt(address);
}

} // namespace

CircleView::CircleView(Selection& selection, QWidget* parent)
    : QWidget(parent)
    , selection_(selection)
    , wanted_(std::make_unique<PictureRequest>())
    , angles_(std::make_shared<const Places>())
{
    installCircleAccessibility();
    setObjectName(QStringLiteral("CircleView"));
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAccessibleName(tr("Hosts and conversations"));
    setAccessibleDescription(
        tr("Arrow keys left and right walk the hosts, up and down the conversations; Enter narrows "
           "the window to what is selected, Escape goes back."));
    connect(&selection_, &Selection::changed, this, [this] {
        light();
        tellSelection();
    });
}

CircleView::~CircleView() = default;

void CircleView::show(PictureRequest request)
{
    *wanted_ = std::move(request);
    refresh();
}

void CircleView::setEmptyText(const QString& text)
{
    emptyText_ = text;
    update();
}

void CircleView::forgetPlaces()
{
    moving_.stop();
    angles_ = std::make_shared<const Places>();
    hovered_ = {};
    zoom_ = 1;
    shift_ = {};
}

void CircleView::seat(const Places& angles)
{
    if (angles.empty())
        return;
    auto seated = std::make_shared<Places>(*angles_);
    for (const auto& [address, angle] : angles)
        (*seated)[address] = angle;
    angles_ = std::move(seated);
}

void CircleView::moveTo(Places angles)
{
    moving_.stop();
    const int duration = style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, this);
    if (duration <= 0) { // the desktop wants nothing to move
        seat(angles);
        refresh();
        return;
    }
    const auto from = angles_;
    moving_.disconnect(this);
    moving_.setStartValue(0.0);
    moving_.setEndValue(1.0);
    moving_.setDuration(600);
    moving_.setEasingCurve(QEasingCurve::InOutCubic);
    connect(&moving_, &QVariantAnimation::valueChanged, this,
            [this, from, to = std::move(angles)](const QVariant& value) {
                const double share = value.toDouble();
                auto onTheWay = to;
                for (auto& [address, angle] : onTheWay) {
                    const auto start = from->find(address);
                    if (start != from->end() && share < 1) // the shorter way round
                        angle = start->second + share * CircleLayout::normalizeAngle(angle - start->second);
                }
                seat(onTheWay);
                refresh();
            });
    moving_.start();
}

void CircleView::setMoment(std::optional<double> seconds)
{
    if (seconds == moment_)
        return;
    moment_ = seconds;
    light();
}

void CircleView::refresh()
{
    if (isDrawing_)
        isStale_ = true;
    else
        startDrawing();
}

void CircleView::startDrawing()
{
    if (width() <= 0 || height() <= 0)
        return;
    auto request = *wanted_;
    request.size = size();
    request.pixelRatio = devicePixelRatioF();
    request.zoom = zoom_;
    request.shift = shift_;
    request.angles = angles_;
    isDrawing_ = true;
    isStale_ = false;
    inBackground(
        this,
        [request = std::move(request)] { return std::shared_ptr<const Picture>(std::make_shared<Picture>(request)); },
        [this](const std::shared_ptr<const Picture>& picture) {
            isDrawing_ = false;
            picture_ = picture;
            // Who has found a place keeps it, unless other places have been wished for since.
            if (picture->isRing() && picture->request.angles == angles_)
                angles_ = picture->places;
            frame_ = {};
            light();
            if (isStale_)
                startDrawing();
            else
                emit pictureChanged();
        });
}

void CircleView::light()
{
    ++lightNumber_;
    if (!picture_)
        return update();
    const auto& picture = *picture_;
    std::vector<std::uint32_t> chords, nodes, named;
    const auto takeChord = [&](std::uint32_t i) {
        chords.push_back(i);
        nodes.push_back(picture.chords[i].from);
        nodes.push_back(picture.chords[i].to);
    };
    const auto take = [&](const Selected& what) {
        if (const auto chord = picture.findChord(what)) {
            takeChord(*chord);
            named.push_back(picture.chords[*chord].from);
            named.push_back(picture.chords[*chord].to);
        } else if (const auto node = picture.findNode(what)) {
            nodes.push_back(*node);
            named.push_back(*node);
            for (const auto i : picture.chordsOf[*node])
                takeChord(i);
        }
    };
    if (moment_)
        for (std::uint32_t i = 0; i < picture.chords.size(); ++i)
            if (picture.chords[i].first <= *moment_ && *moment_ <= picture.chords[i].last)
                takeChord(i);
    for (const auto& what : {selection_.selected(), hovered_})
        if (what)
            take(what);
    const auto once = [](std::vector<std::uint32_t>& numbers) {
        std::ranges::sort(numbers);
        numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    };
    once(chords);
    once(nodes);
    once(named);
    constexpr std::size_t fewChords = 1500; // as many are drawn while nobody notices
    if (chords.size() <= fewChords) {
        frame_ = moment_ || !nodes.empty() ? picture.lit(chords, nodes, named) : QImage();
        return update();
    }
    isLightStale_ = isLighting_;
    if (isLighting_)
        return;
    isLighting_ = true;
    const auto work = [picture = picture_, chords = std::move(chords), nodes = std::move(nodes),
                       named = std::move(named)] { return picture->lit(chords, nodes, named); };
    inBackground(this, work, [this, number = lightNumber_](const QImage& frame) {
        isLighting_ = false;
        if (number == lightNumber_)
            frame_ = frame;
        if (std::exchange(isLightStale_, false))
            light();
        update();
    });
}

void CircleView::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    const auto [r, g, b] = netrondo::palette(wanted_->style.theme).ground;
    const auto& image = frame_.isNull() && picture_ ? picture_->image : frame_;
    if (picture_ && !isDrawing_ && picture_->request.pixelRatio != devicePixelRatioF())
        refresh(); // the window moved to another screen
    const bool fits = picture_ && picture_->request.size == QSizeF(size()) && picture_->request.zoom == zoom_
        && picture_->request.shift == shift_;
    if (!fits)
        painter.fillRect(rect(), QColor(r, g, b));
    if (fits) {
        painter.drawImage(QPointF(), image);
    } else if (picture_) {
        // Until the new picture is there the old one stands in, moved and stretched.
        const double factor = zoom_ / picture_->request.zoom;
        const QPointF middle(width() / 2.0, height() / 2.0);
        const QPointF oldMiddle(picture_->request.size.width() / 2, picture_->request.size.height() / 2);
        painter.translate(middle + shift_);
        painter.scale(factor, factor);
        painter.drawImage(-oldMiddle - picture_->request.shift, image);
        painter.resetTransform();
    }
    const auto faintText = netrondo::palette(wanted_->style.theme).faintText;
    if (picture_ && picture_->nodes().empty() && !emptyText_.isEmpty()) {
        painter.setPen(QColor(faintText.r, faintText.g, faintText.b));
        painter.drawText(rect().adjusted(40, 40, -40, -40), Qt::AlignCenter | Qt::TextWordWrap, emptyText_);
    }
    if (hasFocus()) {
        painter.setPen(QPen(QWidget::palette().highlight().color(), 2));
        painter.setBrush(Qt::NoBrush);
        painter.drawRect(rect().adjusted(1, 1, -1, -1));
    }
}

void CircleView::resizeEvent(QResizeEvent*)
{
    refresh();
}

Selected CircleView::at(const QPointF& point) const
{
    if (!picture_)
        return {};
    if (auto what = picture_->badgeAt(point))
        return what;
    if (const auto node = picture_->nodeAt(point))
        return picture_->whatOf(picture_->nodes()[*node]);
    if (const auto chord = picture_->chordAt(point, hovered_ ? hovered_ : selection_.selected()))
        return picture_->chords[*chord].what;
    return {};
}

void CircleView::hover(const Selected& what)
{
    if (what == hovered_)
        return;
    hovered_ = what;
    setCursor(what ? Qt::PointingHandCursor : Qt::ArrowCursor);
    if (!what)
        QToolTip::hideText();
    light();
    emit hoveredChanged();
}

void CircleView::mouseMoveEvent(QMouseEvent* event)
{
    if (pressed_) {
        const auto moved = event->position() - *pressed_;
        constexpr double tremble = 4;
        if (!isPanning_ && std::hypot(moved.x(), moved.y()) > tremble) {
            isPanning_ = true;
            setCursor(Qt::ClosedHandCursor);
        }
        if (isPanning_) {
            shift_ = shiftWhenPressed_ + moved;
            refresh();
            update();
            return;
        }
    }
    hover(at(event->position()));
}

void CircleView::mousePressEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton)
        return;
    pressed_ = event->position();
    shiftWhenPressed_ = shift_;
    isPanning_ = false;
}

void CircleView::mouseReleaseEvent(QMouseEvent* event)
{
    if (event->button() != Qt::LeftButton || !pressed_)
        return;
    pressed_.reset();
    if (!std::exchange(isPanning_, false)) {
        if (const auto badge = picture_ ? picture_->badgeAt(event->position()) : Selected()) {
            selection_.select(badge);
            emit findingsWanted(badge);
        } else {
            click(at(event->position()));
        }
    }
    setCursor(hovered_ ? Qt::PointingHandCursor : Qt::ArrowCursor);
}

void CircleView::click(const Selected& what)
{
    if (what && what == selection_.selected())
        selection_.focus(what);
    else
        selection_.select(what);
}

void CircleView::leaveEvent(QEvent*)
{
    hover({});
}

void CircleView::zoomBy(double factor, const QPointF& around)
{
    const double zoom = std::clamp(zoom_ * factor, 1.0, mostZoom);
    if (zoom == zoom_)
        return;
    // The point under the pointer stays under it.
    const QPointF middle(width() / 2.0, height() / 2.0);
    const auto fromMiddle = around - middle - shift_;
    shift_ = zoom == 1 ? QPointF() : around - middle - fromMiddle * (zoom / zoom_);
    zoom_ = zoom;
    refresh();
    update();
}

void CircleView::resetZoom()
{
    zoom_ = 1;
    shift_ = {};
    refresh();
    update();
}

void CircleView::wheelEvent(QWheelEvent* event)
{
    zoomBy(std::pow(1.0015, event->angleDelta().y()), event->position());
    event->accept();
}

void CircleView::walkHosts(int step)
{
    if (!picture_ || picture_->nodes().empty())
        return;
    const auto order = picture_->walk();
    const auto count = static_cast<std::ptrdiff_t>(order.size());
    const auto current = picture_->findNode(selection_.selected());
    std::ptrdiff_t at = step > 0 ? 0 : count - 1;
    if (current)
        at = (std::ranges::find(order, *current) - order.begin() + step + count) % count;
    selection_.select(picture_->whatOf(picture_->nodes()[order[static_cast<std::size_t>(at)]]));
}

void CircleView::walkChords(int step)
{
    if (!picture_ || picture_->chords.empty())
        return;
    // Of the host that is focused or was selected, the heaviest first; of all hosts otherwise.
    const auto& selected = selection_.selected();
    static const Selected none;
    const Selected* host =
        selected.kind == Selected::Kind::host || selected.kind == Selected::Kind::service ? &selected : &none;
    std::vector<std::uint32_t> order;
    if (const auto node = picture_->findNode(*host)) {
        order = picture_->chordsOf[*node];
    } else {
        order.resize(picture_->chords.size());
        for (std::uint32_t i = 0; i < order.size(); ++i)
            order[i] = i;
    }
    std::ranges::stable_sort(order, std::greater{}, [&](std::uint32_t i) { return picture_->chords[i].volume; });
    if (order.empty())
        return;
    const auto count = static_cast<std::ptrdiff_t>(order.size());
    const auto current = picture_->findChord(selected);
    std::ptrdiff_t at = step > 0 ? 0 : count - 1;
    if (current)
        at = (std::ranges::find(order, *current) - order.begin() + step + count) % count;
    selection_.select(picture_->chords[order[static_cast<std::size_t>(at)]].what);
}

void CircleView::keyPressEvent(QKeyEvent* event)
{
    const QPointF middle(width() / 2.0, height() / 2.0);
    switch (event->key()) {
    case Qt::Key_Right: return walkHosts(1);
    case Qt::Key_Left: return walkHosts(-1);
    case Qt::Key_Down:
    case Qt::Key_F8: return walkChords(1);
    case Qt::Key_Up:
    case Qt::Key_F7: return walkChords(-1);
    case Qt::Key_Return:
    case Qt::Key_Enter:
        if (selection_.selected())
            selection_.focus(selection_.selected());
        return;
    case Qt::Key_Escape:
        if (!selection_.leave())
            event->ignore();
        return;
    case Qt::Key_Plus: return zoomBy(1.25, middle);
    case Qt::Key_Minus: return zoomBy(0.8, middle);
    case Qt::Key_0: return resetZoom();
    case Qt::Key_Menu:
        if (const auto node = picture_ ? picture_->findNode(selection_.selected()) : std::nullopt)
            emit menuWanted(selection_.selected(),
                            mapToGlobal(picture_->positionOf(picture_->nodes()[*node]).toPoint()));
        else if (selection_.selected())
            emit menuWanted(selection_.selected(), mapToGlobal(middle.toPoint()));
        return;
    default: QWidget::keyPressEvent(event);
    }
}

void CircleView::contextMenuEvent(QContextMenuEvent* event)
{
    if (event->reason() != QContextMenuEvent::Mouse)
        return;
    const auto what = at(event->pos());
    if (what)
        selection_.select(what);
    emit menuWanted(what, event->globalPos());
}

bool CircleView::event(QEvent* event)
{
    if (event->type() == QEvent::ToolTip) {
        const auto* const help = static_cast<QHelpEvent*>(event);
        const auto what = at(help->pos());
        if (what)
            QToolTip::showText(help->globalPos(), describe(what), this);
        else
            QToolTip::hideText();
        return true;
    }
    return QWidget::event(event);
}

QString CircleView::nameOf(const Selected& what) const
{
    if (what.kind == Selected::Kind::service)
        return asQt(what.a);
    if (picture_) {
        if (const auto chord = picture_->findChord(what)) {
            const auto& nodes = picture_->nodes();
            return tr("%1 to %2")
                .arg(asQt(nodes[picture_->chords[*chord].from].displayLabel),
                     asQt(nodes[picture_->chords[*chord].to].displayLabel));
        }
        if (const auto node = picture_->findNode(what))
            return asQt(picture_->nodes()[*node].displayLabel);
    }
    return what.kind == Selected::Kind::conversation ? tr("%1 to %2").arg(asQt(what.a), asQt(what.b)) : asQt(what.a);
}

QString CircleView::describe(const Selected& what) const
{
    if (!picture_)
        return {};
    auto text = describeTraffic(what);
    if (const auto& findings = picture_->request.findings)
        for (const auto& line : findings->linesAbout(what))
            text += QLatin1Char('\n') + line;
    return text;
}

QString CircleView::describeTraffic(const Selected& what) const
{
    const auto volumeText = [&](std::uint64_t volume) {
        return picture_->request.useBytes ? asQt(units::bytes(volume))
                                          : asQt(units::counted(volume, "packet", "packets"));
    };
    if (const auto chord = picture_->findChord(what)) {
        const auto& shown = picture_->chords[*chord];
        if (shown.pairs.empty())
            return QStringLiteral("%1\n%2").arg(nameOf(what), volumeText(shown.volume));
        const auto& first = *shown.pairs.front();
        QStringList lines{QStringLiteral("%1 ↔ %2").arg(hostText(first.srcAddr, first.resolvedSrc),
                                                        hostText(first.dstAddr, first.resolvedDst))};
        lines << asQt(first.topProtocol);
        for (const auto* pair : shown.pairs)
            lines << tr("%1 → %2: %3, %4")
                         .arg(asQt(pair->displaySrc(picture_->request.showHostNames, 24)),
                              asQt(pair->displayDst(picture_->request.showHostNames, 24)),
                              asQt(units::bytes(pair->byteCount)),
                              asQt(units::counted(pair->packetCount, "packet", "packets")));
        if (first.tcpQuality && first.tcpQuality->score())
            lines << tr("TCP %1 %2")
                         .arg(asQt(displayName(first.tcpQuality->grade(picture_->request.style.thresholds))))
                         .arg(*first.tcpQuality->score());
        return lines.join(QLatin1Char('\n'));
    }
    if (const auto node = picture_->findNode(what)) {
        std::uint64_t volume = 0;
        for (const auto i : picture_->chordsOf[*node])
            for (const auto* pair : picture_->chords[i].pairs)
                volume += pair->volume(picture_->request.useBytes);
        if (!picture_->isRing())
            for (const auto i : picture_->chordsOf[*node])
                volume += picture_->chords[i].volume;
        const auto& shown = picture_->nodes()[*node];
        const auto label = asQt(shown.displayLabel);
        const auto address = shown.role == CircleNode::Role::service ? label : asQt(shown.address);
        return QStringLiteral("%1\n%2, %3")
            .arg(label == address ? label : QStringLiteral("%1 (%2)").arg(label, address),
                 asQt(units::counted(picture_->chordsOf[*node].size(), picture_->isRing() ? "conversation" : "link",
                                     picture_->isRing() ? "conversations" : "links")),
                 volumeText(volume));
    }
    return nameOf(what);
}

void CircleView::tellSelection()
{
#if QT_CONFIG(accessibility)
    if (!QAccessible::isActive())
        return;
    // The reader follows the keyboard into the picture.
    const auto* const all = QAccessible::queryAccessibleInterface(this);
    auto* const part = all ? all->focusChild() : nullptr;
    if (!part)
        return;
    QAccessibleEvent event(part, QAccessible::Focus);
    QAccessible::updateAccessibility(&event);
#endif
}

} // namespace netrondo
