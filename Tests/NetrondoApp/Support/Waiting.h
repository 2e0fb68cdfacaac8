// Waiting in a test for what comes from another thread.
#pragma once

#include "Support/Captures.h"
#include "Support/Traffic.h"
#include "Tasks/FrameStore.h"

#include <QTest>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>

/// What GoogleTest shows of a text.
inline void PrintTo(const QString& text, std::ostream* out)
{
    *out << '"' << text.toStdString() << '"';
}

namespace netrondo::test {

/// Lets the window live until the condition holds; false when it does not in ten seconds.
template <typename Condition> bool eventually(Condition condition)
{
    return QTest::qWaitFor(condition, 10'000);
}

/// A capture of requests and answers between two hosts and some DNS: frame n (from 0) is a DNS query where n is a
/// multiple of 5, else a segment, from the client where n is even; one second apart.
inline std::vector<std::uint8_t> conversationCapture(int frames, int from = 0)
{
    PcapBytes capture;
    for (int n = from; n < from + frames; ++n) {
        const FrameStamp stamp{.seconds = 1'700'000'000 + static_cast<std::uint64_t>(n), .fraction = 250'000};
        if (n % 5 == 0)
            capture.frame(udpFrame({.destination = "10.0.0.53", .destinationPort = 53}, fmt::format("query {}", n)),
                          stamp);
        else if (n % 2 == 0)
            capture.frame(tcpFrame({}, fmt::format("GET /{} HTTP/1.1\r\nHost: www.example.org\r\n\r\n", n)), stamp);
        else
            capture.frame(tcpFrame(Ends().back(), "HTTP/1.1 204 No Content\r\n\r\n"), stamp);
    }
    return capture.bytes();
}

/// A store that has read everything.
inline std::shared_ptr<FrameStore> readStore(const std::filesystem::path& path)
{
    auto store = std::make_shared<FrameStore>(QString::fromStdString(path.string()));
    EXPECT_TRUE(eventually([&] { return store->isComplete() && store->followed() == store->count(); }));
    return store;
}

} // namespace netrondo::test
