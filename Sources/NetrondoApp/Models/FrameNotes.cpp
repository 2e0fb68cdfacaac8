// A step keeps what was before and after it, which share all that it left alone.
#include "Models/FrameNotes.h"

#include <utility>

namespace netrondo {
namespace {
constexpr int mostSteps = 100; // of ten million frames each takes 1.25 MB at most
} // namespace

class FrameNotes::Step final : public QUndoCommand {
public:
    Step(FrameNotes& notes, State after, const QString& what)
        : QUndoCommand(what), notes_(notes), before_(notes.now_), after_(std::move(after))
    { }

    void undo() override { notes_.now_ = before_; }
    void redo() override { notes_.now_ = after_; }

private:
    FrameNotes& notes_;
    State before_, after_;
};

FrameNotes::FrameNotes(QObject* parent) : QObject(parent)
{
    history_.setUndoLimit(mostSteps);
    connect(&history_, &QUndoStack::indexChanged, this, &FrameNotes::changed); // when it knows of the step
}

QString FrameNotes::nameOf(Kind kind)
{
    switch (kind) {
    case Kind::marked: return tr("marks");
    case Kind::ignored: return tr("ignored frames");
    case Kind::references: return tr("time references");
    }
    return {};
}

void FrameNotes::take(State next, const QString& what)
{
    if (next != now_)
        history_.push(new Step(*this, std::move(next), what)); // which does it as well
}

void FrameNotes::setNote(std::uint32_t frame, const QString& text)
{
    auto next = now_;
    if (text.isEmpty())
        next.notes.remove(frame);
    else
        next.notes[frame] = text;
    take(std::move(next), tr("note"));
}

void FrameNotes::setShift(qint64 nanoseconds)
{
    auto next = now_;
    next.shift = nanoseconds;
    take(std::move(next), tr("time shift"));
}

} // namespace netrondo
