// Network Time Protocol (RFC 5905).
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::ntp {
namespace {
constexpr NamedValue modes[] = {{1, "symmetric active"}, {2, "symmetric passive"}, {3, "client"}, {4, "server"},
                                {5, "broadcast"},        {6, "control"},           {7, "private"}};
constexpr NamedValue leaps[] = {{0, "no warning"}, {1, "61 seconds"}, {2, "59 seconds"}, {3, "clock unsynchronized"}};
constexpr NamedValue strata[] = {{0, "unspecified"}, {1, "primary reference"}, {16, "unsynchronized"}};

constexpr Field first{"ntp.flags", "Leap, version, mode", Wire::hex8};
constexpr Field leap{"ntp.leap", "Leap indicator", Wire::bits, leaps, 0xc0};
constexpr Field version{"ntp.version", "Version", Wire::bits, {}, 0x38};
constexpr Field mode{"ntp.mode", "Mode", Wire::bits, modes, 0x07};
constexpr Field stratum{"ntp.stratum", "Stratum", Wire::u8, strata};
constexpr Field poll{"ntp.poll", "Poll interval (log2 s)", Wire::i8};
constexpr Field precision{"ntp.precision", "Precision (log2 s)", Wire::i8};
constexpr Field rootDelay{"ntp.root_delay", "Root delay", Wire::hex32};
constexpr Field rootDispersion{"ntp.root_dispersion", "Root dispersion", Wire::hex32};
constexpr Field referenceName{"ntp.reference", "Reference", Wire::text};
constexpr Field referenceId{"ntp.reference_id", "Reference", Wire::ipv4};
constexpr Field referenceTime{"ntp.reference_time", "Reference time", Wire::ntpTime};
constexpr Field originTime{"ntp.origin_time", "Origin time", Wire::ntpTime};
constexpr Field receiveTime{"ntp.receive_time", "Receive time", Wire::ntpTime};
constexpr Field transmitTime{"ntp.transmit_time", "Transmit time", Wire::ntpTime};
constexpr Field keyId{"ntp.key_id", "Key ID", Wire::hex32};
constexpr Field digest{"ntp.digest", "Message digest", Wire::bytes};
constexpr Field data{"ntp.data", "Data", Wire::bytes};

void decode(Layer& ntp)
{
    const auto kind = ntp.readParts(first, leap, version, mode) & 7;
    if (kind >= 6) {
        if (ntp.more())
            ntp.readRest(data);
        return;
    }
    const auto level = ntp.read(stratum);
    ntp.read(poll, precision, rootDelay, rootDispersion);
    if (level <= 1) // a kiss code or the name of a clock
        ntp.readText(referenceName, 4);
    else
        ntp.read(referenceId);
    ntp.read(referenceTime, originTime, receiveTime, transmitTime);
    if (ntp.left() == 20 || ntp.left() == 24) {
        ntp.read(keyId);
        ntp.readRest(digest);
    } else if (ntp.more()) {
        ntp.readRest(data);
    }
}

void describe(const LayerView& ntp, TextSink& out)
{
    out("NTP version {}, {}", ntp[version], ntp[mode]);
    if (const auto level = ntp[stratum]; level && ntp[mode] == 4)
        out(", stratum {}", level.number());
}

/// Distances to the reference clock are seconds at most, and clocks tick between once a second and every nanosecond.
Likeness guess(Bytes payload, Transport transport)
{
    const auto size = payload.size();
    if (transport != Transport::udp || (size != 48 && size != 68 && size != 72))
        return Likeness::none;
    const unsigned number = payload[0] >> 3 & 7u, kind = payload[0] & 7u;
    const auto tick = static_cast<std::int8_t>(payload[3]);
    const bool isKnown = number >= 1 && number <= 4 && kind >= 1 && kind <= 5;
    const bool isClock = payload[1] <= 16 && payload[2] <= 17 && tick <= 0 && tick >= -32;
    constexpr unsigned mostSeconds = 16;
    return isKnown && isClock && load::be16(&payload[4]) <= mostSeconds && load::be16(&payload[8]) <= mostSeconds
        ? Likeness::likely
        : Likeness::none;
}

constexpr Claim claims[] = {udpPort(123)};
} // namespace

constexpr Protocol protocol{{"ntp", "NTP", Wire::layer}, {}, claims, decode, describe, guess,
                            opensOn({Transport::udp})};
static_assert(wellFormed(protocol));
} // namespace netrondo::ntp
