// Which frames of a capture a filter selects: looked for on a thread of its own, shown as they are found.
#pragma once

#include "Base/AppendLog.h"
#include "Dissection/Filter/DisplayFilter.h"
#include "Tasks/FrameStore.h"

#include <QObject>
#include <QTimer>

namespace netrondo {

/// The frames that were found, counted from 0, in their order; any thread may read it while it grows.
using FrameMatches = AppendLog<std::uint32_t>;

/// Lives in the window's thread. It goes through the frames as the store reads them, to the end of its pass. Frames
/// that are to be ignored as it begins are none of those it finds.
class FrameFilterTask : public QObject {
    Q_OBJECT
public:
    FrameFilterTask(const FrameStore& store, DisplayFilter filter, QObject* parent = nullptr);
    ~FrameFilterTask() override;

    std::shared_ptr<const FrameMatches> matches() const;
    /// How many matches `advanced` has announced.
    std::uint32_t count() const { return count_; }
    /// Of how many frames it is known whether they match.
    std::uint32_t examined() const { return examined_; }
    bool isComplete() const { return isComplete_; }

public slots:
    /// Ends the search; what was found stays.
    void stop();

signals:
    /// More frames were examined, at most some dozen times a second.
    void advanced();
    void completed();
    /// Frames could not be read.
    void failed(const QString& sentence);

private:
    struct Shared;

    void look();

    std::shared_ptr<Shared> shared_;
    std::uint32_t count_ = 0;
    std::uint32_t examined_ = 0;
    bool isComplete_ = false;
    QTimer timer_;
    std::jthread worker_;
};

} // namespace netrondo
