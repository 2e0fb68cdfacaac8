// Boost.Asio finds and reaches the server; from then on the connection is a descriptor that a stream reads.
#include "Capture/PcapOverIp.h"

#include <algorithm>
#include <array>
#include <boost/asio.hpp>
#include <charconv>
#include <fmt/format.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

namespace netrondo {
namespace {
namespace asio = boost::asio;
using tcp = asio::ip::tcp;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds attention{50}; ///< how soon a stop shows while a connection is made

/// So that a peer that vanished without a word is found within minutes.
void keepAlive(int socket)
{
    const auto set = [&](int level, int name, int value) { ::setsockopt(socket, level, name, &value, sizeof value); };
    set(SOL_SOCKET, SO_KEEPALIVE, 1);
    set(IPPROTO_TCP, TCP_KEEPIDLE, 30);
    set(IPPROTO_TCP, TCP_KEEPINTVL, 10);
    set(IPPROTO_TCP, TCP_KEEPCNT, 6);
}
} // namespace

std::optional<CaptureServer> CaptureServer::parse(std::string_view text)
{
    CaptureServer server;
    std::string_view port;
    if (text.starts_with('[')) {
        const auto end = text.find(']');
        if (end == text.npos)
            return std::nullopt;
        server.host = text.substr(1, end - 1);
        text.remove_prefix(end + 1);
        if (!text.empty() && !text.starts_with(':'))
            return std::nullopt;
        port = text;
    } else if (std::ranges::count(text, ':') > 1) {
        server.host = text; // an IPv6 address, without a port as it has no brackets
    } else {
        const auto colon = std::min(text.find(':'), text.size());
        server.host = text.substr(0, colon);
        port = text.substr(colon);
    }
    if (server.host.empty())
        return std::nullopt;
    if (port.empty())
        return server;
    port.remove_prefix(1);
    const auto* const end = port.data() + port.size();
    const auto read = std::from_chars(port.data(), end, server.port);
    return read.ec == std::errc() && read.ptr == end && server.port > 0 ? std::optional(server) : std::nullopt;
}

std::string CaptureServer::text() const
{
    const bool isIpv6 = host.find(':') != host.npos;
    return isIpv6 ? fmt::format("[{}]:{}", host, port) : fmt::format("{}:{}", host, port);
}

/// One attempt to reach the server, at each of its addresses in turn.
class PcapOverIp::Attempt {
public:
    Attempt(const CaptureServer& server, milliseconds timeout)
    {
        timer_.expires_after(timeout);
        timer_.async_wait([this](const boost::system::error_code& error) {
            if (!error && !result_)
                finish(asio::error::timed_out);
        });
        resolver_.async_resolve(
            server.host, std::to_string(server.port),
            [this](const boost::system::error_code& error, const tcp::resolver::results_type& found) {
                if (result_)
                    return;
                if (error)
                    return finish(error);
                asio::async_connect(socket_, found,
                                    [this](const boost::system::error_code& last, const tcp::endpoint&) {
                                        if (!result_)
                                            finish(last);
                                    });
            });
    }

    /// Works on it for so long; the result once there is one.
    const std::optional<boost::system::error_code>& run(milliseconds patience)
    {
        if (!result_)
            io_.run_for(patience);
        return result_;
    }
    /// The connection's descriptor, the caller's from now on.
    int release() { return socket_.release(); }

private:
    void finish(const boost::system::error_code& error)
    {
        result_ = error;
        timer_.cancel();
        resolver_.cancel();
        if (error)
            socket_.close();
        io_.stop();
    }

