// The decode view's commands for what a person notes about frames: marks, frames to be ignored, references of time,
// notes; and for the columns that fields of the tree get.
#include "Dissection/Decode/Render.h"
#include "Models/Text.h"
#include "Views/DecodeBytesView.h"
#include "Views/DecodeView.h"
#include "Views/FrameListView.h"
#include "Views/TimeShiftDialog.h"

#include <QAction>
#include <QHeaderView>
#include <QInputDialog>
#include <QSettings>
#include <QTreeView>

namespace netrondo {

void DecodeView::makeNoteActions()
{
    using Kind = FrameListModel::Kind;
    constexpr auto plain = Qt::CTRL;
    constexpr auto shift = Qt::CTRL | Qt::SHIFT;
    constexpr auto alt = Qt::CTRL | Qt::ALT;
    const auto make = [this](const char* name, const QString& text, const QKeySequence& keys, const auto& act) {
        return command(QString::fromLatin1(name), text, {keys}, act);
    };
    const auto history = [this](void (QUndoStack::*act)()) {
        if (store_)
            (store_->notes().history().*act)();
    };
    make("undo", tr("&Undo"), plain | Qt::Key_Z, [history] { history(&QUndoStack::undo); });
    make("redo", tr("&Redo"), shift | Qt::Key_Z, [history] { history(&QUndoStack::redo); });
    make("mark", tr("&Mark"), plain | Qt::Key_M, [this] { toggleChosen(Kind::marked); });
    make("markAll", tr("Mark all &shown"), shift | Qt::Key_M, [this] { frames_.setAllShown(Kind::marked); });
    make("unmarkAll", tr("Unmar&k all"), alt | Qt::Key_M, [this] { frames_.clear(Kind::marked); });
    make("ignore", tr("&Ignore"), plain | Qt::Key_D, [this] { toggleChosen(Kind::ignored); });
    make("ignoreAll", tr("Ignore a&ll shown"), shift | Qt::Key_D, [this] { frames_.setAllShown(Kind::ignored); });
    make("unignoreAll", tr("Ign&ore none"), alt | Qt::Key_D, [this] { frames_.clear(Kind::ignored); });
    make("reference", tr("&Time reference"), plain | Qt::Key_T, [this] { toggleReference(); });
    make("clearReferences", tr("&Drop all time references"), alt | Qt::Key_T,
         [this] { frames_.clear(Kind::references); });
    make("shiftTimes", tr("Shift the times of da&y…"), shift | Qt::Key_T, [this] { askForShift(); });
    make("note", tr("Not&e…"), alt | Qt::Key_C, [this] { askForNote(); });
    make("nextMark", tr("Next &mark"), shift | Qt::Key_N, [this] { goTo(Kind::marked, 1); });
    make("previousMark", tr("Previous mar&k"), shift | Qt::Key_B, [this] { goTo(Kind::marked, -1); });
    make("nextReference", tr("Next time &reference"), alt | Qt::Key_N, [this] { goTo(Kind::references, 1); });
    make("previousReference", tr("Previous time r&eference"), alt | Qt::Key_B, [this] { goTo(Kind::references, -1); });
    make("applyAsColumn", tr("&Show the row of the tree as a column"), shift | Qt::Key_I, [this] { applyAsColumn(); });
}

/// Whoever shows the same frames may have noted something as well.
void DecodeView::takeNotes()
{
    list_->viewport()->update();
    const auto& notes = frames_.notes();
    auto* const history = store_ ? &store_->notes().history() : nullptr;
    auto* const undo = commands_[QStringLiteral("undo")];
    auto* const redo = commands_[QStringLiteral("redo")];
    undo->setEnabled(history && history->canUndo());
    redo->setEnabled(history && history->canRedo());
    undo->setText(undo->isEnabled() ? tr("&Undo: %1").arg(history->undoText()) : tr("&Undo"));
    redo->setText(redo->isEnabled() ? tr("&Redo: %1").arg(history->redoText()) : tr("&Redo"));
    // Frames that are ignored from now on stay on their lines; those that were left out have to be looked for.
    if (filterTask_ && !notes.ignored.holds(ignored_))
        applyFilters();
    ignored_ = notes.ignored;
    const auto detail = nodes_.sharedFrame();
    if (detail && shown_ && nodes_.remarks() != remarksOn(*detail))
        fillTree(detail);
}

/// What the tree says above its rows.
QStringList DecodeView::remarksOn(const FrameDetail& detail) const
{
    const auto frame = static_cast<std::uint32_t>(detail.decoded.summary.number - 1);
    const auto& notes = frames_.notes();
    QStringList remarks;
    if (notes.ignored.have(frame))
        remarks << tr("Ignored: not taken apart, not found, not filtered");
    if (notes.references.have(frame))
        remarks << tr("Time reference: the times behind count from here");
    if (const auto note = notes.notes.value(frame); !note.isEmpty())
        remarks << tr("Note: %1").arg(note);
    for (const auto& line : detail.comment.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        remarks << tr("Comment in the file: %1").arg(line.simplified());
    return remarks;
}

void DecodeView::goTo(FrameListModel::Kind kind, int by)
{
    const auto current = list_->currentIndex();
    if (const auto row = frames_.next(kind, current.isValid() ? current.row() : -1, by))
        list_->choose(*row);
}

/// All of them, unless all of them are already.
void DecodeView::toggleChosen(FrameListModel::Kind kind)
{
    const auto rows = list_->chosenRanges();
    frames_.set(kind, rows, !frames_.are(kind, rows));
}

void DecodeView::toggleReference()
{
    using Format = FrameListModel::TimeFormat;
    toggleChosen(FrameListModel::Kind::references);
    if (!shown_ || !frames_.notes().references.have(*shown_) || frames_.timeFormat() == Format::sinceFirst)
        return;
    frames_.setTimeFormat(Format::sinceFirst);
    emit remarked(tr("Times are shown since the reference before them"));
}

void DecodeView::askForNote()
{
    if (!store_ || !shown_)
        return;
    auto* dialog = new QInputDialog(this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(tr("Note to frame %1").arg(frameNumber()));
    dialog->setLabelText(tr("Kept until the capture is closed, and with frames that are saved as pcapng:"));
    dialog->setTextValue(frames_.notes().notes.value(*shown_));
    connect(dialog, &QDialog::accepted, this, [this, dialog, frame = *shown_, of = std::weak_ptr(store_)] {
        if (const auto store = of.lock())
            store->notes().setNote(frame, dialog->textValue().simplified());
    });
    dialog->open();
}

void DecodeView::askForShift()
{
    if (!store_ || !shown_)
        return;
    auto* dialog =
        new TimeShiftDialog(frameNumber(), store_->index()->nanoseconds(*shown_), frames_.notes().shift, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QDialog::accepted, this, [this, dialog, of = std::weak_ptr(store_)] {
        using Format = FrameListModel::TimeFormat;
        const auto store = of.lock();
        if (!store)
            return;
        store->notes().setShift(dialog->shift());
        if (dialog->shift() != 0 && frames_.timeFormat() < Format::timeOfDay)
            frames_.setTimeFormat(Format::timeOfDay);
    });
    dialog->open();
}

void DecodeView::applyAsColumn()
{
    const auto node = tree_->currentIndex();
    if (!DecodeTreeModel::isNode(node))
        return emit remarked(tr("Choose a row of the protocol tree that is to be a column"));
    const auto& field = *nodes_.frame()->decoded.tree[DecodeTreeModel::nodeAt(node)].field;
    addColumn({asQt(field.id), asQt(field.summary)});
    saveFields();
}

/// Before the info, which takes the room that the others leave.
void DecodeView::addColumn(const FrameListModel::Field& field)
{
    const auto chosen = list_->selectionModel()->selection();
    const int before = frames_.columnCount(), column = frames_.addField(field);
    auto* header = list_->header();
    header->showSection(column);
    if (column < before)
        return;
    header->moveSection(header->visualIndex(column), header->visualIndex(FrameListModel::info));
    const auto title = header->fontMetrics().horizontalAdvance(field.title) + list_->rowHeight();
    header->resizeSection(column, std::clamp(title, 6 * list_->rowHeight(), 12 * list_->rowHeight()));
    list_->selectionModel()->select(chosen, QItemSelectionModel::Select | QItemSelectionModel::Rows);
}

void DecodeView::removeColumn(int column)
{
    frames_.removeField(column);
    saveFields();
}

void DecodeView::saveFields() const
{
    QStringList fields;
    for (const auto& field : frames_.fields())
        fields << field.id + QLatin1Char(' ') + field.title;
    QSettings().setValue(QStringLiteral("decode/fields"), fields);
}

} // namespace netrondo
