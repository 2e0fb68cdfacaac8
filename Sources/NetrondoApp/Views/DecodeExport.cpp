// What is decoded, written into a file: which frames, and how the window says how far it has come.
#include "Tasks/FrameExportTask.h"
#include "Views/DecodeView.h"
#include "Views/FrameListView.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QProgressDialog>

namespace netrondo {
namespace {
using Rows = FrameListModel::Rows;

/// The frames of rows, one after the other.
auto framesOf(std::shared_ptr<const FrameMatches> matches, QList<Rows> rows)
{
    return [matches = std::move(matches), rows = std::move(rows), range = qsizetype{0},
            done = 0]() mutable -> std::optional<std::uint32_t> {
        while (range < rows.size() && rows[range].first + done > rows[range].second) {
            ++range;
            done = 0;
        }
        if (range == rows.size())
            return {};
        const auto row = static_cast<std::uint32_t>(rows[range].first + done++);
        return matches ? (*matches)[row] : row;
    };
}

auto framesOf(FrameSet set)
{
    return [set = std::move(set), from = std::int64_t{0}]() mutable {
        const auto frame = set.next(from);
        if (frame)
            from = std::int64_t{*frame} + 1;
        return frame;
    };
}
} // namespace

void DecodeView::askForExport()
{
    if (!store_ || !store_->index() || frames_.rowCount() == 0)
        return;
    const bool hasMarked = frames_.notes().marked.next(0).has_value();
    auto* dialog = new FrameExportDialog(frames_.rowCount(), list_->chosenCount(), hasMarked, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QDialog::accepted, this, [this, dialog] {
        const bool isJson = dialog->form() == FrameWriter::Form::json;
        const auto name =
            QFileInfo(store_->path()).completeBaseName() + (isJson ? QLatin1String(".jsonl") : QLatin1String(".txt"));
        const auto path = QFileDialog::getSaveFileName(this, dialog->windowTitle(), name,
                                                       isJson ? tr("JSON Lines (*.jsonl)") : tr("Text (*.txt)"));
        if (!path.isEmpty())
            exportFrames(path, dialog->extent(), dialog->form());
    });
    dialog->open();
}

void DecodeView::exportFrames(const QString& path, FrameExportDialog::Extent extent, FrameWriter::Form form)
{
    using Extent = FrameExportDialog::Extent;
    FrameExportTask::Wish wish{path, form, {}};
    if (extent == Extent::marked)
        wish.next = framesOf(frames_.notes().marked);
    else
        wish.next =
            framesOf(frames_.matches(),
                     extent == Extent::chosen ? list_->chosenRanges() : QList<Rows>{{0, frames_.rowCount() - 1}});
    auto* progress = new QProgressDialog(tr("Writing %1").arg(path), tr("Cancel"), 0,
                                         static_cast<int>(std::min<std::uint32_t>(store_->count(), 0x7fffffff)), this);
    progress->setWindowTitle(tr("Export what is decoded"));
    progress->setAutoReset(false);
    progress->setMinimumDuration(500);
    auto* task = new FrameExportTask(*store_, std::move(wish), progress); // and ends with it
    connect(progress, &QProgressDialog::canceled, progress, &QObject::deleteLater);
    connect(task, &FrameExportTask::advanced, progress,
            [progress](quint32 frame) { progress->setValue(static_cast<int>(frame)); });
    connect(task, &FrameExportTask::completed, this, [this, progress, path](quint64 frames) {
        progress->deleteLater();
        emit remarked(frames == 1 ? tr("1 frame in %1").arg(path)
                                  : tr("%1 frames in %2").arg(locale().toString(frames), path));
    });
    connect(task, &FrameExportTask::failed, this, [this, progress](const QString& sentence) {
        progress->deleteLater();
        emit failed(tr("%1. Nothing was exported.").arg(sentence));
    });
}

} // namespace netrondo
