// Namespaces by unshare(2), interfaces by the tool ip, frames by a packet socket.
#include "Support/Network.h"

#include "Support/Programs.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <net/if.h>
#include <netpacket/packet.h>
#include <sched.h>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace netrondo::test {
namespace {
constexpr auto thisNamespace = "/proc/thread-self/ns/net";

void check(bool fine, const std::string& what)
{
    if (!fine)
        throw std::system_error(errno, std::generic_category(), what);
}

void ip(const std::string& words)
{
    const auto command = "ip " + words + " > /dev/null 2>&1";
    if (std::system(command.c_str()) != 0)
        throw std::runtime_error(command);
}
} // namespace

std::string whyNoNetwork()
{
    static const std::string reason = []() -> std::string {
        if (!isInstalled("ip"))
            return "the tool ip (package iproute2) is not installed";
        try {
            const Cable cable;
        } catch (const std::exception& error) {
            return std::string("network namespaces and interfaces cannot be made here: ") + error.what();
        }
        return {};
    }();
    return reason;
}

Cable::Cable()
{
    outside_ = ::open(thisNamespace, O_RDONLY | O_CLOEXEC);
    check(outside_ >= 0, thisNamespace);
    check(::unshare(CLONE_NEWNET) == 0, "unshare");
    try {
        // Without IPv6 there is nothing but our own frames on the cable; where this cannot be written, some more come.
        std::ofstream("/proc/sys/net/ipv6/conf/default/disable_ipv6") << "1\n";
        ip(std::string("link add ") + near + " type veth peer name " + far);
        for (const auto* end : {near, far})
            ip(std::string("link set ") + end + " up");
        ip("link set lo up");
        socket_ = ::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0);
        check(socket_ >= 0, "packet socket");
        index_ = static_cast<int>(::if_nametoindex(near));
    } catch (...) {
        ::setns(outside_, CLONE_NEWNET);
        ::close(outside_);
        throw;
    }
}

Cable::~Cable()
{
    ::close(socket_);
    ::setns(outside_, CLONE_NEWNET);
    ::close(outside_);
}

void Cable::send(Bytes frame, int count, std::chrono::microseconds pause) const
{
    sockaddr_ll to{};
    to.sll_family = AF_PACKET;
    to.sll_ifindex = index_;
    to.sll_halen = 6;
    for (int i = 0; i < count; ++i) {
        if (pause.count() > 0)
            std::this_thread::sleep_for(pause);
        while (::sendto(socket_, frame.data(), frame.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to) < 0)
            check(errno == ENOBUFS || errno == EINTR, "send");
    }
}

void Cable::takeDown() const
{
    ip(std::string("link set ") + far + " down");
}

void Cable::remove() const
{
    ip(std::string("link delete ") + near);
}

} // namespace netrondo::test
