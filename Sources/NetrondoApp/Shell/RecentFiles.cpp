#include "Shell/RecentFiles.h"

#include <QFileInfo>
#include <QSettings>

namespace netrondo {

void RecentFiles::add(const QString& path)
{
    const auto absolute = QFileInfo(path).absoluteFilePath();
    paths_.removeAll(absolute);
    paths_.prepend(absolute);
    while (paths_.size() > most)
        paths_.removeLast();
}

void RecentFiles::save(QSettings& settings) const
{
    settings.setValue(QStringLiteral("recent"), paths_);
}

void RecentFiles::load(const QSettings& settings)
{
    paths_ = settings.value(QStringLiteral("recent")).toStringList().mid(0, most);
}

} // namespace netrondo
