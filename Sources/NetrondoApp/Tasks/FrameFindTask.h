// Looks for the next frame that fits, from one frame on in either direction, on a thread of its own.
#pragma once

#include "Dissection/Filter/FrameSearch.h"
#include "Tasks/FrameFilterTask.h"

#include <QObject>

namespace netrondo {

class FrameFindTask : public QObject {
    Q_OBJECT
public:
    enum class Direction { forwards, backwards };

    /// The frames among which is looked for.
    struct Among {
        std::shared_ptr<const FrameIndex> index;
        FrameStore::OrderedDecoder ordered;
        std::shared_ptr<const FrameMatches> matches; ///< null: all of them
        std::uint32_t rows = 0;
        FrameSet ignored = {}; ///< are passed over
    };

    /// Begins behind (or before) the row, goes on at the other end when there is none, and ends with the row itself.
    FrameFindTask(Among among, FrameSearch search, std::int64_t fromRow, Direction direction,
                  QObject* parent = nullptr);
    ~FrameFindTask() override;

signals:
    /// The row of the frame; `wrapped`: it was found beyond an end of the list.
    void found(quint32 row, bool wrapped);
    void notFound();
    void failed(const QString& sentence);

private:
    struct Shared;

    void look();

    std::shared_ptr<Shared> shared_;
    QTimer timer_;
    std::jthread worker_;
};

} // namespace netrondo
