// Boxes to tick that can be seen on a dark ground too.
#pragma once

#include <QPainter>
#include <QProxyStyle>
#include <QStyleOption>

namespace netrondo {

/// The usual style draws their edges darker than what is around them, which on a dark ground leaves nothing to see of a
/// box that is not ticked.
class VisibleTicks : public QProxyStyle {
public:
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget = nullptr) const override
    {
        QProxyStyle::drawPrimitive(element, option, painter, widget);
        const bool isTick = element == PE_IndicatorCheckBox || element == PE_IndicatorItemViewItemCheck;
        if (!isTick || option->palette.window().color().lightness() > 127)
            return;
        painter->save();
        painter->setPen(option->palette.color(QPalette::Disabled, QPalette::WindowText));
        painter->setBrush(Qt::NoBrush);
        painter->drawRect(QRectF(option->rect).adjusted(0.5, 0.5, -0.5, -0.5));
        painter->restore();
    }
};

} // namespace netrondo
