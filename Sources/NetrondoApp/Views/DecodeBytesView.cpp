// Lines of eight or sixteen bytes, as the width allows, in a font of one width.
#include "Views/DecodeBytesView.h"

#include "Dissection/Decode/FrameText.h"

#include <QFontDatabase>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <algorithm>
#include <fmt/format.h>

namespace netrondo {
namespace {
constexpr int offsetDigits = 4; ///< at least
constexpr double margin = 6;

/// Columns of characters, from the left: offset, gap, digits in groups of eight, gap, characters.
constexpr std::uint32_t firstDigits = offsetDigits + 2;
constexpr std::uint32_t columnOf(std::uint32_t place)
{
    return firstDigits + place * 3 + place / 8;
}
constexpr std::uint32_t characterColumn(std::uint32_t bytesPerLine)
{
    return columnOf(bytesPerLine) + 1;
}
} // namespace

DecodeBytesView::DecodeBytesView(QWidget* parent) : QAbstractScrollArea(parent)
{
    setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    viewport()->setBackgroundRole(QPalette::Base);
    viewport()->setCursor(Qt::IBeamCursor);
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleName(tr("Bytes of the frame"));
    measure();
}

void DecodeBytesView::setBytes(Bytes bytes, std::shared_ptr<const void> owner)
{
    bytes_ = bytes;
    owner_ = std::move(owner);
    node_ = layer_ = {};
    current_ = 0;
    measure();
    verticalScrollBar()->setValue(0);
    viewport()->update();
}

void DecodeBytesView::light(Range node, Range layer)
{
    node_ = node;
    layer_ = layer;
    if (node.length > 0) {
        current_ = node.offset;
        show(node.offset + node.length - 1);
        show(node.offset);
    }
    viewport()->update();
}

void DecodeBytesView::setCurrentByte(std::uint32_t offset)
{
    if (bytes_.empty())
        return;
    current_ = std::min(offset, static_cast<std::uint32_t>(bytes_.size() - 1));
    show(current_);
    const auto byte = bytes_[current_];
    setAccessibleDescription(QString::fromStdString(
        fmt::format("Byte {} of {}: {:02x}, character {}", current_, bytes_.size(), byte, FrameText::character(byte))));
    viewport()->update();
}

void DecodeBytesView::choose(std::uint32_t offset)
{
    setCurrentByte(offset);
    if (!bytes_.empty())
        emit byteChosen(current_);
}

void DecodeBytesView::measure()
{
    const QFontMetricsF metrics(font());
    cell_ = metrics.horizontalAdvance(QLatin1Char('0'));
    lineHeight_ = std::ceil(metrics.height()) + 2;
    const auto width = viewport()->width() - 2 * margin;
    bytesPerLine_ = width >= (characterColumn(16) + 16) * cell_ ? 16 : 8;
    const auto lines = (bytes_.size() + bytesPerLine_ - 1) / bytesPerLine_;
    const int visible = std::max(1, static_cast<int>((viewport()->height() - margin) / lineHeight_));
    verticalScrollBar()->setPageStep(visible);
    verticalScrollBar()->setRange(0, std::max(0, static_cast<int>(lines) - visible));
    horizontalScrollBar()->setPageStep(static_cast<int>(width));
    const auto wanted = (characterColumn(bytesPerLine_) + bytesPerLine_) * cell_;
    horizontalScrollBar()->setRange(0, std::max(0, static_cast<int>(std::ceil(wanted - width))));
}

void DecodeBytesView::show(std::uint32_t offset)
{
    const int line = static_cast<int>(offset / bytesPerLine_), first = verticalScrollBar()->value();
    if (line < first)
        verticalScrollBar()->setValue(line);
    else if (line >= first + verticalScrollBar()->pageStep())
        verticalScrollBar()->setValue(line - verticalScrollBar()->pageStep() + 1);
}

double DecodeBytesView::lineTop(std::uint32_t line) const
{
    return margin / 2 + (static_cast<int>(line) - verticalScrollBar()->value()) * lineHeight_;
}

double DecodeBytesView::digitsColumn(std::uint32_t place) const
{
    return margin + columnOf(place) * cell_ - horizontalScrollBar()->value();
}

QRectF DecodeBytesView::digitsRect(std::uint32_t offset) const
{
    return {digitsColumn(offset % bytesPerLine_), lineTop(offset / bytesPerLine_), 2 * cell_, lineHeight_};
}

QRectF DecodeBytesView::charactersRect(std::uint32_t offset) const
{
    const auto column = characterColumn(bytesPerLine_) + offset % bytesPerLine_;
    return {margin + column * cell_ - horizontalScrollBar()->value(), lineTop(offset / bytesPerLine_), cell_,
            lineHeight_};
}

std::optional<std::uint32_t> DecodeBytesView::byteAt(const QPointF& point) const
{
    const int line = static_cast<int>((point.y() - margin / 2) / lineHeight_) + verticalScrollBar()->value();
    if (line < 0 || point.y() < 0)
        return {};
    for (std::uint32_t place = 0; place < bytesPerLine_; ++place) {
        const auto offset = static_cast<std::uint32_t>(line) * bytesPerLine_ + place;
        if (offset >= bytes_.size())
            break;
        // The blank behind a pair belongs to it, so that a click never falls between two bytes.
        if (digitsRect(offset).adjusted(0, 0, cell_, 0).contains(point) || charactersRect(offset).contains(point))
            return offset;
    }
    return {};
}

QSize DecodeBytesView::sizeHint() const
{
    return {static_cast<int>((characterColumn(16) + 18) * cell_ + 2 * margin), static_cast<int>(10 * lineHeight_)};
}

void DecodeBytesView::paintEvent(QPaintEvent*)
{
    QPainter painter(viewport());
    painter.setFont(font());
    const auto first = static_cast<std::uint32_t>(verticalScrollBar()->value());
    const auto lines = static_cast<std::uint32_t>(viewport()->height() / lineHeight_) + 2;
    for (auto line = first; line < first + lines && std::size_t{line} * bytesPerLine_ < bytes_.size(); ++line)
        paintLine(painter, line);
}

void DecodeBytesView::paintLine(QPainter& painter, std::uint32_t line) const
{
    const auto& colors = palette();
    const auto group = hasFocus() ? QPalette::Active : QPalette::Inactive;
    const auto ascent = QFontMetricsF(font()).ascent() + 1;
    const auto top = lineTop(line);
    const auto start = line * bytesPerLine_;
    const auto end = std::min(start + bytesPerLine_, static_cast<std::uint32_t>(bytes_.size()));
    const auto isIn = [](Range range, std::uint32_t offset) {
        return offset >= range.offset && offset - range.offset < range.length;
    };
    auto faint = colors.color(group, QPalette::Highlight);
    faint.setAlphaF(0.22f);

    painter.setPen(colors.color(QPalette::PlaceholderText));
    painter.drawText(QPointF(margin - horizontalScrollBar()->value(), top + ascent),
                     QString::fromStdString(fmt::format("{:04x}", start)));
    for (auto offset = start; offset < end; ++offset) {
        const bool isLit = isIn(node_, offset), isNear = isIn(layer_, offset);
        auto digits = digitsRect(offset);
        const auto character = charactersRect(offset);
        const bool goesOn = offset + 1 < end && isIn(isLit ? node_ : layer_, offset + 1);
        if (goesOn) // one band, not beads
            digits.setRight(digitsColumn(offset % bytesPerLine_ + 1));
        if (isLit || isNear) {
            const auto brush = isLit ? colors.brush(group, QPalette::Highlight) : QBrush(faint);
            painter.fillRect(digits, brush);
            painter.fillRect(character, brush);
        }
        painter.setPen(colors.color(group, isLit ? QPalette::HighlightedText : QPalette::Text));
        const auto byte = bytes_[offset];
        painter.drawText(QPointF(digits.left(), top + ascent), QString::fromStdString(fmt::format("{:02x}", byte)));
        painter.drawText(QPointF(character.left(), top + ascent), QString(QLatin1Char(FrameText::character(byte))));
        if (offset == current_ && hasFocus()) {
            painter.setBrush(Qt::NoBrush);
            painter.drawRect(digitsRect(offset).adjusted(-1.5, 0.5, 0.5, -1.5));
        }
    }
}

void DecodeBytesView::mousePressEvent(QMouseEvent* event)
{
    const auto byte = byteAt(event->position());
    if (event->button() == Qt::LeftButton && byte)
        choose(*byte);
}

void DecodeBytesView::mouseMoveEvent(QMouseEvent* event)
{
    const auto byte = byteAt(event->position());
    if (event->buttons() & Qt::LeftButton && byte && *byte != current_)
        choose(*byte);
}

void DecodeBytesView::keyPressEvent(QKeyEvent* event)
{
    if (bytes_.empty())
        return QAbstractScrollArea::keyPressEvent(event);
    const std::int64_t line = bytesPerLine_, page = line * verticalScrollBar()->pageStep();
    const std::int64_t last = static_cast<std::int64_t>(bytes_.size()) - 1;
    std::int64_t offset = current_;
    switch (event->key()) {
    case Qt::Key_Left: offset -= 1; break;
    case Qt::Key_Right: offset += 1; break;
    case Qt::Key_Up: offset -= offset >= line ? line : 0; break;
    case Qt::Key_Down: offset += offset + line <= last ? line : 0; break;
    case Qt::Key_PageUp: offset -= page; break;
    case Qt::Key_PageDown: offset += page; break;
    case Qt::Key_Home: offset = offset / line * line; break;
    case Qt::Key_End: offset = offset / line * line + line - 1; break;
    default: return QAbstractScrollArea::keyPressEvent(event);
    }
    choose(static_cast<std::uint32_t>(std::clamp<std::int64_t>(offset, 0, last)));
}

void DecodeBytesView::resizeEvent(QResizeEvent*)
{
    measure();
}

void DecodeBytesView::focusInEvent(QFocusEvent* event)
{
    QAbstractScrollArea::focusInEvent(event);
    viewport()->update();
}

void DecodeBytesView::focusOutEvent(QFocusEvent* event)
{
    QAbstractScrollArea::focusOutEvent(event);
    viewport()->update();
}

void DecodeBytesView::scrollContentsBy(int, int)
{
    viewport()->update();
}

void DecodeBytesView::changeEvent(QEvent* event)
{
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::FontChange)
        measure();
}

} // namespace netrondo
