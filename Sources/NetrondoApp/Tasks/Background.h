// Work off the window's thread.
#pragma once

#include <QFutureWatcher>
#include <QObject>
#include <QtConcurrent>
#include <type_traits>
#include <utility>

namespace netrondo {

/// Runs `work` on a thread of the pool and calls `done` with what it returned, on the thread of `receiver`; not at all
/// when the receiver is gone by then.
template <typename Work, typename Done> void inBackground(QObject* receiver, Work work, Done done)
{
    auto* const watcher = new QFutureWatcher<std::invoke_result_t<Work>>(receiver); // goes with the receiver
    QObject::connect(watcher, &QFutureWatcherBase::finished, receiver, [watcher, done = std::move(done)] {
        watcher->deleteLater();
        done(watcher->result());
    });
    watcher->setFuture(QtConcurrent::run(std::move(work)));
}

} // namespace netrondo
