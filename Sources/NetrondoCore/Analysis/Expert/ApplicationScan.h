// What goes wrong in applications, as far as single segments and datagrams tell: names, addresses, pages, sessions.
#pragma once

#include "Analysis/Expert/ArpScan.h"
#include "Analysis/Expert/BoundedTable.h"
#include "Analysis/Expert/FrameSight.h"
#include "Analysis/Expert/TcpScan.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace netrondo {

class ApplicationScan {
public:
    explicit ApplicationScan(const ExpertPreferences& preferences) : preferences_(preferences) { }

    /// A datagram that has not been seen elsewhere; the first fragment or the whole of it.
    void scanDatagram(const FrameSight& sight, ArpScan& arp, FindingLog& log);
    /// A TCP segment with payload.
    void scanSegment(const SegmentSight& sight, double captureTime, FindingLog& log);
    void finish(FindingLog& log, double end) const;
    /// What was left out, in words.
    void tellCutOff(std::vector<std::string>& lines) const;

private:
    struct Query {
        Address client, server;
        std::uint16_t id = 0;
        std::uint64_t question = 0; ///< a digest of name and type
        Sighting at;
        bool isPending = false;
    };
    /// An answer that tells of a failure. A forwarder passes it on to whoever asked it: that is the same failure.
    struct Failure {
        std::uint64_t question = 0;
        Subject subject; ///< it is counted under
        Address asker;   ///< the same client behind an address translation
        std::uint16_t id = 0;
        std::uint8_t code = 0;
        Sighting at;
    };
    /// How long a name server takes: answers by time, four steps to the doubling, in microseconds.
    struct Delays {
        std::array<std::uint32_t, 128> steps{};
    };
    /// A TLS handshake of one direction whose messages are not whole yet.
    struct Flight {
        std::uint64_t key = 0; ///< connection and direction
        bool isPending = false;
        std::uint32_t nextSeq = 0;
        std::uint32_t messages = 0; ///< read so far
        std::vector<std::uint8_t> bytes;
    };
    /// The server name that a client asked for.
    struct AskedName {
        std::uint32_t connection = 0;
        std::string name;
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
    bool isToldAlready(const Failure& failure, FindingLog& log);
    void reportUnanswered(const Query& query, double now, FindingLog& log) const;
    void scanDhcp(Bytes message, const FrameSight& sight, ArpScan& arp, FindingLog& log);
    void scanHttp(const Talk& talk);
    Flight& flight(const Talk& talk);
    static std::uint64_t flightKey(const Talk& talk);
    bool isUnderWay(const Talk& talk);
    void reportTruncated(const Query& query, double now, FindingLog& log) const;
    void scanTls(const Talk& talk, double captureTime);
    void scanAlerts(const Talk& talk);
    bool readMessages(Bytes bytes, std::uint32_t& messages, const Talk& talk, double captureTime);
    void scanClientHello(Bytes message, const Talk& talk);
    void scanServerHello(Bytes message, const Talk& talk);
    void scanCertificate(Bytes certificate, const Talk& talk, double captureTime);
    void reportWeak(const Talk& talk, std::string_view what);
    AskedName& askedName(std::uint32_t connection) { return askedNames_[connection % askedNames_.size()]; }
    void scanLogin(const Talk& talk);
    void scanRefusal(const Talk& talk);
    Request& request(std::uint32_t connection) { return requests_[connection % requests_.size()]; }

    const ExpertPreferences& preferences_;
    std::array<Query, 512> queries_{};
    std::array<Query, 64> truncated_{};  ///< answers that did not fit, to be asked for again over TCP
    std::array<Failure, 64> failures_{}; ///< by question
    BoundedTable<Address, Delays> delays_{1024};
    std::array<Request, 512> requests_{};
    std::array<Flight, 64> flights_{};
    std::uint32_t pendingFlights_ = 0;
    std::array<AskedName, 256> askedNames_{};
    std::vector<std::uint8_t> messages_; ///< of the handshake that is being read
    std::uint64_t displaced_ = 0;        ///< questions and handshakes that a newer one has pushed out
    BoundedTable<Address, Lease> leases_{4096};
    std::vector<Offerer> offerers_;
    std::uint64_t names_ = 0, unknownNames_ = 0;
};

} // namespace netrondo
