// What goes wrong in applications, as far as single segments and datagrams tell: names, addresses, pages, sessions.
#pragma once

#include "Analysis/Expert/ArpScan.h"
#include "Analysis/Expert/BoundedTable.h"
#include "Analysis/Expert/FrameSight.h"
#include "Analysis/Expert/TcpScan.h"

#include <array>
#include <cstdint>

namespace netrondo {

class ApplicationScan {
public:
    explicit ApplicationScan(const ExpertPreferences& preferences) : preferences_(preferences) { }

    /// A datagram that has not been seen elsewhere; the first fragment or the whole of it.
    void scanDatagram(const FrameSight& sight, ArpScan& arp, FindingLog& log);
    /// A TCP segment with payload.
    void scanSegment(const SegmentSight& sight, double captureTime, FindingLog& log);
    void finish(FindingLog& log, double end) const;

private:
    struct Query {
        Address client, server;
        std::uint16_t id = 0;
        std::uint64_t question = 0; ///< a digest of name and type
        Sighting at;
        bool isPending = false;
    };
    struct Request {
        std::uint32_t connection = 0;
        Sighting at;
        bool isPending = false;
        bool isAnonymous = false; ///< an FTP login that everybody has
    };
    struct Lease {
        std::uint32_t unanswered = 0; ///< DHCPDISCOVER since the last offer
        Sighting first;
    };
    /// A DHCP server that offers on a segment.
    struct Offerer {
        std::uint64_t segment = 0;
        std::uint32_t server = 0;
        Sighting at;
    };
    struct Talk {
        const SegmentSight& sight;
        Subject subject; ///< the client, the server, its port
        bool fromServer;
        Bytes payload;
        FindingLog& log;
    };

    void scanDns(Bytes message, const Address& source, const Address& destination, bool isAnswer, const Sighting& at,
                 FindingLog& log);
    void reportUnanswered(const Query& query, double now, FindingLog& log) const;
    void scanDhcp(Bytes message, const FrameSight& sight, ArpScan& arp, FindingLog& log);
    void scanHttp(const Talk& talk);
    void scanTls(const Talk& talk, double captureTime);
    void scanCertificate(Bytes certificate, const Talk& talk, double captureTime);
    void scanLogin(const Talk& talk);
    void scanRefusal(const Talk& talk);
    Request& request(std::uint32_t connection) { return requests_[connection % requests_.size()]; }

    const ExpertPreferences& preferences_;
    std::array<Query, 512> queries_{};
    std::array<Request, 512> requests_{};
    BoundedTable<Address, Lease> leases_{4096};
    std::vector<Offerer> offerers_;
    std::uint64_t names_ = 0, unknownNames_ = 0;
};

} // namespace netrondo
