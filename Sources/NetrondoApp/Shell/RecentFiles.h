// The captures that were opened last.
#pragma once

#include <QStringList>

class QMenu;
class QSettings;

namespace netrondo {

class RecentFiles {
public:
    static constexpr int most = 10;

    const QStringList& paths() const { return paths_; }
    void add(const QString& path);
    void clear() { paths_.clear(); }
    void save(QSettings& settings) const;
    void load(const QSettings& settings);

private:
    QStringList paths_; ///< absolute, the latest first
};

} // namespace netrondo
