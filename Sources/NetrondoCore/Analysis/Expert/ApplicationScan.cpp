// DNS (RFC 1035), DHCP (RFC 2131), HTTP (RFC 9112), TLS (RFC 8446, RFC 5246), and the logins of older protocols.
#include "Analysis/Expert/ApplicationScan.h"

#include "Analysis/Expert/Certificate.h"
#include "Analysis/Expert/Der.h"
#include "Base/Units.h"
#include "Dissection/Wire/IpProtocol.h"
#include "Dissection/Wire/TcpHeader.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <bit>
#include <cctype>
#include <cmath>
#include <fmt/format.h>
#include <numeric>

namespace netrondo {
namespace {

constexpr std::uint16_t ftpPort = 21, telnetPort = 23, smtpPort = 25, dnsPort = 53, pop3Port = 110, imapPort = 143,
                        snmpPort = 161, ldapPort = 389, smbPort = 445, submissionPort = 587, radiusPort = 1812,
                        mysqlPort = 3306, postgresPort = 5432, kerberosPort = 88;

/// Adds a word to a list, once.
void enumerate(std::string& list, std::string_view word)
{
    constexpr std::size_t enough = 160;
    if (list.size() < enough && list.find(word) == list.npos)
        list += (list.empty() ? "" : ", ") + std::string(word);
}

bool startsWith(Bytes payload, std::string_view text)
{
    return payload.size() >= text.size()
        && std::equal(text.begin(), text.end(), payload.begin(), [](char wanted, std::uint8_t is) {
               return std::toupper(static_cast<unsigned char>(wanted)) == std::toupper(is);
           });
}

bool contains(Bytes payload, std::string_view text)
{
    constexpr std::size_t searched = 4096;
    return asText(payload.first(std::min(payload.size(), searched))).find(text) != std::string_view::npos;
}

/// A login whose name and password follow in Base64 (RFC 4616); the verb is of the protocol (RFC 3501, 4954, 5034).
bool isPlainLogin(Bytes command, std::string_view verb)
{
    const auto mechanism = slice(command, verb.size());
    return startsWith(command, verb) && (startsWith(mechanism, "PLAIN") || startsWith(mechanism, "LOGIN"));
}

/// Behind the first word and its space.
std::size_t wordEnd(Bytes text)
{
    const auto space = std::find(text.begin(), text.end(), ' ');
    return static_cast<std::size_t>(space - text.begin()) + (space != text.end());
}

/// The question's name for a person, from the start of the name; compression does not occur there.
std::string nameOf(Bytes message, std::size_t at)
{
    std::string name;
    while (at < message.size() && message[at] != 0 && message[at] < 64 && name.size() < 255) {
        const auto label = slice(message, at + 1, message[at]);
        for (const auto c : label)
            name += c >= 0x21 && c < 0x7f ? static_cast<char>(c) : '?';
        at += 1u + message[at];
        name += '.';
    }
    if (!name.empty())
        name.pop_back();
    return name;
}

/// Where the first question ends: behind its name, type and class; 0 when it does not.
std::size_t questionEnd(Bytes message)
{
    std::size_t at = 12;
    while (at < message.size() && message[at] != 0) {
        if (message[at] >= 64)
            return 0;
        at += 1u + message[at];
    }
    return at + 5 <= message.size() ? at + 5 : 0;
}

/// Which step of `Delays` a time falls on, and the time in the middle of a step.
std::size_t stepOf(double milliseconds)
{
    const auto us = static_cast<std::uint64_t>(std::clamp(milliseconds * 1000, 4.0, 1e9));
    const auto width = static_cast<std::size_t>(std::bit_width(us));
    return width * 4 + (us >> (width - 3) & 3);
}
double millisecondsOf(std::size_t step)
{
    return std::ldexp(static_cast<double>(4 + step % 4) + 0.5, static_cast<int>(step / 4) - 3) / 1000;
}

std::uint64_t segmentOf(const FrameSight& sight)
{
    const auto data = sight.data();
    const bool isTagged =
        sight.frame.linkType == LinkType::ethernet && data.size() >= 16 && load::be16(data.data() + 12) == 0x8100;
    return static_cast<std::uint64_t>(sight.frame.interfaceID) << 12
        | (isTagged ? load::be16(data.data() + 14) & 0xfffu : 0u);
}

constexpr const char* tlsVersionText(std::uint16_t version)
{
    switch (version) {
    case 0x0300: return "SSL 3.0";
    case 0x0301: return "TLS 1.0";
    case 0x0302: return "TLS 1.1";
    default: return nullptr;
    }
}

/// Cipher suites without encryption or authentication, or with a broken cipher (IANA's TLS Cipher Suites).
const char* weakCipherText(std::uint16_t suite)
{
    constexpr std::uint16_t none[] = {0x0000, 0x0001, 0x0002, 0x003b, 0xc001, 0xc006, 0xc00b, 0xc010, 0xc015};
    constexpr std::uint16_t rc4[] = {0x0004, 0x0005, 0x0018, 0x0024, 0xc002, 0xc007, 0xc00c, 0xc011, 0xc016};
    constexpr std::uint16_t tripleDes[] = {0x000a, 0x000d, 0x0010, 0x0013, 0x0016, 0x001b,
                                           0xc003, 0xc008, 0xc00d, 0xc012, 0xc017};
    constexpr std::uint16_t exports[] = {0x0003, 0x0006, 0x0008, 0x000b, 0x000e, 0x0011, 0x0014, 0x0017, 0x0019};
    constexpr std::uint16_t anonymous[] = {0x001a, 0x0034, 0x003a, 0x006c, 0x006d, 0x00a6, 0x00a7, 0xc018, 0xc019};
    const auto in = [suite](const auto& list) {
        return std::find(std::begin(list), std::end(list), suite) != std::end(list);
    };
    return in(none)     ? "no encryption"
        : in(rc4)       ? "the cipher RC4"
        : in(tripleDes) ? "the cipher 3DES"
        : in(exports)   ? "an export cipher"
        : in(anonymous) ? "a cipher without authentication"
                        : nullptr;
}

const char* alertText(std::uint8_t description)
{
    switch (description) {
    case 10: return "unexpected message";
    case 20: return "bad record MAC";
    case 40: return "handshake failure";
    case 42: return "bad certificate";
    case 43: return "unsupported certificate";
    case 44: return "certificate revoked";
    case 45: return "certificate expired";
    case 46: return "certificate unknown";
    case 47: return "illegal parameter";
    case 48: return "unknown authority";
    case 49: return "access denied";
    case 50: return "decode error";
    case 51: return "decrypt error";
    case 70: return "protocol version";
    case 71: return "insufficient security";
    case 80: return "internal error";
    case 112: return "unrecognized name";
    case 116: return "certificate required";
    case 120: return "no application protocol";
    default: return "an alert";
    }
}

} // namespace

void ApplicationScan::scanDatagram(const FrameSight& sight, ArpScan& arp, FindingLog& log)
{
    const auto datagram = sight.transport();
    if (datagram.size() < 8)
        return;
    const auto from = load::be16(datagram.data()), to = load::be16(datagram.data() + 2);
    const auto message = datagram.subspan(8);
    if (from == dnsPort || to == dnsPort) {
        scanDns(message, sight.source(), sight.destination(), from == dnsPort, sight.at, log);
    } else if ((from == 67 || from == 68) && (to == 67 || to == 68)) {
        scanDhcp(message, sight, arp, log);
    } else if (to == snmpPort || from == snmpPort) {
        // A sequence, the version, the community (RFC 1157).
        const auto outer = der(message);
        const auto version = outer ? der(outer->content) : std::nullopt;
        const auto community = version && version->tag == 2 ? der(version->rest) : std::nullopt;
        if (!community || community->tag != 4 || version->content.size() != 1 || version->content[0] > 1
            || to != snmpPort)
            return;
        const auto word = asText(community->content);
        if (word != "public" && word != "private")
            return;
        auto& finding = log.record(Finding::appCleartext, {sight.source(), sight.destination(), to}, sight.at);
        finding.measured = static_cast<double>(finding.count);
        enumerate(finding.detail, "a well-known SNMP community");
    } else if (from == radiusPort && !message.empty() && message[0] == 3) {
        auto& finding = log.record(Finding::appRefused, {sight.destination(), sight.source(), from}, sight.at);
        finding.measured = static_cast<double>(finding.count);
        finding.severity = Severity::note;
        enumerate(finding.detail, "RADIUS rejects the access");
    } else if (from == kerberosPort && !message.empty() && message[0] == 0x7e
               && !contains(message, "\xa6\x03\x02\x01\x19")) {
        auto& finding = log.record(Finding::appRefused, {sight.destination(), sight.source(), from}, sight.at);
        finding.measured = static_cast<double>(finding.count);
        enumerate(finding.detail, "a Kerberos error");
    }
}

void ApplicationScan::reportUnanswered(const Query& query, double now, FindingLog& log) const
{
    if (!query.isPending || now - query.at.seconds < preferences_.dnsSeconds)
        return;
    auto& finding = log.record(Finding::dnsNoreply, {query.client, query.server, 0}, query.at);
    finding.measured = std::max(finding.measured, preferences_.dnsSeconds);
    finding.threshold = preferences_.dnsSeconds;
}

void ApplicationScan::reportTruncated(const Query& query, double now, FindingLog& log) const
{
    if (!query.isPending || now - query.at.seconds < preferences_.dnsSeconds)
        return;
    auto& finding = log.record(Finding::dnsRcode, {query.client, query.server, 0}, query.at);
    finding.measured = static_cast<double>(finding.count);
    finding.threshold = preferences_.unknownNamesPercent;
    if (finding.count == 1)
        finding.severity = Severity::note;
    enumerate(finding.detail, "a truncated answer that nobody asks for again over TCP");
}

void ApplicationScan::scanDns(Bytes message, const Address& source, const Address& destination, bool isAnswer,
                              const Sighting& at, FindingLog& log)
{
    if (message.size() < 12 || isAnswer != ((message[2] & 0x80) != 0) || load::be16(message.data() + 4) != 1)
        return;
    const auto end = questionEnd(message);
    if (end == 0)
        return;
    const auto id = load::be16(message.data());
    const auto question = XXH3_64bits(message.data() + 12, end - 12);
    const auto& client = isAnswer ? destination : source;
    const auto& server = isAnswer ? source : destination;
    // By the question, so that one that is repeated under a new number falls on the old one's place.
    auto& slot = queries_[(question + client.low) % queries_.size()];
    const bool isSame = slot.isPending && slot.question == question && slot.client == client;
    if (!isAnswer) {
        if (isSame && at.seconds - slot.at.seconds < 30) {
            const Subject subject{client, server, 0};
            const auto waited = at.seconds - slot.at.seconds;
            if (waited < 0.5) // two programs ask the same at once
                return;
            log.record(Finding::dnsNoreply, subject, slot.at);
            auto& finding = log.record(Finding::dnsNoreply, subject, at);
            finding.measured = std::max(finding.measured, waited);
            finding.threshold = preferences_.dnsSeconds;
            finding.detail = "The question was asked again.";
            return; // the answer counts from the first question on
        }
        reportUnanswered(slot, at.seconds, log);
        displaced_ += slot.isPending && at.seconds - slot.at.seconds < preferences_.dnsSeconds;
        slot = {client, server, id, question, at, true};
        return;
    }
    ++names_;
    auto& cut = truncated_[(question + client.low) % truncated_.size()];
    if (message[2] & 0x02) { // TC
        if (cut.isPending && cut.question != question)
            reportTruncated(cut, at.seconds, log);
        cut = {client, server, id, question, at, true};
    } else if (cut.isPending && cut.question == question && cut.client == client) {
        cut.isPending = false; // asked again, and whole
    }
    if (isSame) {
        const auto took = (at.seconds - slot.at.seconds) * 1000;
        slot.isPending = false;
        if (auto* delays = delays_.at(server))
            ++delays->steps[stepOf(took)];
        if (took >= preferences_.dnsSlowMilliseconds) {
            auto& finding = log.record(Finding::dnsSlow, {{}, server, 0}, at);
            finding.measured = std::max(finding.measured, took);
            finding.threshold = preferences_.dnsSlowMilliseconds;
            if (took >= preferences_.dnsWarnMilliseconds)
                finding.severity = Severity::warning;
            enumerate(finding.detail, nameOf(message, 12));
        }
    }
    constexpr std::uint8_t nameError = 3;
    const auto code = message[3] & 0x0f;
    if (code == 0)
        return;
    const auto name = nameOf(message, 12);
    if (code == nameError && name.ends_with(".arpa")) // most addresses have no name
        return;
    const auto* what = code == 1 ? "“format error”"
        : code == 2              ? "“server failure”"
        : code == nameError      ? "“no such name”"
        : code == 4              ? "“not implemented”"
        : code == 5              ? "“refused”"
                                 : "an error";
    if (isToldAlready({question, {client, server, 0}, client, id, static_cast<std::uint8_t>(code), at}, log))
        return;
    unknownNames_ += code == nameError;
    auto& finding = log.record(Finding::dnsRcode, {client, server, 0}, at);
    finding.measured = static_cast<double>(finding.count);
    finding.threshold = preferences_.unknownNamesPercent;
    if (finding.count == 1)
        finding.severity = Severity::note;
    if (code != nameError)
        finding.severity = Severity::warning;
    enumerate(finding.detail, fmt::format("{} for {}", what, name));
}

/// Whether the failure is another's answer seen again on the other side of an address translation. One that a forwarder
/// passes on is told of its own client, and taken back where it was counted before.
bool ApplicationScan::isToldAlready(const Failure& failure, FindingLog& log)
{
    constexpr double translating = 0.02, forwarding = 5; // seconds
    auto& last = failures_[failure.question % failures_.size()];
    const auto passed = failure.at.seconds - last.at.seconds;
    if (last.question == failure.question && last.code == failure.code && passed < forwarding) {
        if (last.subject.b == failure.subject.b && last.subject.a != failure.subject.a && last.id == failure.id
            && passed < translating) {
            last.asker = failure.asker;
            return true;
        }
        if (failure.subject.b == last.subject.a || failure.subject.b == last.asker)
            log.takeBack(Finding::dnsRcode, last.subject, last.at.frame);
    }
    last = failure;
    return false;
}

void ApplicationScan::scanDhcp(Bytes message, const FrameSight& sight, ArpScan& arp, FindingLog& log)
{
    constexpr std::uint8_t discover = 1, offer = 2, decline = 4, ack = 5, nak = 6;
    constexpr std::uint32_t cookie = 0x63825363;
    if (message.size() < 241 || load::be32(message.data() + 236) != cookie || message[2] != 6)
        return;
    std::uint8_t type = 0;
    std::uint32_t server = 0, router = 0;
    for (std::size_t at = 240; at + 2 <= message.size() && message[at] != 255;) {
        if (message[at] == 0) {
            ++at;
            continue;
        }
        const auto value = slice(message, at + 2, message[at + 1]);
        if (message[at] == 53 && !value.empty())
            type = value[0];
        else if (message[at] == 54 && value.size() >= 4)
            server = load::be32(value.data());
        else if (message[at] == 3 && value.size() >= 4)
            router = load::be32(value.data());
        at += 2u + message[at + 1];
    }
    const auto client = Address::mac(message.data() + 28);
    auto* lease = leases_.at(client);
    if (!lease)
        return;
    const auto fail = [&](const Sighting& at, std::string_view what) {
        auto& finding = log.record(Finding::dhcpFail, {client, {}, 0}, at);
        finding.measured = static_cast<double>(finding.count);
        finding.threshold = preferences_.discovers;
        if (finding.detail.empty())
            finding.detail = client.text() + " gets no address: " + std::string(what);
        else
            enumerate(finding.detail, what);
    };
    switch (type) {
    case discover:
        if (lease->unanswered == 0 || sight.at.seconds - lease->first.seconds > 60) {
            lease->unanswered = 0;
            lease->first = sight.at;
        }
        if (++lease->unanswered == static_cast<std::uint32_t>(preferences_.discovers))
            fail(lease->first, "nobody offers one");
        if (lease->unanswered >= preferences_.discovers)
            fail(sight.at, "nobody offers one");
        break;
    case offer: {
        lease->unanswered = 0;
        const auto segment = segmentOf(sight);
        const bool isRelayed = load::be32(message.data() + 24) != 0;
        if (isRelayed || server == 0)
            break;
        bool isKnown = false;
        for (const auto& other : offerers_) {
            isKnown |= other.segment == segment && other.server == server;
            if (other.segment != segment || other.server == server)
                continue;
            auto& finding =
                log.record(Finding::dhcpFail, {Address::ipv4(other.server), Address::ipv4(server), 0}, sight.at);
            finding.measured = static_cast<double>(finding.count);
            finding.threshold = preferences_.discovers;
            finding.severity = Severity::warning;
            finding.detail = fmt::format("{} and {} both offer addresses on one network",
                                         Address::ipv4(other.server).text(), Address::ipv4(server).text());
        }
        if (!isKnown && offerers_.size() < 64)
            offerers_.push_back({segment, server, sight.at});
        break;
    }
    case ack:
        lease->unanswered = 0;
        if (router)
            arp.learnGateway(Address::ipv4(router));
        break;
    case nak: fail(sight.at, "the server refuses (NAK)"); break;
    case decline: fail(sight.at, "the address is in use already (DECLINE)"); break;
    default: break;
    }
}

void ApplicationScan::scanSegment(const SegmentSight& sight, double captureTime, FindingLog& log)
{
    const auto& facts = sight.facts;
    const auto payload = facts.payload;
    const bool fromServer = TcpScan::server(facts, sight.sender) == sight.sender;
    const Talk talk{sight,
                    fromServer ? Subject{facts.destination, facts.source, facts.sourcePort}
                               : Subject{facts.source, facts.destination, facts.destinationPort},
                    fromServer, payload, log};
    if (pendingFlights_ && isUnderWay(talk)) [[unlikely]]
        return scanTls(talk, captureTime);
    // What a segment begins with tells most; ports only where the bytes do not.
    switch (payload[0]) {
    case 0x15: return scanAlerts(talk);
    case 0x16: return scanTls(talk, captureTime);
    case 'H':
    case 'G':
    case 'P':
    case 'D':
    case 'O': scanHttp(talk); break;
    default: break;
    }
    switch (talk.subject.port) {
    case dnsPort: scanDns(slice(payload, 2), facts.source, facts.destination, fromServer, sight.at, log); break;
    case ftpPort:
    case telnetPort:
    case smtpPort:
    case submissionPort:
    case pop3Port:
    case imapPort:
    case smbPort: scanLogin(talk); [[fallthrough]];
    case ldapPort:
    case kerberosPort:
    case mysqlPort:
    case postgresPort:
        if (fromServer)
            scanRefusal(talk);
        break;
    default: break;
    }
}

void ApplicationScan::scanHttp(const Talk& talk)
{
    const auto payload = talk.payload;
    auto& pending = request(talk.sight.connection);
    if (startsWith(payload, "HTTP/1.") && payload.size() >= 12) {
        const Subject subject = talk.subject;
        if (pending.isPending && pending.connection == talk.sight.connection) {
            pending.isPending = false;
            const auto took = (talk.sight.at.seconds - pending.at.seconds) * 1000;
            if (took >= preferences_.httpSlowMilliseconds) {
                auto& finding = talk.log.record(Finding::httpSlow, subject, talk.sight.at);
                finding.measured = std::max(finding.measured, took);
                finding.threshold = preferences_.httpSlowMilliseconds;
                if (took >= preferences_.httpWarnMilliseconds)
                    finding.severity = Severity::warning;
            }
        }
        if (payload[9] != '4' && payload[9] != '5')
            return;
        auto& finding = talk.log.record(Finding::httpError, subject, talk.sight.at);
        finding.measured = static_cast<double>(finding.count);
        if (payload[9] == '5')
            finding.severity = Severity::warning;
        enumerate(finding.detail, asText(payload.subspan(9, 3)));
        return;
    }
    constexpr std::string_view methods[] = {"GET ", "POST ", "PUT ", "DELETE ", "OPTIONS ", "HEAD ", "PATCH "};
    if (std::none_of(std::begin(methods), std::end(methods),
                     [&](auto method) { return asText(payload).starts_with(method); }))
        return;
    pending = {talk.sight.connection, talk.sight.at, true, false};
    if (contains(payload, "\nAuthorization: Basic ")) {
        auto& finding = talk.log.record(Finding::appCleartext, talk.subject, talk.sight.at);
        finding.measured = static_cast<double>(finding.count);
        enumerate(finding.detail, "an HTTP password (Basic)");
    }
}

ApplicationScan::Flight& ApplicationScan::flight(const Talk& talk)
{
    return flights_[(talk.sight.connection * 2 + talk.fromServer) % flights_.size()];
}

std::uint64_t ApplicationScan::flightKey(const Talk& talk)
{
    return std::uint64_t{talk.sight.connection} << 1 | talk.fromServer;
}

bool ApplicationScan::isUnderWay(const Talk& talk)
{
    const auto& pending = flight(talk);
    return pending.isPending && pending.key == flightKey(talk);
}

// The messages of a handshake fill several segments: they are kept until they are whole, in the order in which they
// were sent. What is lost is not waited for beyond the end of its connection's place.
void ApplicationScan::scanTls(const Talk& talk, double captureTime)
{
    constexpr std::size_t longest = 65'536;
    const auto& facts = talk.sight.facts;
    auto& pending = flight(talk);
    if (isUnderWay(talk)) {
        if (facts.seq != pending.nextSeq)
            return;
        pending.bytes.insert(pending.bytes.end(), talk.payload.begin(), talk.payload.end());
        pending.nextSeq += static_cast<std::uint32_t>(talk.payload.size());
        if (pending.bytes.size() > longest || !readMessages(pending.bytes, pending.messages, talk, captureTime)) {
            pending.isPending = false;
            --pendingFlights_;
        }
        return;
    }
    std::uint32_t messages = 0;
    if (!readMessages(talk.payload, messages, talk, captureTime))
        return;
    if (pending.isPending) {
        ++displaced_;
        --pendingFlights_;
    }
    pending.key = flightKey(talk);
    pending.isPending = true;
    ++pendingFlights_;
    pending.nextSeq = facts.seq + static_cast<std::uint32_t>(talk.payload.size());
    pending.messages = messages;
    pending.bytes.assign(talk.payload.begin(), talk.payload.end());
}

void ApplicationScan::scanAlerts(const Talk& talk)
{
    for (auto bytes = talk.payload; bytes.size() >= 7 && bytes[0] == 0x15 && bytes[1] == 3;
         bytes = slice(bytes, 5u + load::be16(bytes.data() + 3))) {
        constexpr std::uint8_t fatal = 2;
        if (load::be16(bytes.data() + 3) != 2 || bytes[5] != fatal) // longer ones are encrypted
            continue;
        const auto& s = talk.subject;
        const auto sender = talk.fromServer ? s.b : s.a, other = talk.fromServer ? s.a : s.b;
        auto& finding = talk.log.record(Finding::tlsAlert, {sender, other, s.port}, talk.sight.at);
        finding.measured = static_cast<double>(finding.count);
        enumerate(finding.detail, fmt::format("“{}”", alertText(bytes[6])));
    }
}

/// Reads the handshake’s messages but for the first so many; tells whether more bytes belong to the last one.
bool ApplicationScan::readMessages(Bytes bytes, std::uint32_t& messages, const Talk& talk, double captureTime)
{
    constexpr std::uint8_t handshake = 0x16, alert = 0x15;
    messages_.clear();
    bool isCut = false;
    while (bytes.size() >= 5) {
        if (bytes[0] != handshake || bytes[1] != 3) // what follows is something else, or encrypted
            break;
        const std::size_t length = load::be16(bytes.data() + 3);
        const auto body = slice(bytes, 5, length);
        isCut = body.size() < length;
        messages_.insert(messages_.end(), body.begin(), body.end());
        bytes = slice(bytes, 5 + length);
    }
    const bool isOver = bytes.size() >= 5;
    if (isOver && bytes[0] == alert)
        scanAlerts({talk.sight, talk.subject, talk.fromServer, bytes, talk.log});
    constexpr std::uint8_t clientHello = 1, serverHello = 2, certificate = 11, lastKind = 24;
    constexpr std::uint32_t longest = 65'536;
    std::uint32_t number = 0;
    Bytes rest = messages_;
    while (rest.size() >= 4) {
        const auto kind = rest[0];
        const auto size = load::be32(rest.data()) & 0xffffff;
        if (kind > lastKind || size > longest) // encrypted
            return false;
        if (rest.size() - 4 < size)
            break;
        const auto message = rest.subspan(4, size);
        rest = rest.subspan(4 + size);
        if (number++ < messages)
            continue;
        messages = number;
        if (kind == clientHello && !talk.fromServer)
            scanClientHello(message, talk);
        else if (kind == serverHello && talk.fromServer)
            scanServerHello(message, talk);
        else if (kind == certificate && talk.fromServer && message.size() >= 6) // its own one first
            scanCertificate(slice(message, 6, load::be32(message.data() + 2) & 0xffffff), talk, captureTime);
    }
    return !isOver && (isCut || !rest.empty() || !bytes.empty());
}

void ApplicationScan::scanClientHello(Bytes message, const Talk& talk)
{
    auto& asked = askedName(talk.sight.connection);
    asked.connection = talk.sight.connection;
    asked.name.clear();
    Cursor hello(message);
    hello.skip(34);
    hello.skip(hello.u8());
    hello.skip(hello.u16());
    hello.skip(hello.u8());
    Cursor extensions(hello.take(std::min<std::size_t>(hello.u16(), hello.left())));
    while (extensions.left() >= 4) {
        const auto number = extensions.u16();
        const auto value = extensions.take(extensions.u16());
        if (number == 0 && value.size() > 5 && value[2] == 0) // server_name (RFC 6066, 3), a host name
            asked.name = asText(slice(value, 5, load::be16(value.data() + 3)));
    }
}

void ApplicationScan::reportWeak(const Talk& talk, std::string_view what)
{
    auto& finding = talk.log.record(Finding::tlsWeak, talk.subject, talk.sight.at);
    finding.measured = static_cast<double>(finding.count);
    enumerate(finding.detail, what);
}

void ApplicationScan::scanServerHello(Bytes message, const Talk& talk)
{
    if (message.size() < 38)
        return;
    auto version = load::be16(message.data());
    Cursor hello(message);
    hello.skip(34);
    hello.skip(hello.u8());
    const auto suite = hello.u16();
    hello.skip(1);
    Cursor extensions(hello.take(std::min<std::size_t>(hello.u16(), hello.left())));
    while (extensions.left() >= 4) {
        const auto number = extensions.u16();
        const auto value = extensions.take(extensions.u16());
        if (number == 43 && value.size() == 2) // supported_versions: the true one
            version = load::be16(value.data());
    }
    const auto* old = tlsVersionText(version);
    const auto* weak = weakCipherText(suite);
    if (old || weak)
        reportWeak(talk, old ? old : weak);
}

void ApplicationScan::scanCertificate(Bytes bytes, const Talk& talk, double captureTime)
{
    const auto certificate = readCertificate(bytes);
    if (!certificate)
        return;
    const auto report = [&](Severity severity, const char* what) {
        auto& finding = talk.log.record(Finding::tlsCert, talk.subject, talk.sight.at);
        finding.measured = static_cast<double>(finding.evidence.size());
        finding.threshold = preferences_.certificateDays;
        finding.severity = finding.count == 1 ? severity : std::max(finding.severity, severity);
        enumerate(finding.detail, what);
    };
    const auto& [begins, ends] = certificate->valid;
    if (ends && *ends < captureTime)
        report(Severity::error, "expired");
    else if (begins && *begins > captureTime)
        report(Severity::error, "not yet valid");
    else if (ends && *ends - captureTime < preferences_.certificateDays * 86400)
        report(Severity::note, "about to expire");
    if (certificate->isSelfSigned)
        report(Severity::note, "signed by itself");
    const auto& asked = askedName(talk.sight.connection);
    const bool isNamed = asked.connection == talk.sight.connection && !asked.name.empty()
        && !Address::parse(asked.name); // an address is no name, whoever sends it as one (RFC 6066, 3)
    if (isNamed && !isFor(*certificate, asked.name))
        report(Severity::warning, "made for another name than the one asked for");
    constexpr std::size_t leastBits = 2048;
    if (certificate->rsaBits && certificate->rsaBits < leastBits)
        reportWeak(talk, fmt::format("an RSA key of {} bits", certificate->rsaBits));
    if (certificate->weakSignature && !certificate->isSelfSigned) // nobody checks the signature of the root
        reportWeak(talk, fmt::format("a certificate signed with {}", certificate->weakSignature));
}

void ApplicationScan::scanLogin(const Talk& talk)
{
    const auto payload = talk.payload;
    const char* what = nullptr;
    switch (talk.subject.port) {
    case ftpPort: {
        auto& known = request(talk.sight.connection);
        if (talk.fromServer)
            break;
        if (startsWith(payload, "USER "))
            known = {talk.sight.connection, talk.sight.at, false,
                     startsWith(payload, "USER anonymous") || startsWith(payload, "USER ftp")};
        else if (startsWith(payload, "PASS ") && !(known.connection == talk.sight.connection && known.isAnonymous))
            what = "an FTP password";
        break;
    }
    case pop3Port:
        if (!talk.fromServer && (startsWith(payload, "PASS ") || isPlainLogin(payload, "AUTH ")))
            what = "a POP3 password";
        break;
    case imapPort:
        if (!talk.fromServer
            && (contains(payload, " LOGIN ") || contains(payload, " login ")
                || isPlainLogin(slice(payload, wordEnd(payload)), "AUTHENTICATE ")))
            what = "an IMAP password";
        break;
    case smtpPort:
    case submissionPort:
        if (!talk.fromServer && isPlainLogin(payload, "AUTH "))
            what = "an SMTP password";
        break;
    case telnetPort:
        if (talk.fromServer && contains(payload, "assword:"))
            what = "a Telnet login";
        break;
    case smbPort:
        if (talk.fromServer && payload.size() >= 9 && load::be32(payload.data() + 4) == 0xff534d42)
            what = "SMB version 1";
        break;
    default: break;
    }
    if (!what)
        return;
    auto& finding = talk.log.record(Finding::appCleartext, talk.subject, talk.sight.at);
    finding.measured = static_cast<double>(finding.count);
    enumerate(finding.detail, what);
}

void ApplicationScan::scanRefusal(const Talk& talk)
{
    const auto payload = talk.payload;
    const char* what = nullptr;
    auto severity = Severity::warning;
    switch (talk.subject.port) {
    case ftpPort:
        if (startsWith(payload, "530 "))
            what = "the FTP login";
        break;
    case smtpPort:
    case submissionPort:
        if (startsWith(payload, "535 "))
            what = "the SMTP login";
        else if (startsWith(payload, "55"))
            what = "the mail or its recipient";
        break;
    case pop3Port:
        if (startsWith(payload, "-ERR"))
            what = "a POP3 command, most likely the login";
        break;
    case imapPort:
        if (contains(payload, "AUTHENTICATIONFAILED"))
            what = "the IMAP login";
        break;
    case ldapPort: {
        // LDAPMessage { messageID, bindResponse [APPLICATION 1] { resultCode, … } } (RFC 4511)
        const auto message = der(payload);
        const auto id = message ? der(message->content) : std::nullopt;
        const auto operation = id ? der(id->rest) : std::nullopt;
        const auto code = operation && operation->tag == 0x61 ? der(operation->content) : std::nullopt;
        constexpr std::uint8_t goesOn = 14; // saslBindInProgress
        if (code && code->content.size() == 1 && code->content[0] != 0 && code->content[0] != goesOn)
            what = "the LDAP bind";
        break;
    }
    case kerberosPort:
        // KRB-ERROR behind a length; error 25 only asks for more (RFC 4120)
        if (payload.size() > 5 && payload[4] == 0x7e && !contains(payload, "\xa6\x03\x02\x01\x19"))
            what = "a Kerberos error";
        break;
    case smbPort:
        if (payload.size() >= 18 && load::be32(payload.data() + 4) == 0xfe534d42) {
            constexpr std::uint16_t sessionSetup = 1;
            constexpr std::uint32_t moreProcessing = 0xc0000016;
            const auto status = load::le32(payload.data() + 12);
            if (load::le16(payload.data() + 16) == sessionSetup && status >> 30 == 3 && status != moreProcessing)
                what = "the SMB logon";
        }
        break;
    case mysqlPort:
        if (payload.size() >= 7 && payload[4] == 0xff) {
            const auto code = load::le16(payload.data() + 5);
            const bool isAccess = code == 1044 || code == 1045 || code == 1130 || code == 1698;
            what = isAccess ? "the MySQL login" : "a MySQL command";
            severity = isAccess ? Severity::warning : Severity::note;
        }
        break;
    case postgresPort:
        if (payload.size() > 5 && payload[0] == 'E' && load::be32(payload.data() + 1) < 4096) {
            const bool isAccess = contains(payload, std::string_view("\0C28", 4));
            what = isAccess ? "the PostgreSQL login" : "a PostgreSQL command";
            severity = isAccess ? Severity::warning : Severity::note;
        }
        break;
    default: break;
    }
    if (!what)
        return;
    auto& finding = talk.log.record(Finding::appRefused, talk.subject, talk.sight.at);
    finding.measured = static_cast<double>(finding.count);
    finding.severity = finding.count == 1 ? severity : std::max(finding.severity, severity);
    enumerate(finding.detail, what);
}

void ApplicationScan::finish(FindingLog& log, double end) const
{
    for (const auto& query : queries_)
        reportUnanswered(query, end, log);
    for (const auto& query : truncated_)
        reportTruncated(query, end, log);
    for (auto& record : log.records()) {
        const auto* delays = record.finding == Finding::dnsSlow ? delays_.find(record.hosts[1]) : nullptr;
        if (!delays)
            continue;
        const auto all = std::accumulate(delays->steps.begin(), delays->steps.end(), std::uint64_t{0});
        std::size_t median = 0;
        for (std::uint64_t below = 0; median + 1 < delays->steps.size(); ++median) {
            below += delays->steps[median];
            if (below * 2 >= all)
                break;
        }
        record.detail = fmt::format("The median of {} is about {:.3g} ms. Slow: {}.",
                                    units::counted(all, "answer", "answers"), millisecondsOf(median), record.detail);
    }
    const auto share =
        100.0 * static_cast<double>(unknownNames_) / static_cast<double>(std::max<std::uint64_t>(names_, 1));
    if (share >= preferences_.unknownNamesPercent)
        return;
    for (auto& record : log.records()) {
        if (record.finding == Finding::dnsRcode && record.severity == Severity::note)
            FindingLog::withdraw(record);
    }
}

void ApplicationScan::tellCutOff(std::vector<std::string>& lines) const
{
    tell(lines, leases_, "stations that ask for a lease");
    tell(lines, delays_, "name servers");
    if (displaced_)
        lines.push_back(
            fmt::format("{} questions for names and TLS handshakes were displaced by newer ones", displaced_));
}

} // namespace netrondo
