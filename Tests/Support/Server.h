// A server on this machine that serves one client after the other what a test tells it to.
#pragma once

#include "Base/Bytes.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace netrondo::test {

class Server {
public:
    explicit Server(int family = AF_INET) : socket_(::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in ipv4{};
        ipv4.sin_family = AF_INET;
        ipv4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        sockaddr_in6 ipv6{};
        ipv6.sin6_family = AF_INET6;
        ipv6.sin6_addr = in6addr_loopback;
        const bool isIpv4 = family == AF_INET;
        const auto* address =
            isIpv4 ? reinterpret_cast<const sockaddr*>(&ipv4) : reinterpret_cast<const sockaddr*>(&ipv6);
        socklen_t size = isIpv4 ? sizeof ipv4 : sizeof ipv6;
        if (socket_ < 0 || ::bind(socket_, address, size) < 0 || ::listen(socket_, 5) < 0)
            throw std::system_error(errno, std::generic_category(), "no server on this machine");
        sockaddr_storage bound{};
        size = sizeof bound;
        ::getsockname(socket_, reinterpret_cast<sockaddr*>(&bound), &size);
        // The port lies at the same place in both kinds of address.
        port_ = ntohs(reinterpret_cast<const sockaddr_in*>(&bound)->sin_port);
    }
    ~Server()
    {
        hangUp();
        if (socket_ >= 0)
            ::close(socket_);
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    std::uint16_t port() const { return port_; }

    /// Waits for the next client.
    void accept()
    {
        hangUp();
        client_ = ::accept4(socket_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client_ < 0)
            throw std::runtime_error("no client");
    }
    /// False once the client is gone.
    bool send(Bytes bytes) const
    {
        while (!bytes.empty()) {
            const auto sent = ::send(client_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent < 0)
                return false;
            bytes = bytes.subspan(static_cast<std::size_t>(sent));
        }
        return true;
    }
    /// As much as is taken without waiting.
    std::size_t sendWhatIsTaken(Bytes bytes) const
    {
        const auto sent = ::send(client_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        return sent < 0 ? 0 : static_cast<std::size_t>(sent);
    }
    void hangUp()
    {
        if (client_ >= 0)
            ::close(std::exchange(client_, -1));
    }
    /// Ends the connection as a program that crashed does.
    void reset()
    {
        const linger now{1, 0};
        ::setsockopt(client_, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        hangUp();
    }
    /// Nobody listens from now on.
    void close() { ::close(std::exchange(socket_, -1)); }

private:
    int socket_;
    int client_ = -1;
    std::uint16_t port_ = 0;
};

} // namespace netrondo::test
