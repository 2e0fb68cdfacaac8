// PCAP over IP: a capture that another program sends over TCP. There is no protocol beyond it: the bytes are those of a
// pcap (or pcapng) file, as frames happen, and the reader sends nothing.
#pragma once

#include "Capture/CaptureStream.h"
#include "Capture/LiveSource.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace netrondo {

/// Where a capture is served.
struct CaptureServer {
    static constexpr std::uint16_t usualPort = 57'012;

    std::string host; ///< a name or an address, IPv6 without brackets
    std::uint16_t port = usualPort;

    /// Reads "HOST", "HOST:PORT", "[IPv6]:PORT" and a bare IPv6 address; nothing for other text.
    static std::optional<CaptureServer> parse(std::string_view text);
    std::string text() const; ///< the form that `parse` reads, with the port

    friend bool operator==(const CaptureServer&, const CaptureServer&) = default;
};

/// Takes the stream only as fast as its frames are asked for: TCP holds the sender back meanwhile. Silence is no fault,
/// as a quiet network has nothing to send for hours; a peer that is gone is found by TCP's keep-alive.
class PcapOverIp final : public LiveSource {
public:
    struct Options {
        CaptureServer server;
        bool reconnect = false; ///< after a failure or the peer's end, again and again
        std::chrono::milliseconds connectTimeout{10'000};
        std::chrono::milliseconds reconnectPause{5'000};
    };

    /// Nothing happens before the first `nextBatch`.
    explicit PcapOverIp(Options options);
    /// May wait for a name that is being looked up.
    ~PcapOverIp() override;

    CaptureResult<std::size_t> nextBatch(std::span<CaptureFrame> frames, std::chrono::milliseconds patience) override;
    bool hasEnded() const override { return state_ == State::ended; }
    const CaptureReading* reading() const override { return stream_ ? stream_->reading() : nullptr; }
    CaptureCounts counts() const override { return {received_, 0, 0}; }
    std::string trouble() const override { return reading() ? std::string() : lastFailure_; }
    void stop() override;

    bool isConnected() const { return state_ == State::connected; }
    /// How often a connection was made, and the sentence of the last failure that a new attempt followed.
    std::uint64_t connections() const { return connections_; }
    const std::string& lastFailure() const { return lastFailure_; }

private:
    enum class State { idle, connecting, connected, pausing, ended };
    class Attempt;

    void beginAttempt();
    CaptureResult<void> connect(std::chrono::milliseconds patience);
    CaptureResult<std::size_t> receive(std::span<CaptureFrame> frames, std::chrono::milliseconds patience);
    void waitFor(int descriptor, std::chrono::milliseconds patience) const;
    CaptureResult<void> failed(std::string sentence);

    Options options_;
    State state_ = State::idle;
    std::unique_ptr<Attempt> attempt_;
    std::optional<CaptureStream> stream_;
    std::chrono::steady_clock::time_point resume_; ///< of the pause
    std::uint64_t received_ = 0;
    std::uint64_t connections_ = 0;
    std::string lastFailure_;
    std::atomic<bool> stopping_ = false;
    int wake_; ///< readable once `stop` was called
};

} // namespace netrondo
