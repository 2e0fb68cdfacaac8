// Work off the window's thread.
#pragma once

#include <QCoreApplication>
#include <QMetaObject>
#include <QObject>
#include <thread>
#include <utility>

namespace netrondo {

/// A piece of work on a thread of its own. It belongs to its receiver and ends with it: the thread is joined, so that
/// nothing of it outlives the window. (A pool's threads are detached; one that still puts away what it kept for itself
/// when the program ends races with the libraries' own tidying up.)
template <typename Work, typename Done> class BackgroundWork final : public QObject {
public:
    BackgroundWork(QObject* receiver, Work work, Done done)
        : QObject(receiver), thread_([this, work = std::move(work), done = std::move(done)]() mutable {
            auto finish = [this, result = work(), done = std::move(done)]() mutable {
                deleteLater();
                done(result);
            };
            QMetaObject::invokeMethod(this, std::move(finish), Qt::QueuedConnection);
        })
    { }

private:
    std::jthread thread_;
};

/// Runs `work` on a thread and calls `done` with what it returned, on the thread of `receiver`; not at all when the
/// receiver is gone by then. A receiver that goes waits for the work to end.
template <typename Work, typename Done> void inBackground(QObject* receiver, Work work, Done done)
{
    new BackgroundWork(receiver, std::move(work), std::move(done)); // goes with the receiver
}

/// Asks the thread to stop and waits for that in the background: a window that has moved on is not held up by a slow
/// disk, and the program does not end before its threads have.
inline void letEnd(std::jthread thread)
{
    thread.request_stop();
    auto join = [thread = std::move(thread)]() mutable {
        thread.join();
        return true;
    };
    inBackground(QCoreApplication::instance(), std::move(join), [](bool) {});
}

} // namespace netrondo
