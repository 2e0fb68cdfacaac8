// The user's thresholds and mutes, kept in a file that the command line reads as well.
#pragma once

#include "Analysis/Expert/ExpertPreferences.h"
#include "Analysis/Expert/MuteBook.h"

#include <QObject>
#include <QString>

namespace netrondo {

class ExpertSettings : public QObject {
    Q_OBJECT
public:
    /// Reads the file; where it cannot be used, `trouble` says why and everything is as it normally is.
    explicit ExpertSettings(const QString& path = defaultPath(), QObject* parent = nullptr);

    /// In the user's configuration.
    static QString defaultPath();
    const QString& path() const { return path_; }
    /// A sentence for the user, or empty.
    const QString& trouble() const { return trouble_; }

    /// Thresholds alone; the mutes in it are always none.
    const ExpertPreferences& thresholds() const { return thresholds_; }
    void setThresholds(const ExpertPreferences& thresholds);

    const MuteBook& mutes() const { return mutes_; }
    void mute(const ExpertMute& mute);
    void unmute(std::size_t index);
    void undo();
    void redo();

signals:
    void thresholdsChanged();
    void mutesChanged();
    /// The file could not be written: a sentence with its name.
    void failed(const QString& sentence);

private:
    void save();

    QString path_;
    QString trouble_;
    bool isForeign_ = false; ///< the file holds something that could not be read
    ExpertPreferences thresholds_;
    MuteBook mutes_;
};

} // namespace netrondo
