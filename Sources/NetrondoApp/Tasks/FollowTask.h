// Gathers what the two ends of a frame said to each other, on a thread of its own.
#pragma once

#include "Dissection/Decode/StreamFollower.h"
#include "Tasks/FrameStore.h"

#include <QObject>
#include <QTimer>

namespace netrondo {

/// Lives in the window's thread. It goes through the frames that the store has read when it begins.
class FollowTask : public QObject {
    Q_OBJECT
public:
    FollowTask(const FrameStore& store, const FrameSummary& ofFrame, QObject* parent = nullptr);
    ~FollowTask() override;

    /// What has been gathered since it was asked last.
    std::vector<StreamFollower::Piece> take();
    bool isComplete() const { return isComplete_; }

signals:
    /// So many frames have been looked at; there may be more to take.
    void advanced(quint32 examined);
    void completed();
    void failed(const QString& sentence);

private:
    struct Shared;

    void look();

    std::shared_ptr<Shared> shared_;
    bool isComplete_ = false;
    QTimer timer_;
    std::jthread worker_;
};

} // namespace netrondo