    asio::io_context io_;
    tcp::resolver resolver_{io_};
    tcp::socket socket_{io_};
    asio::steady_timer timer_{io_};
    std::optional<boost::system::error_code> result_;
};

PcapOverIp::PcapOverIp(Options options) : options_(std::move(options)), wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{ }

PcapOverIp::~PcapOverIp()
{
    ::close(wake_);
}

void PcapOverIp::stop()
{
    stopping_ = true;
    const std::uint64_t once = 1;
    static_cast<void>(::write(wake_, &once, sizeof once));
}

CaptureResult<std::size_t> PcapOverIp::nextBatch(std::span<CaptureFrame> frames, milliseconds patience)
{
    if (stopping_)
        state_ = State::ended;
    switch (state_) {
    case State::ended: return 0;
    case State::idle: beginAttempt(); [[fallthrough]];
    case State::connecting:
        if (const auto done = connect(patience); !done)
            return std::unexpected(done.error());
        return 0;
    case State::pausing: {
        const auto left = std::chrono::ceil<milliseconds>(std::max(resume_ - Clock::now(), {}));
        waitFor(-1, std::min(left, patience));
        if (Clock::now() >= resume_ && !stopping_)
            beginAttempt();
        return 0;
    }
    case State::connected: break;
    }
    const auto count = receive(frames, patience);
    if (!count) {
        const auto text = count.error().errorDescription();
        const auto done = failed(fmt::format("The stream from {} failed: {}{} Connecting again may help.",
                                             options_.server.text(), text, text.ends_with('.') ? "" : "."));
        return done ? CaptureResult<std::size_t>(0) : std::unexpected(done.error());
    }
    received_ += *count;
    if (*count > 0 || !stream_->hasEnded())
        return count;
    if (stream_->isCut()) {
        const auto done = failed(fmt::format(
            "{} closed the connection in the middle of a frame; those before it are kept. Connecting again may help.",
            options_.server.text()));
        return done ? CaptureResult<std::size_t>(0) : std::unexpected(done.error());
    }
    if (options_.reconnect)
        static_cast<void>(failed(fmt::format("{} closed the connection.", options_.server.text())));
    else
        state_ = State::ended;
    return 0;
}

void PcapOverIp::beginAttempt()
{
    stream_.reset();
    attempt_ = std::make_unique<Attempt>(options_.server, options_.connectTimeout);
    state_ = State::connecting;
}

CaptureResult<void> PcapOverIp::connect(milliseconds patience)
{
    const auto deadline = Clock::now() + patience;
    std::optional<boost::system::error_code> result;
    do
        result = attempt_->run(attention);
    while (!result && !stopping_ && Clock::now() < deadline);
    if (!result)
        return {};
    if (!*result) {
        const int socket = attempt_->release();
        keepAlive(socket);
        stream_.emplace(socket);
        ++connections_;
        state_ = State::connected;
    }
    attempt_.reset();
    if (state_ == State::connected)
        return {};
    return failed(fmt::format("No connection to {}: {}. Something must listen there, as in: tcpdump -U -w - | nc -l {}",
                              options_.server.text(), result->message(), options_.server.port));
}

CaptureResult<std::size_t> PcapOverIp::receive(std::span<CaptureFrame> frames, milliseconds patience)
{
    auto count = stream_->nextBatch(frames);
    if (!count || *count > 0 || stream_->hasEnded())
        return count;
    waitFor(stream_->descriptor(), patience);
    return stream_->nextBatch(frames);
}

/// Until the descriptor, if any, is readable, or somebody calls `stop`.
void PcapOverIp::waitFor(int descriptor, milliseconds patience) const
{
    std::array<pollfd, 2> waiting = {pollfd{descriptor, POLLIN, 0}, pollfd{wake_, POLLIN, 0}};
    ::poll(waiting.data(), waiting.size(), static_cast<int>(patience.count()));
}

/// The end, or a pause before the next attempt.
CaptureResult<void> PcapOverIp::failed(std::string sentence)
{
    if (!options_.reconnect) {
        state_ = State::ended;
        return std::unexpected(CaptureError::saying(std::move(sentence)));
    }
    lastFailure_ = std::move(sentence);
    resume_ = Clock::now() + options_.reconnectPause;
    state_ = State::pausing;
    return {};
}

} // namespace netrondo
