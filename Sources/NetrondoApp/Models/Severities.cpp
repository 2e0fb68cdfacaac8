#include "Models/Severities.h"

#include "Circle/FindingBadges.h"
#include "Drawing/ScenePainter.h"

#include <QCoreApplication>
#include <QPainter>
#include <QPixmap>
#include <array>

namespace netrondo {

QString severityWord(Severity severity)
{
    constexpr std::array<const char*, 4> words{
        QT_TRANSLATE_NOOP("netrondo::Severities", "Info"), QT_TRANSLATE_NOOP("netrondo::Severities", "Note"),
        QT_TRANSLATE_NOOP("netrondo::Severities", "Warning"), QT_TRANSLATE_NOOP("netrondo::Severities", "Error")};
    return QCoreApplication::translate("netrondo::Severities", words[static_cast<std::size_t>(severity)]);
}

QIcon severityIcon(Severity severity)
{
    QIcon icon;
    for (const int side : {16, 32, 64}) {
        CircleScene scene;
        scene.size = {static_cast<double>(side), static_cast<double>(side)};
        scene.ground = {{}, 0};
        addSign(scene.polygons, severity, {side / 2.0, side / 2.0}, side * 0.42, scene.ground);
        QPixmap pixmap(side, side);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        play(scene, painter);
        painter.end();
        icon.addPixmap(pixmap);
        icon.addPixmap(pixmap, QIcon::Selected); // on a chosen row it keeps its colour
    }
    return icon;
}

} // namespace netrondo
