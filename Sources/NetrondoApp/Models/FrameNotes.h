// What a person has noted about the frames of a capture: marks, frames to be ignored, references of time, notes.
#pragma once

#include "Models/FrameSet.h"

#include <QMap>
#include <QObject>
#include <QString>
#include <QUndoStack>

namespace netrondo {

/// One for a capture, whoever shows it. It lasts as long as the capture is open; the file stays as it is.
class FrameNotes : public QObject {
    Q_OBJECT
public:
    enum class Kind {
        marked,
        ignored,    ///< listed, but neither decoded nor found
        references, ///< the times behind count from here
    };
    /// By frame, counted from 0.
    using Texts = QMap<std::uint32_t, QString>;

    /// All of it at one moment; a value, for any thread.
    struct State {
        FrameSet marked, ignored, references;
        Texts notes;
        qint64 shift = 0; ///< nanoseconds to be added to every time of day

        const FrameSet& of(Kind kind) const
        {
            return kind == Kind::marked ? marked : kind == Kind::ignored ? ignored : references;
        }
        FrameSet& of(Kind kind) { return const_cast<FrameSet&>(std::as_const(*this).of(kind)); }
        friend bool operator==(const State&, const State&) = default;
    };

    explicit FrameNotes(QObject* parent = nullptr);

    const State& now() const { return now_; }

    /// Changes one of the sets by `change(FrameSet&)`.
    template <typename Change> void change(Kind kind, Change change)
    {
        auto next = now_;
        change(next.of(kind));
        take(std::move(next), nameOf(kind));
    }
    /// An empty text takes the frame's note away.
    void setNote(std::uint32_t frame, const QString& text);
    void setShift(qint64 nanoseconds);

    /// What was done, to be taken back.
    QUndoStack& history() { return history_; }

signals:
    void changed();

private:
    class Step;

    void take(State next, const QString& what);
    static QString nameOf(Kind kind);

    State now_;
    QUndoStack history_;
};

} // namespace netrondo
