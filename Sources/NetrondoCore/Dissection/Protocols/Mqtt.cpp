// MQTT versions 3.1.1 and 5.0 (OASIS).
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::mqtt {
namespace {
constexpr NamedValue types[] = {{1, "Connect"},          {2, "Connect Ack"},      {3, "Publish"},
                                {4, "Publish Ack"},      {5, "Publish Received"}, {6, "Publish Release"},
                                {7, "Publish Complete"}, {8, "Subscribe"},        {9, "Subscribe Ack"},
                                {10, "Unsubscribe"},     {11, "Unsubscribe Ack"}, {12, "Ping Request"},
                                {13, "Ping Response"},   {14, "Disconnect"},      {15, "Authenticate"}};
constexpr NamedValue returns[] = {
    {0, "accepted"},           {1, "unacceptable protocol version"}, {2, "identifier rejected"},
    {3, "server unavailable"}, {4, "bad user name or password"},     {5, "not authorized"}};

// Of version 5 (2.4).
constexpr NamedValue reasons[] = {{0x00, "success"},
                                  {0x01, "granted quality 1"},
                                  {0x02, "granted quality 2"},
                                  {0x04, "disconnect with will"},
                                  {0x10, "no matching subscribers"},
                                  {0x11, "no subscription"},
                                  {0x18, "continue authentication"},
                                  {0x19, "authenticate again"},
                                  {0x80, "unspecified error"},
                                  {0x81, "malformed packet"},
                                  {0x82, "protocol error"},
                                  {0x83, "implementation error"},
                                  {0x84, "unsupported protocol version"},
                                  {0x85, "client identifier not valid"},
                                  {0x86, "bad user name or password"},
                                  {0x87, "not authorized"},
                                  {0x88, "server unavailable"},
                                  {0x89, "server busy"},
                                  {0x8a, "banned"},
                                  {0x8b, "server shuts down"},
                                  {0x8c, "bad authentication method"},
                                  {0x8d, "keep alive timeout"},
                                  {0x8e, "session taken over"},
                                  {0x8f, "topic filter invalid"},
                                  {0x90, "topic name invalid"},
                                  {0x91, "packet identifier in use"},
                                  {0x92, "packet identifier not found"},
                                  {0x93, "receive maximum exceeded"},
                                  {0x94, "topic alias invalid"},
                                  {0x95, "packet too large"},
                                  {0x96, "message rate too high"},
                                  {0x97, "quota exceeded"},
                                  {0x98, "administrative action"},
                                  {0x99, "payload format invalid"},
                                  {0x9a, "retain not supported"},
                                  {0x9b, "quality not supported"},
                                  {0x9c, "use another server"},
                                  {0x9d, "server moved"},
                                  {0x9e, "shared subscriptions not supported"},
                                  {0x9f, "connection rate exceeded"},
                                  {0xa0, "maximum connect time"},
                                  {0xa1, "subscription identifiers not supported"},
                                  {0xa2, "wildcard subscriptions not supported"}};

constexpr Field message{"mqtt.message", "Message", Wire::number, types};
constexpr Field first{"mqtt.first", "Type and flags", Wire::hex8};
constexpr Field type{"mqtt.type", "Type", Wire::bits, types, 0xf0};
constexpr Field duplicate{"mqtt.dup", "Duplicate", Wire::bit, {}, 0x08};
constexpr Field quality{"mqtt.qos", "Quality of service", Wire::bits, {}, 0x06};
constexpr Field retain{"mqtt.retain", "Retain", Wire::bit, {}, 0x01};
constexpr Field length{"mqtt.length", "Remaining length", Wire::number};
constexpr Field textLength{"mqtt.text_len", "Length", Wire::u16};
constexpr Field protocolName{"mqtt.protocol", "Protocol name", Wire::text};
constexpr Field version{"mqtt.version", "Version", Wire::u8};
constexpr Field connectFlags{"mqtt.connect_flags", "Connect flags", Wire::hex8};
constexpr Field keepAlive{"mqtt.keep_alive", "Keep alive (s)", Wire::u16};
constexpr Field client{"mqtt.client", "Client", Wire::text};
constexpr Field willTopic{"mqtt.will_topic", "Topic of the will", Wire::text};
constexpr Field will{"mqtt.will", "Will", Wire::text};
constexpr Field user{"mqtt.user", "User", Wire::text};
constexpr Field password{"mqtt.password", "Password", Wire::text};
constexpr Field acknowledgeFlags{"mqtt.ack_flags", "Acknowledge flags", Wire::hex8};
constexpr Field returnCode{"mqtt.return", "Return code", Wire::u8, returns};
constexpr Field topic{"mqtt.topic", "Topic", Wire::text};
constexpr Field packetId{"mqtt.id", "Packet ID", Wire::u16};
constexpr Field payload{"mqtt.payload", "Message", Wire::text};
constexpr Field requested{"mqtt.requested_qos", "Requested quality", Wire::u8};
constexpr Field reason{"mqtt.reason", "Reason", Wire::hex8, reasons};
constexpr Field propertiesLength{"mqtt.properties_len", "Length of the properties", Wire::number};
constexpr Field properties{"mqtt.properties", "Properties", Wire::bytes};
constexpr Field data{"mqtt.data", "Data", Wire::bytes};

/// Seven bits a byte, lowest first, at most four bytes.
std::size_t readLength(Layer& mqtt, const Field& field)
{
    std::size_t value = 0, size = 0;
    while (size < 4 && size < mqtt.left()) {
        const auto byte = mqtt.peek8(size);
        value |= std::size_t{byte & 0x7fu} << (7 * size);
        ++size;
        if (!(byte & 0x80)) {
            mqtt.add(field, value, mqtt.offset(), size);
            mqtt.skip(size);
            return value;
        }
    }
    if (size == 4)
        mqtt.reject(field);
    else
        mqtt.skip(mqtt.left() + 1);
    return 0;
}

void readText(Layer& mqtt, const Field& field)
{
    const auto size = mqtt.read(textLength);
    mqtt.readText(field, size);
}

/// What version 5 puts in front of the rest.
void readProperties(Layer& mqtt, std::uint64_t number)
{
    if (number < 5 || !mqtt.more())
        return;
    if (const auto size = readLength(mqtt, propertiesLength))
        mqtt.readBytes(properties, size);
}

/// Reasons, one for each topic of what is answered, or none, which stands for success.
void readReasons(Layer& mqtt, std::uint64_t number)
{
    while (number >= 5 && mqtt.more())
        mqtt.read(reason);
}

std::uint64_t readConnect(Layer& mqtt)
{
    readText(mqtt, protocolName);
    const auto number = mqtt.read(version);
    const auto bits = mqtt.read(connectFlags);
    mqtt.read(keepAlive);
    readProperties(mqtt, number);
    readText(mqtt, client);
    if (bits & 0x04) {
        readProperties(mqtt, number);
        readText(mqtt, willTopic);
        readText(mqtt, will);
    }
    if (bits & 0x80)
        readText(mqtt, user);
    if (bits & 0x40)
        readText(mqtt, password);
    return number;
}

void readBody(Layer& mqtt, std::uint64_t kind, std::uint64_t bits, std::uint64_t number)
{
    switch (kind) {
    case 2:
        mqtt.read(acknowledgeFlags);
        mqtt.read(number < 5 ? returnCode : reason);
        readProperties(mqtt, number);
        break;
    case 3:
        readText(mqtt, topic);
        if (bits & 6)
            mqtt.read(packetId);
        readProperties(mqtt, number);
        if (mqtt.more())
            mqtt.readText(payload, mqtt.left());
        break;
    case 8:
    case 10:
        mqtt.read(packetId);
        readProperties(mqtt, number);
        while (mqtt.more(3)) {
            readText(mqtt, topic);
            if (kind == 8)
                mqtt.read(requested);
        }
        break;
    case 4:
    case 5:
    case 6:
    case 7:
        mqtt.read(packetId);
        if (number >= 5 && mqtt.more())
            mqtt.read(reason);
        readProperties(mqtt, number);
        break;
    case 9:
    case 11:
        mqtt.read(packetId);
        readProperties(mqtt, number);
        readReasons(mqtt, number);
        break;
    case 14:
    case 15:
        if (number >= 5 && mqtt.more())
            mqtt.read(reason);
        readProperties(mqtt, number);
        break;
    default: break;
    }
    if (mqtt.more())
        mqtt.readRest(data);
}

/// Only the first packet tells the version, which the others depend on.
struct Version : ProtocolMemory {
    std::uint8_t number = 4;
};

std::uint8_t versionOf(Layer& mqtt)
{
    std::uint8_t number = 4;
    if (const auto kept = mqtt.kept(); kept && kept->size() == 1)
        number = kept->front();
    else if (const auto* const known = mqtt.memory<Version>(Transport::tcp, Layer::Ways::both))
        number = known->number;
    mqtt.keep({&number, 1});
    return number;
}

void learnVersion(Layer& mqtt, std::uint64_t number)
{
    if (auto* const known = mqtt.stopped() ? nullptr : mqtt.memory<Version>(Transport::tcp, Layer::Ways::both))
        known->number = static_cast<std::uint8_t>(number);
}

void decode(Layer& mqtt)
{
    std::uint64_t number = versionOf(mqtt);
    while (mqtt.more()) {
        if (mqtt.peek8() >> 4 == 0) {
            mqtt.readRest(data);
            return;
        }
        mqtt.beginMessage();
        const Layer::Group group(mqtt, message, mqtt.peek8() >> 4);
        const auto bits = mqtt.readParts(first, type, duplicate, quality, retain);
        const auto size = readLength(mqtt, length);
        mqtt.expect(size);
        const Layer::Window content(mqtt, size);
        if (bits >> 4 == 1)
            learnVersion(mqtt, number = readConnect(mqtt));
        readBody(mqtt, bits >> 4, bits, number);
    }
}

void describe(const LayerView& mqtt, TextSink& out)
{
    const auto list = [&](const Field& field, std::string_view before, std::string_view between) {
        std::size_t told = 0;
        mqtt.each(field, [&](const Value& entry) {
            if (++told <= 6)
                out("{}{}", told > 1 ? between : before, entry);
        });
        if (told > 6)
            out(" and {} more", told - 6);
        return told;
    };
    list(message, "", ", ");
    if (const auto who = mqtt[client])
        out(" “{}”", who);
    if (const auto who = mqtt[user])
        out(", user “{}”", who);
    if (list(topic, " [", ", "))
        out("]");
    if (const auto how = mqtt[returnCode])
        out(" {}", how);
    list(reason, " ", ", ");
}

Likeness guess(Bytes bytes, Transport transport)
{
    const bool connects = transport == Transport::tcp && bytes.size() >= 12 && bytes[0] == 0x10 && bytes[2] == 0
        && (asText(bytes.subspan(4)).starts_with("MQTT") || asText(bytes.subspan(4)).starts_with("MQIsdp"));
    return connects ? Likeness::certain : Likeness::none;
}

constexpr Claim claims[] = {tcpPort(1883)};
} // namespace

constexpr Protocol protocol{{"mqtt", "MQTT", Wire::layer},    {}, claims, decode, describe, guess,
                            opensWith({Transport::tcp}, 0x10)};
static_assert(wellFormed(protocol));
} // namespace netrondo::mqtt
