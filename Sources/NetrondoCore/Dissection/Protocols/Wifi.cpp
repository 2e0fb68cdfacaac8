// IEEE 802.11 frames, with the radiotap header that capture tools put in front of them.
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>

namespace netrondo {

namespace radiotap {
namespace {
constexpr Field version{"radiotap.version", "Version", Wire::u8};
constexpr Field pad{"radiotap.pad", "Padding", Wire::u8};
constexpr Field length{"radiotap.len", "Length", Wire::le16};
constexpr Field present{"radiotap.present", "Present fields", Wire::leHex32};
constexpr Field fields{"radiotap.fields", "Fields", Wire::bytes};
constexpr Field flags{"radiotap.flags", "Flags", Wire::hex8};

/// Whether the frame ends with its checksum: bit 4 of the flags, which stand behind the 8-byte timer if there is one.
bool hasChecksum(Layer& radiotap, std::uint64_t first, std::size_t headerLength)
{
    if (!(first & 2) || first & 0x80000000)
        return false;
    std::size_t at = 8; // fields are aligned against the header
    if (first & 1)
        at += 8;
    const auto whole = radiotap.whole();
    if (at >= headerLength || at >= whole.size())
        return false;
    radiotap.add(flags, whole[at], radiotap.begin() + at, 1);
    return whole[at] & 0x10;
}

void decode(Layer& radiotap)
{
    radiotap.read(version, pad);
    const auto size = radiotap.read(length), bits = radiotap.read(present);
    if (size < 8)
        return radiotap.reject(length);
    if (size > 8)
        radiotap.readBytes(fields, size - 8);
    if (radiotap.stopped())
        return;
    const auto trailer = hasChecksum(radiotap, bits, size) && radiotap.leftOnWire() > 4 ? 4u : 0u;
    radiotap.handOver(wlan::protocol, radiotap.leftOnWire() - trailer);
    radiotap.endHere();
}

constexpr Claim claims[] = {linkTypeIs(127)};
} // namespace

constexpr Protocol protocol{{"radiotap", "Radiotap", Wire::layer}, {}, claims, decode};
static_assert(wellFormed(protocol));
} // namespace radiotap

namespace wlan {
namespace {
constexpr NamedValue kinds[] = {{0x00, "Association request"},
                                {0x01, "Association response"},
                                {0x02, "Reassociation request"},
                                {0x03, "Reassociation response"},
                                {0x04, "Probe request"},
                                {0x05, "Probe response"},
                                {0x08, "Beacon"},
                                {0x09, "ATIM"},
                                {0x0a, "Disassociation"},
                                {0x0b, "Authentication"},
                                {0x0c, "Deauthentication"},
                                {0x0d, "Action"},
                                {0x0e, "Action no ack"},
                                {0x17, "Control wrapper"},
                                {0x18, "Block ack request"},
                                {0x19, "Block ack"},
                                {0x1a, "PS-Poll"},
                                {0x1b, "RTS"},
                                {0x1c, "CTS"},
                                {0x1d, "Acknowledgment"},
                                {0x1e, "CF-End"},
                                {0x20, "Data"},
                                {0x24, "Null"},
                                {0x28, "QoS data"},
                                {0x2c, "QoS null"}};
constexpr NamedValue elements[] = {{0, "SSID"},
                                   {1, "rates"},
                                   {3, "channel"},
                                   {5, "traffic map"},
                                   {7, "country"},
                                   {32, "power constraint"},
                                   {33, "power capability"},
                                   {36, "supported channels"},
                                   {42, "ERP"},
                                   {45, "HT capabilities"},
                                   {48, "RSN"},
                                   {50, "more rates"},
                                   {61, "HT operation"},
                                   {107, "interworking"},
                                   {127, "extended capabilities"},
                                   {191, "VHT capabilities"},
                                   {192, "VHT operation"},
                                   {195, "transmit power"},
                                   {221, "vendor"},
                                   {255, "extension"}};

constexpr NamedValue ciphers[] = {{0, "the group’s"}, {1, "WEP-40"}, {2, "TKIP"},     {4, "CCMP"},     {5, "WEP-104"},
                                  {6, "BIP"},         {8, "GCMP"},   {9, "GCMP-256"}, {10, "CCMP-256"}};
constexpr NamedValue managements[] = {{1, "802.1X"},
                                      {2, "pre-shared key"},
                                      {3, "802.1X, fast transition"},
                                      {4, "pre-shared key, fast transition"},
                                      {5, "802.1X, SHA-256"},
                                      {6, "pre-shared key, SHA-256"},
                                      {8, "SAE"},
                                      {9, "SAE, fast transition"},
                                      {12, "802.1X, Suite B-192"},
                                      {18, "OWE"}};
constexpr NamedValue statuses[] = {{0, "success"},
                                   {1, "failure"},
                                   {10, "capabilities unsupported"},
                                   {12, "association denied"},
                                   {13, "algorithm unsupported"},
                                   {15, "challenge failed"},
                                   {17, "too many stations"},
                                   {18, "rates unsupported"},
                                   {30, "try again later"},
                                   {43, "invalid key management"},
                                   {53, "invalid PMKID"}};
constexpr NamedValue reasons[] = {
    {1, "unspecified"},        {2, "authentication invalid"}, {3, "station leaves"},
    {4, "inactivity"},         {5, "too many stations"},      {6, "not authenticated"},
    {7, "not associated"},     {8, "station leaves the set"}, {14, "message integrity failure"},
    {15, "handshake timeout"}, {16, "group key timeout"},     {23, "802.1X failed"}};
constexpr NamedValue algorithms[] = {{0, "open"}, {1, "shared key"}, {2, "fast transition"}, {3, "SAE"}};
constexpr NamedValue categories[] = {{0, "spectrum"},        {1, "QoS"}, {3, "block ack"}, {4, "public"}, {5, "radio"},
                                     {6, "fast transition"}, {7, "HT"},  {8, "SA query"},  {10, "WNM"},   {21, "VHT"},
                                     {127, "vendor"}};

constexpr Field control{"wlan.fc", "Frame control", Wire::leHex16};
constexpr Field kind{"wlan.kind", "Type and subtype", Wire::number, kinds};
constexpr Field toSystem{"wlan.to_ds", "To the distribution system", Wire::bit, {}, 0x0100};
constexpr Field fromSystem{"wlan.from_ds", "From the distribution system", Wire::bit, {}, 0x0200};
constexpr Field retry{"wlan.retry", "Retry", Wire::bit, {}, 0x0800};
constexpr Field isProtected{"wlan.protected", "Protected", Wire::bit, {}, 0x4000};
constexpr Field duration{"wlan.duration", "Duration", Wire::le16};
constexpr Field receiver{"wlan.ra", "Receiver", Wire::mac};
constexpr Field transmitter{"wlan.ta", "Transmitter", Wire::mac};
constexpr Field third{"wlan.addr3", "Address 3", Wire::mac};
constexpr Field fourth{"wlan.addr4", "Address 4", Wire::mac};
constexpr Field sequence{"wlan.seq", "Fragment and sequence", Wire::leHex16};
constexpr Field quality{"wlan.qos", "QoS control", Wire::leHex16};
constexpr Field timestamp{"wlan.timestamp", "Timestamp", Wire::le64};
constexpr Field interval{"wlan.interval", "Beacon interval", Wire::le16};
constexpr Field capabilities{"wlan.capabilities", "Capabilities", Wire::leHex16};
constexpr Field element{"wlan.element", "Element", Wire::number, elements};
constexpr Field elementId{"wlan.element_id", "Element", Wire::u8, elements};
constexpr Field elementLength{"wlan.element_len", "Length", Wire::u8};
constexpr Field ssid{"wlan.ssid", "SSID", Wire::text};
constexpr Field channel{"wlan.channel", "Channel", Wire::u8};
constexpr Field rate{"wlan.rate", "Rate", Wire::hex8};
constexpr Field isBasic{"wlan.rate_basic", "Basic", Wire::bit, {}, 0x80};
constexpr Field speed{"wlan.rate_speed", "Speed (500 kbit/s)", Wire::bits, {}, 0x7f};
constexpr Field trafficCount{"wlan.dtim_count", "DTIM count", Wire::u8};
constexpr Field trafficPeriod{"wlan.dtim_period", "DTIM period", Wire::u8};
constexpr Field trafficControl{"wlan.tim_control", "Bitmap control", Wire::hex8};
constexpr Field country{"wlan.country", "Country", Wire::text};
constexpr Field protection{"wlan.erp", "ERP", Wire::hex8};
constexpr Field highThroughput{"wlan.ht_capabilities", "HT capabilities", Wire::leHex16};
constexpr Field organisation{"wlan.oui", "Organisation", Wire::hex24};
constexpr Field vendorType{"wlan.vendor_type", "Vendor type", Wire::u8};
constexpr Field securityVersion{"wlan.rsn_version", "Security version", Wire::le16};
constexpr Field suiteCount{"wlan.suites", "Number of suites", Wire::le16};
constexpr Field suiteNumber{"wlan.suite", "Suite", Wire::u8};
constexpr Field groupCipher{"wlan.group_cipher", "Group cipher", Wire::u8, ciphers};
constexpr Field pairCipher{"wlan.pair_cipher", "Pairwise cipher", Wire::u8, ciphers};
constexpr Field keyManagement{"wlan.akm", "Key management", Wire::u8, managements};
constexpr Field securityBits{"wlan.rsn_capabilities", "Security capabilities", Wire::leHex16};
constexpr Field status{"wlan.status", "Status", Wire::le16, statuses};
constexpr Field association{"wlan.aid", "Association ID", Wire::leHex16};
constexpr Field currentPoint{"wlan.current_ap", "Current access point", Wire::mac};
constexpr Field algorithm{"wlan.auth_algorithm", "Authentication algorithm", Wire::le16, algorithms};
constexpr Field step{"wlan.auth_step", "Authentication step", Wire::le16};
constexpr Field category{"wlan.category", "Category", Wire::u8, categories};
constexpr Field action{"wlan.action", "Action", Wire::u8};
constexpr Field elementData{"wlan.element_data", "Data", Wire::bytes};
constexpr Field reason{"wlan.reason", "Reason", Wire::le16, reasons};
constexpr Field encrypted{"wlan.encrypted", "Encrypted data", Wire::bytes};
constexpr Field body{"wlan.body", "Body", Wire::bytes};

/// A cipher or a key management, led by the organisation that numbered it.
void readSuite(Layer& wlan, const Field& known)
{
    const auto who = wlan.read(organisation);
    wlan.read(who == 0x000fac || who == 0x0050f2 ? known : suiteNumber);
}

void readSuites(Layer& wlan, const Field& known)
{
    const auto count = wlan.read(suiteCount);
    for (std::uint64_t i = 0; i < count && wlan.more(4); ++i)
        readSuite(wlan, known);
}

/// Robust security (IEEE 802.11, 9.4.2.24); the older vendor's form has the same parts.
void readSecurity(Layer& wlan)
{
    wlan.read(securityVersion);
    if (wlan.more(4))
        readSuite(wlan, groupCipher);
    if (wlan.more(2))
        readSuites(wlan, pairCipher);
    if (wlan.more(2))
        readSuites(wlan, keyManagement);
    if (wlan.more(2))
        wlan.read(securityBits);
}

void readVendor(Layer& wlan)
{
    constexpr std::uint32_t olderSecurity = 0x0050f201;
    if (wlan.peek32() != olderSecurity)
        return static_cast<void>(wlan.read(organisation));
    wlan.read(organisation, vendorType);
    readSecurity(wlan);
}

void readElement(Layer& wlan, std::uint64_t id)
{
    switch (id) {
    case 0: wlan.readText(ssid, wlan.left()); break;
    case 1:
    case 50:
        while (wlan.more()) {
            wlan.addParts(rate, wlan.peek8(), wlan.offset(), 1, isBasic, speed);
            wlan.skip(1);
        }
        break;
    case 3: wlan.read(channel); break;
    case 5: wlan.read(trafficCount, trafficPeriod, trafficControl); break;
    case 7: wlan.readText(country, std::min<std::size_t>(wlan.left(), 3)); break;
    case 42: wlan.read(protection); break;
    case 45: wlan.read(highThroughput); break;
    case 48: readSecurity(wlan); break;
    case 61: wlan.read(channel); break;
    case 221: readVendor(wlan); break;
    default: break;
    }
    if (wlan.more())
        wlan.readRest(elementData);
}

void readElements(Layer& wlan)
{
    while (wlan.more(2)) {
        const Layer::Group group(wlan, element, wlan.peek8());
        const auto id = wlan.read(elementId), size = wlan.read(elementLength);
        const Layer::Window content(wlan, size);
        readElement(wlan, id);
    }
}

void readManagement(Layer& wlan, unsigned subtype)
{
    switch (subtype) {
    case 0: wlan.read(capabilities, interval), readElements(wlan); break;
    case 1:
    case 3: wlan.read(capabilities, status, association), readElements(wlan); break;
    case 2: wlan.read(capabilities, interval, currentPoint), readElements(wlan); break;
    case 4: readElements(wlan); break;
    case 5:
    case 8: wlan.read(timestamp, interval, capabilities), readElements(wlan); break;
    case 10:
    case 12: wlan.read(reason); break;
    case 11: wlan.read(algorithm, step, status), readElements(wlan); break;
    case 13:
    case 14: wlan.read(category, action); break;
    default: break;
    }
    if (wlan.more())
        wlan.readRest(body);
}

/// Which of the addresses are the two ends depends on the way through the distribution system (IEEE 802.11, 9.3.2).
void setEnds(Layer& wlan, unsigned bits, const std::uint64_t (&addresses)[4])
{
    const auto ways = bits >> 8 & 3;
    const auto destination = ways & 1 ? addresses[2] : addresses[0];
    const auto source = ways == 3 ? addresses[3] : ways == 2 ? addresses[2] : addresses[1];
    if (wlan.stopped())
        return;
    wlan.summary().source = Address::mac(source);
    wlan.summary().destination = Address::mac(destination);
}

void readData(Layer& wlan, unsigned bits)
{
    const unsigned subtype = bits >> 4 & 15;
    if (subtype & 8)
        wlan.read(quality);
    if (subtype & 4 || !wlan.leftOnWire())
        return;
    if (bits & 0x4000)
        wlan.readRest(encrypted);
    else
        wlan.handOver(llc::protocol);
}

void decode(Layer& wlan)
{
    const auto bits = static_cast<unsigned>(wlan.readParts(control, toSystem, fromSystem, retry, isProtected));
    if (wlan.stopped())
        return;
    const unsigned type = bits >> 2 & 3, subtype = bits >> 4 & 15;
    wlan.add(kind, type << 4 | subtype, wlan.offset() - 2, 1);
    wlan.read(duration);
    std::uint64_t addresses[4] = {wlan.read(receiver), 0, 0, 0};
    if (type == 1) {
        if (subtype != 12 && subtype != 13 && wlan.left() >= 6)
            wlan.read(transmitter);
        return wlan.endHere();
    }
    addresses[1] = wlan.read(transmitter), addresses[2] = wlan.read(third);
    wlan.read(sequence);
    if (type == 2 && (bits & 0x0300) == 0x0300)
        addresses[3] = wlan.read(fourth);
    setEnds(wlan, bits, addresses);
    if (type == 0)
        readManagement(wlan, subtype);
    else
        readData(wlan, bits);
}

void describe(const LayerView& wlan, TextSink& out)
{
    out("{}", wlan[kind]);
    if (const auto name = wlan[ssid])
        out(", SSID “{}”", name);
    if (wlan.has(encrypted))
        out(", protected");
    if (const auto why = wlan[reason])
        out(", reason {}", why);
    if (const auto how = wlan[status]; how && how.number())
        out(", {}", how);
}

constexpr Claim claims[] = {linkTypeIs(105)};
} // namespace

constexpr Protocol protocol{{"wlan", "802.11", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace wlan

} // namespace netrondo
