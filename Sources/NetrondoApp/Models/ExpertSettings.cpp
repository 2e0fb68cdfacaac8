#include "Models/ExpertSettings.h"

#include "Drawing/PictureFile.h"
#include "Models/Text.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

namespace netrondo {

QString ExpertSettings::defaultPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation)
        + QStringLiteral("/netrondo/expert.json");
}

ExpertSettings::ExpertSettings(const QString& path, QObject* parent) : QObject(parent), path_(path)
{
    if (!QFileInfo::exists(path_))
        return;
    auto loaded = loadExpertPreferences(path_.toStdString());
    if (!loaded) {
        isForeign_ = true;
        trouble_ = tr("%1: %2 The usual thresholds hold, and nothing is muted.")
                       .arg(path_, asQt(loaded.error().description()));
        return;
    }
    mutes_ = MuteBook(std::move(loaded->mutes));
    loaded->mutes.clear();
    thresholds_ = *std::move(loaded);
}

void ExpertSettings::setThresholds(const ExpertPreferences& thresholds)
{
    auto wanted = thresholds;
    wanted.mutes.clear();
    if (wanted == thresholds_)
        return;
    thresholds_ = std::move(wanted);
    save();
    emit thresholdsChanged();
}

void ExpertSettings::mute(const ExpertMute& mute)
{
    if (!mutes_.add(mute))
        return;
    save();
    emit mutesChanged();
}

void ExpertSettings::unmute(std::size_t index)
{
    mutes_.remove(index);
    save();
    emit mutesChanged();
}

void ExpertSettings::undo()
{
    if (!mutes_.canUndo())
        return;
    mutes_.undo();
    save();
    emit mutesChanged();
}

void ExpertSettings::redo()
{
    if (!mutes_.canRedo())
        return;
    mutes_.redo();
    save();
    emit mutesChanged();
}

void ExpertSettings::save()
{
    QDir().mkpath(QFileInfo(path_).path());
    if (isForeign_) { // somebody wrote it by hand: it is put aside, not written over
        const auto aside = path_ + QStringLiteral(".unreadable");
        QFile::remove(aside);
        QFile::rename(path_, aside);
        isForeign_ = false;
    }
    auto all = thresholds_;
    all.mutes = mutes_.mutes();
    if (const auto saved = netrondo::save(QByteArray::fromStdString(textOf(all)), path_.toStdString()); !saved)
        emit failed(tr("%1: %2. The thresholds and mutes hold until the window is closed.")
                        .arg(path_, asQt(saved.error().description)));
}

} // namespace netrondo
