// The traffic of the benchmarks: the same frames for the same profile and seed, on any machine.
//
// Connections open, carry data both ways with acknowledgements, lose a segment now and then, and close; beside them run
// DNS queries. Frames of all connections are shuffled together, as a busy link shows them.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace netrondo {

/// SplitMix64: small, fast, and the same everywhere, which the library's distributions are not.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) { }
    std::uint64_t next()
    {
        auto word = state_ += 0x9e3779b97f4a7c15;
        word = (word ^ word >> 30) * 0xbf58476d1ce4e5b9;
        word = (word ^ word >> 27) * 0x94d049bb133111eb;
        return word ^ word >> 31;
    }
    std::uint32_t below(std::uint32_t bound) { return static_cast<std::uint32_t>((next() >> 32) * bound >> 32); }
    bool oneIn(std::uint32_t chances) { return below(chances) == 0; }

private:
    std::uint64_t state_;
};

struct Profile {
    std::string_view name, what;
    std::uint64_t frames;
    std::uint32_t hosts;
    std::uint32_t connections;  ///< alive at any time; each that ends makes room for a new one
    std::uint32_t segmentsEach; ///< data segments until a connection closes, 0 for never
    std::uint32_t leastPayload, mostPayload;
    std::uint32_t dnsShare;  ///< one frame in so many is DNS, 0 for none
    std::uint32_t ipv6Share; ///< one connection in so many runs over IPv6, 0 for none
};

inline constexpr Profile profiles[] = {
    {"bulk", "few connections, full segments", 1'000'000, 100, 200, 0, 1448, 1448, 0, 0},
    {"mixed", "an office: pages, names, downloads", 1'250'000, 2'000, 4'000, 14, 60, 1200, 25, 6},
    {"small", "many hosts, hardly any payload", 5'000'000, 20'000, 60'000, 4, 0, 40, 10, 8},
    {"steady", "the same hosts for hours, a new connection every 100,000 frames", 1'000'000, 100, 200, 65'000, 20, 500,
     0, 8},
};

/// Null for a name that none has.
inline const Profile* profileNamed(std::string_view name)
{
    const auto* const found = std::ranges::find(profiles, name, &Profile::name);
    return found == std::end(profiles) ? nullptr : found;
}

inline constexpr std::uint16_t services[] = {443, 443, 443, 80, 22, 445, 25, 993, 3306, 5432, 8080, 1883, 5201};

/// One direction's numbers and what is still to be done.
struct Connection {
    std::uint32_t client, server;
    std::uint16_t clientPort, serverPort;
    std::uint32_t seq[2]; ///< of the client, of the server
    std::uint32_t left;   ///< data segments
    std::uint8_t step;    ///< 0 SYN, 1 SYN+ACK, 2 ACK, 3 data, 4 acknowledgement, 5 FIN, 6 its answer
    bool ipv6;
};

/// Fields in network order, one after the other.
class Frame {
public:
    void clear() { size_ = 0; }
    void u8(unsigned value) { bytes_[size_++] = static_cast<std::uint8_t>(value); }
    void u16(unsigned value)
    {
        u8(value >> 8);
        u8(value);
    }
    void u32(std::uint32_t value)
    {
        u16(value >> 16);
        u16(value & 0xffff);
    }
    void random(Random& random, std::size_t count)
    {
        for (std::size_t at = 0; at < count; at += 8) {
            const auto word = random.next();
            std::memcpy(bytes_.data() + size_ + at, &word, 8);
        }
        size_ += count;
    }
    const std::uint8_t* data() const { return bytes_.data(); }
    std::size_t size() const { return size_; }

private:
    std::array<std::uint8_t, 2048> bytes_{};
    std::size_t size_ = 0;
};

class Generator {
public:
    /// Takes a frame and when it was sent, microseconds after the first one; false ends it.
    using Receiver = std::function<bool(std::span<const std::uint8_t> frame, std::uint64_t microseconds)>;

    Generator(const Profile& profile, std::uint64_t seed) : profile_(profile), random_(seed)
    {
        connections_.resize(profile_.connections);
        for (auto& connection : connections_)
            open(connection);
    }

