// Writes decoded frames into a file, on a thread of its own.
#pragma once

#include "Dissection/Decode/FrameWriter.h"
#include "Tasks/FrameStore.h"

#include <QObject>
#include <QTimer>
#include <functional>

namespace netrondo {

/// Lives in the window's thread. The file gets its name when it is whole; a task that is dropped before leaves nothing.
class FrameExportTask : public QObject {
    Q_OBJECT
public:
    struct Wish {
        QString path;
        FrameWriter::Form form = FrameWriter::Form::list;
        /// The next frame, counted from 0, in their order; nothing behind the last. It is called on the task's thread.
        std::function<std::optional<std::uint32_t>()> next;
    };

    /// Frames that are to be ignored are left out.
    FrameExportTask(const FrameStore& store, Wish wish, QObject* parent = nullptr);
    ~FrameExportTask() override;

signals:
    /// The frame it has come to.
    void advanced(quint32 frame);
    void completed(quint64 frames);
    /// Which file it was and why; nothing was written.
    void failed(const QString& sentence);

private:
    struct Shared;

    void look();

    std::shared_ptr<Shared> shared_;
    QTimer timer_;
    std::jthread worker_;
};

} // namespace netrondo
