// A capture that is shown frame by frame: opened and indexed on a thread of its own, usable from its first frame on.
#pragma once

#include "Base/Address.h"
#include "Capture/FrameIndex.h"
#include "Dissection/Decode/PacketDecoder.h"
#include "Models/FrameNotes.h"

#include <QObject>
#include <QString>
#include <QTimer>
#include <memory>
#include <thread>

namespace netrondo {

/// Lives in the window's thread. The index it hands out may be used by any thread, and outlives it where somebody
/// still holds it.
class FrameStore : public QObject {
    Q_OBJECT
public:
    enum class Reading {
        once,    ///< to the end of the file as it is now
        growing, ///< and on, as another program appends to it
    };

    explicit FrameStore(const QString& path, Reading reading = Reading::once, QObject* parent = nullptr);
    ~FrameStore() override;

    const QString& path() const { return path_; }
    /// Null until the file is open.
    std::shared_ptr<const FrameIndex> index() const { return index_; }
    /// The frames that may be asked for, as `grew` has announced them.
    std::uint32_t count() const { return count_; }
    /// The pass has come to its end, be it that of the file, an error or a stop. A growing file has no end.
    bool isComplete() const;
    /// For other threads that follow the pass; once it gives true the index's count is final.
    std::function<bool()> completionTest() const;
    /// Decodes any frame as it is in its order, as far as `followed` says; null until the first one has been followed.
    std::shared_ptr<const PacketDecoder> orderedDecoder() const { return orderedDecoderSource()().first; }
    /// The decoder and `followed` of the moment it is called, for other threads; it may outlive the store.
    using OrderedDecoder = std::function<std::pair<std::shared_ptr<const PacketDecoder>, std::uint32_t>()>;
    OrderedDecoder orderedDecoderSource() const;
    /// How many frames have been decoded in their order: messages that end in these are put together.
    std::uint32_t followed() const;
    /// How far the pass has come, from 0 to 1.
    double progress() const;
    /// What went wrong, as a sentence with the file's name; empty when nothing did.
    const QString& error() const { return error_; }

    /// The name the capture itself has given to a host, as far as it has been read; empty when there is none.
    QString hostName(const Address& address) const { return hostNames()(address); }
    /// Gives these names on any thread; it may outlive the store.
    using HostNames = std::function<QString(const Address&)>;
    HostNames hostNames() const;

    /// What a person notes about the frames: whoever shows them shows the same.
    FrameNotes& notes() { return notes_; }
    const FrameNotes& notes() const { return notes_; }

public slots:
    /// Ends the pass; the frames so far stay.
    void stop();

signals:
    void opened();
    /// More frames are there, at most some dozen times a second.
    void grew();
    void completed();
    /// `followed` has moved on.
    void followedMore();
    /// The pass ended with an error; `error` says which. `completed` follows.
    void failed();

private:
    struct Shared;

    void look();

    QString path_;
    std::shared_ptr<Shared> shared_;
    std::shared_ptr<const FrameIndex> index_;
    std::uint32_t count_ = 0;
    bool isComplete_ = false;
    QString error_;
    FrameNotes notes_;
    QTimer timer_;
    std::uint32_t followed_ = 0; ///< as announced last
    std::jthread reader_;
    std::jthread follower_;
};

} // namespace netrondo