    /// Gives so many frames, or a few more, to the receiver; whether it took them all.
    bool run(std::uint64_t frames, Receiver receiver)
    {
        receiver_ = std::move(receiver);
        for (given_ = 0; given_ < frames && isTaken_;) {
            if (profile_.dnsShare && random_.oneIn(profile_.dnsShare))
                nameQuery();
            else
                advance(connections_[random_.below(profile_.connections)]);
        }
        return isTaken_;
    }

private:
    void open(Connection& connection)
    {
        // A tenth of the hosts serve the others.
        const auto servers = std::max(1u, profile_.hosts / 10);
        connection.server = random_.below(servers);
        connection.client = servers + random_.below(profile_.hosts - servers);
        connection.clientPort = static_cast<std::uint16_t>(32'768 + random_.below(28'000));
        connection.serverPort = services[random_.below(std::size(services))];
        for (auto& seq : connection.seq)
            seq = static_cast<std::uint32_t>(random_.next());
        connection.left = profile_.segmentsEach ? 1 + random_.below(profile_.segmentsEach * 2) : UINT32_MAX;
        connection.step = 0;
        connection.ipv6 = profile_.ipv6Share && random_.oneIn(profile_.ipv6Share);
    }

    void advance(Connection& connection)
    {
        constexpr unsigned fin = 1, syn = 2, psh = 8, ack = 16;
        switch (connection.step) {
        case 0: segment(connection, 0, syn, 0); break;
        case 1: segment(connection, 1, syn | ack, 0); break;
        case 2: segment(connection, 0, ack, 0); break;
        case 3: return exchange(connection, psh | ack);
        case 4: segment(connection, 1, fin | ack, 0); break;
        case 5: segment(connection, 0, fin | ack, 0); return open(connection);
        }
        ++connection.step;
    }

    /// Two segments from the server and the client's acknowledgement; one segment in 500 is sent twice.
    void exchange(Connection& connection, unsigned flags)
    {
        constexpr unsigned ack = 16;
        for (int i = 0; i < 2; ++i) {
            const auto size = profile_.leastPayload + random_.below(profile_.mostPayload - profile_.leastPayload + 1);
            const auto before = connection.seq[1];
            segment(connection, 1, flags, size);
            if (size > 0 && random_.oneIn(500)) {
                connection.seq[1] = before;
                segment(connection, 1, flags, size);
            }
        }
        segment(connection, 0, ack, 0);
        if (connection.left <= 2)
            ++connection.step;
        else if (profile_.segmentsEach)
            connection.left -= 2;
    }

    void segment(Connection& connection, int sender, unsigned flags, std::uint32_t payload)
    {
        constexpr unsigned fin = 1, syn = 2;
        const auto source = sender == 0 ? connection.client : connection.server;
        const auto destination = sender == 0 ? connection.server : connection.client;
        const auto options = flags & syn ? 4u : 0u;
        headers(source, destination, connection.ipv6, 6, 20 + options + payload);
        frame_.u16(sender == 0 ? connection.clientPort : connection.serverPort);
        frame_.u16(sender == 0 ? connection.serverPort : connection.clientPort);
        frame_.u32(connection.seq[sender]);
        frame_.u32(flags == syn ? 0 : connection.seq[1 - sender]);
        frame_.u8((20 + options) / 4 << 4);
        frame_.u8(flags);
        frame_.u16(64'240);
        frame_.u32(0); // checksum, urgent pointer
        if (options)
            frame_.u32(0x020405b4); // MSS 1460
        frame_.random(random_, payload);
        connection.seq[sender] += payload + (flags & syn ? 1 : 0) + (flags & fin ? 1 : 0);
        write();
    }

    void nameQuery()
    {
        const auto client = random_.below(profile_.hosts);
        const auto port = 32'768 + random_.below(28'000);
        const auto server = client == 0 ? 1u : 0u;
        for (const bool answer : {false, true}) {
            headers(answer ? server : client, answer ? client : server, false, 17, 8 + 12 + 17);
            frame_.u16(answer ? 53 : port);
            frame_.u16(answer ? port : 53);
            frame_.u16(8 + 12 + 17);
            frame_.u16(0);
            frame_.u16(random_.below(65'536));
            frame_.u16(answer ? 0x8183 : 0x0100); // no such name, or recursion desired
            frame_.u16(1);
            frame_.u16(0);
            frame_.u32(0);
            frame_.u8(6);
            for (int i = 0; i < 6; ++i)
                frame_.u8('a' + random_.below(26));
            frame_.u8(4);
            frame_.u32(0x74657374); // "test"
            frame_.u8(0);
            frame_.u16(1);
            frame_.u16(1);
            write();
        }
    }

    /// Ethernet and IP for a transport of so many bytes, headers included.
    void headers(std::uint32_t source, std::uint32_t destination, bool ipv6, unsigned protocol, std::uint32_t length)
    {
        frame_.clear();
        for (const auto host : {destination, source}) {
            frame_.u16(0x0200);
            frame_.u32(host);
        }
        frame_.u16(ipv6 ? 0x86dd : 0x0800);
        if (ipv6) {
            frame_.u32(0x60000000);
            frame_.u16(length);
            frame_.u8(protocol);
            frame_.u8(64);
            for (const auto host : {source, destination}) {
                frame_.u32(0x20010db8);
                frame_.u32(0);
                frame_.u32(0);
                frame_.u32(host);
            }
            return;
        }
        frame_.u16(0x4500);
        frame_.u16(20 + length);
        frame_.u16(identification_++ & 0xffff);
        frame_.u16(0x4000);
        frame_.u8(64);
        frame_.u8(protocol);
        frame_.u16(0);
        for (const auto host : {source, destination})
            frame_.u32(0x0a000000 + host);
    }

    void write()
    {
        microseconds_ += random_.below(60);
        isTaken_ = isTaken_ && receiver_({frame_.data(), frame_.size()}, microseconds_);
        ++given_;
    }

    const Profile& profile_;
    Random random_;
    std::vector<Connection> connections_;
    Frame frame_;
    Receiver receiver_;
    bool isTaken_ = true;
    std::uint64_t given_ = 0;
    std::uint64_t microseconds_ = 0;
    std::uint32_t identification_ = 0;
};

} // namespace netrondo
