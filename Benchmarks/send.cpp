// Sends the traffic of the benchmarks over an interface at a steady rate, as root, and says how much it sent.
#include "Generator.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fmt/format.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace netrondo {
namespace {

using Clock = std::chrono::steady_clock;

/// Collects frames and gives them to the kernel in one go, whose calls cost more than a frame.
class Sender {
public:
    Sender(int socket, double rate) : socket_(socket), rate_(rate)
    {
        for (std::size_t i = 0; i < burst; ++i) {
            pieces_[i].iov_base = frames_[i].data();
            messages_[i].msg_hdr.msg_iov = &pieces_[i];
            messages_[i].msg_hdr.msg_iovlen = 1;
        }
    }

    bool take(std::span<const std::uint8_t> frame)
    {
        std::ranges::copy(frame, frames_[collected_].begin());
        pieces_[collected_].iov_len = frame.size();
        return ++collected_ < burst || flush();
    }
    /// When its turn has come by the rate; a sender that was late catches up.
    bool flush()
    {
        std::this_thread::sleep_until(begin_ + std::chrono::duration<double>(static_cast<double>(sent_) / rate_));
        for (std::size_t done = 0; done < collected_;) {
            const int got = ::sendmmsg(socket_, messages_.data() + done, static_cast<unsigned>(collected_ - done), 0);
            if (got < 0 && errno != EINTR && errno != ENOBUFS)
                return false;
            done += got > 0 ? static_cast<std::size_t>(got) : 0;
        }
        sent_ += collected_;
        collected_ = 0;
        return true;
    }

    std::uint64_t sent() const { return sent_; }
    double seconds() const { return std::chrono::duration<double>(Clock::now() - begin_).count(); }

private:
    static constexpr std::size_t burst = 64; ///< at 100,000 frames a second one every 0.6 ms

    int socket_;
    double rate_;
    std::array<std::array<std::uint8_t, 2048>, burst> frames_{};
    std::array<iovec, burst> pieces_{};
    std::array<mmsghdr, burst> messages_{};
    std::size_t collected_ = 0;
    std::uint64_t sent_ = 0;
    Clock::time_point begin_ = Clock::now();
};

int packetSocket(const char* interface)
{
    sockaddr_ll address = {};
    address.sll_family = AF_PACKET;
    address.sll_ifindex = static_cast<int>(::if_nametoindex(interface));
    // Protocol 0: nothing is to be received here.
    const int descriptor = address.sll_ifindex ? ::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0) : -1;
    if (descriptor < 0 || ::bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
        return -1;
    return descriptor;
}

} // namespace
} // namespace netrondo

int main(int argc, char** argv)
{
    using namespace netrondo;
    const auto* const profile = argc == 5 ? profileNamed(argv[1]) : nullptr;
    const auto seconds = profile ? std::strtod(argv[3], nullptr) : 0,
               rate = profile ? std::strtod(argv[4], nullptr) : 0;
    if (seconds <= 0 || rate <= 0) {
        fmt::print(stderr, "Usage: {} PROFILE INTERFACE SECONDS FRAMES-A-SECOND\n", argv[0]);
        return 2;
    }
    const int socket = packetSocket(argv[2]);
    if (socket < 0) {
        std::perror(argv[2]);
        return 1;
    }
    Sender sender(socket, rate);
    const auto isSent = Generator(*profile, 1)
                            .run(static_cast<std::uint64_t>(seconds * rate),
                                 [&](auto frame, std::uint64_t) { return sender.take(frame); })
        && sender.flush();
    if (!isSent)
        std::perror(argv[2]);
    const auto took = sender.seconds();
    fmt::print("sent {} frames in {:.1f} s, {:.0f} a second\n", sender.sent(), took,
               static_cast<double>(sender.sent()) / took);
    return isSent ? 0 : 1;
}
