// The bytes of a frame: offsets, hexadecimal digits, characters; what the tree points at is lit.
#pragma once

#include "Base/Bytes.h"

#include <QAbstractScrollArea>
#include <memory>

namespace netrondo {

class DecodeBytesView : public QAbstractScrollArea {
    Q_OBJECT
public:
    struct Range {
        std::uint32_t offset = 0;
        std::uint32_t length = 0;
    };

    explicit DecodeBytesView(QWidget* parent = nullptr);

    /// Shows these bytes, which live as long as `owner` does.
    void setBytes(Bytes bytes, std::shared_ptr<const void> owner);
    /// Lights the bytes of a node, and more faintly those of the layer around it, and brings them into view.
    void light(Range node, Range layer);
    void setCurrentByte(std::uint32_t offset);
    std::uint32_t currentByte() const { return current_; }
    Range lit() const { return node_; }

    /// The byte at a place of the viewport, or nothing.
    std::optional<std::uint32_t> byteAt(const QPointF& point) const;
    QRectF digitsRect(std::uint32_t offset) const;

    QSize sizeHint() const override;

signals:
    /// The byte was clicked, or reached with the keyboard.
    void byteChosen(quint32 offset);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;
    void changeEvent(QEvent* event) override;

private:
    void measure();
    void choose(std::uint32_t offset);
    void show(std::uint32_t offset);
    void paintLine(QPainter& painter, std::uint32_t line) const;
    double digitsColumn(std::uint32_t place) const;
    QRectF charactersRect(std::uint32_t offset) const;
    double lineTop(std::uint32_t line) const;

    Bytes bytes_;
    std::shared_ptr<const void> owner_;
    Range node_, layer_;
    std::uint32_t current_ = 0;
    std::uint32_t bytesPerLine_ = 16;
    double cell_ = 8; ///< width of a character
    double lineHeight_ = 16;
};

} // namespace netrondo
