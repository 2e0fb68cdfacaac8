// What goes wrong in the network layer: IP headers, fragments, ICMP, neighbour discovery, and how routers get along.
#pragma once

#include "Analysis/Expert/BoundedTable.h"
#include "Analysis/Expert/CopyScan.h"
#include "Analysis/Expert/FrameSight.h"

#include <array>
#include <cstdint>
#include <vector>

namespace netrondo {

class ConversationTable;

class IpScan {
public:
    explicit IpScan(const ExpertPreferences& preferences) : preferences_(preferences) { }

    void scan(const FrameSight& sight, CopyScan::Copy copy, FindingLog& log);
    void finish(FindingLog& log, double end) const;

    /// After the scan of TCP: what ICMP has said against it, and which closed ports have answered at other times.
    void finishTransport(const ConversationTable& table, FindingLog& log) const;
    /// What was left out, in words.
    void tellCutOff(std::vector<std::string>& lines) const;

    /// Whether an ICMP message has said that this host or its port cannot be reached.
    bool isUnreachable(const Address& host) const { return unreachable_.find(host) != nullptr; }

private:
    using Copy = CopyScan::Copy;

    struct Echo {
        Address from, to;
        std::uint32_t number = 0; ///< identifier and sequence number
        Sighting at;
        bool isPending = false;
    };
    /// The pings of one host to another.
    struct Pings {
        std::uint32_t sent = 0;
        std::uint32_t since = 0; ///< sent since the last answer
        double sinceTime = 0;    ///< when the first of them was
        double latest = 0;
        std::uint32_t mostInARow = 0; ///< that got no answer in time
    };
    /// One datagram in pieces.
    struct Datagram {
        Address from, to;
        std::uint32_t identification = 0;
        struct Piece {
            std::uint32_t offset = 0, length = 0;
            std::uint64_t digest = 0;
        };
        std::array<Piece, 8> pieces{};
        std::uint32_t count = 0, bytes = 0, total = 0;
        Sighting at;
        bool overlaps = false;
        bool isPending = false;
    };
    struct Router {
        std::uint64_t segment = 0; ///< interface and VLAN
        std::uint8_t protocol = 0;
        Address address;
        std::uint64_t settings[3] = {0, 0, 0};
        Sighting at;
        std::uint32_t id = 0;                       ///< of the router, where its hellos list whom they heard
        std::array<std::uint32_t, 16> neighbours{}; ///< of the hello before
        std::uint8_t neighbourCount = 0;
    };
    struct Group {
        std::uint64_t id = 0; ///< protocol, group and interface
        Address master;
        double lastMaster = 0; ///< when it spoke last
        Address before;        ///< the master until then
        double lastBefore = -1e300;
        Subject subject;         ///< of the group's finding
        std::uint32_t turns = 0; ///< how often in a row one spoke while the other one did
    };
    struct Advertiser {
        std::uint64_t segment = 0;
        Address address;
        std::uint64_t prefixes = 0; ///< a digest
        std::uint8_t flags = 0;
        std::uint16_t lifetime = 0;
        std::uint32_t toggles = 0; ///< how often it began or ceased to be a default router
        Sighting at;
    };

    void scanHeader(const FrameSight& sight, Copy copy, FindingLog& log);
    void scanTtl(const FrameSight& sight, Copy copy, FindingLog& log);
    void scanFragment(const FrameSight& sight, FindingLog& log);
    void scanIcmp(const FrameSight& sight, FindingLog& log);
    void scanIcmpError(Bytes message, bool isIpv6, const FrameSight& sight, FindingLog& log);
    void scanEcho(Bytes message, bool isRequest, const FrameSight& sight, FindingLog& log);
    void scanNeighbourDiscovery(Bytes message, const FrameSight& sight, FindingLog& log);
    void scanRouterAdvertisement(Bytes message, const FrameSight& sight, FindingLog& log);
    void scanOspf(Bytes packet, const FrameSight& sight, FindingLog& log);
    void scanEigrp(Bytes packet, const FrameSight& sight, FindingLog& log);
    /// A master speaks, and says that it does so every so many seconds.
    void scanRedundancy(std::uint64_t group, const char* protocol, double interval, const FrameSight& sight,
                        FindingLog& log);
    void scanHsrp(Bytes message, const FrameSight& sight, FindingLog& log);
    void scanVrrp(Bytes message, const FrameSight& sight, FindingLog& log);
    void compareNeighbours(Router& router, Bytes packet, const Sighting& at, FindingLog& log);
    /// Gives the router's entry; nothing where there are too many.
    Router* compareRouters(const Router& router, const char* const (&names)[3], FindingLog& log);
    /// The question is answered, if it is one that waits.
    void settle(const Address& from, const Address& to, std::uint32_t number);
    static bool isOverdue(const Echo& echo, double now, double patience);
    void reportLost(const Echo& echo, FindingLog& log) const;
    static void reportDatagram(const Datagram& datagram, double end, FindingLog& log);

    const ExpertPreferences& preferences_;
    std::uint64_t packets_ = 0;
    std::uint64_t headersV4_ = 0, wrongHeaders_ = 0;
    std::array<Echo, 512> echoes_{};
    std::array<Datagram, 128> datagrams_{};
    BoundedTable<Address, std::uint32_t> tracers_{4096}; ///< low first TTLs of senders, as bits
    BoundedTable<Address, std::uint8_t> unreachable_{4096};
    BoundedTable<Subject, double> tooBig_{4096}; ///< when a router last said so of packets from one host to another
    BoundedTable<Subject, Pings> pings_{4096};
    std::uint64_t displaced_ = 0; ///< questions that a newer one has pushed out before their time
    struct Probe {
        Address target;
        Sighting at;
        std::uint64_t mac = 0;
    };
    std::array<Probe, 32> probes_{}; ///< IPv6 addresses that are being checked
    std::size_t nextProbe_ = 0;
    std::vector<Router> routers_;
    std::vector<Group> groups_;
    std::vector<Advertiser> advertisers_;
};

} // namespace netrondo
