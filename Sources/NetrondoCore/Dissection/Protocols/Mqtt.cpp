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
constexpr Field acknowledgeFlags{"mqtt.ack_flags", "Acknowledge flags", Wire::hex8};
constexpr Field returnCode{"mqtt.return", "Return code", Wire::u8, returns};
constexpr Field topic{"mqtt.topic", "Topic", Wire::text};
constexpr Field packetId{"mqtt.id", "Packet ID", Wire::u16};
constexpr Field payload{"mqtt.payload", "Message", Wire::text};
constexpr Field requested{"mqtt.requested_qos", "Requested quality", Wire::u8};
constexpr Field data{"mqtt.data", "Data", Wire::bytes};

/// Seven bits a byte, lowest first, at most four bytes.
std::size_t readLength(Layer& mqtt)
{
    std::size_t value = 0, size = 0;
    while (size < 4 && size < mqtt.left()) {
        const auto byte = mqtt.peek8(size);
        value |= std::size_t{byte & 0x7fu} << (7 * size);
        ++size;
        if (!(byte & 0x80)) {
            mqtt.add(length, value, mqtt.offset(), size);
            mqtt.skip(size);
            return value;
        }
    }
    if (size == 4)
        mqtt.reject(length);
    else
        mqtt.skip(mqtt.left() + 1);
    return 0;
}

void readText(Layer& mqtt, const Field& field)
{
    const auto size = mqtt.read(textLength);
    mqtt.readText(field, size);
}

void readBody(Layer& mqtt, std::uint64_t kind, std::uint64_t bits)
{
    switch (kind) {
    case 1: {
        readText(mqtt, protocolName);
        const auto number = mqtt.read(version);
        mqtt.read(connectFlags, keepAlive);
        if (number < 5) // version 5 has properties first
            readText(mqtt, client);
        break;
    }
    case 2: mqtt.read(acknowledgeFlags, returnCode); break;
    case 3:
        readText(mqtt, topic);
        if (bits & 6)
            mqtt.read(packetId);
        if (mqtt.more())
            mqtt.readText(payload, mqtt.left());
        break;
    case 8:
        mqtt.read(packetId);
        while (mqtt.more(3)) {
            readText(mqtt, topic);
            mqtt.read(requested);
        }
        break;
    case 10:
        mqtt.read(packetId);
        while (mqtt.more(3))
            readText(mqtt, topic);
        break;
    case 4:
    case 5:
    case 6:
    case 7:
    case 9:
    case 11: mqtt.read(packetId); break;
    default: break;
    }
    if (mqtt.more())
        mqtt.readRest(data);
}

void decode(Layer& mqtt)
{
    while (mqtt.more()) {
        if (mqtt.peek8() >> 4 == 0) {
            mqtt.readRest(data);
            return;
        }
        mqtt.beginMessage();
        const Layer::Group group(mqtt, message, mqtt.peek8() >> 4);
        const auto bits = mqtt.readParts(first, type, duplicate, quality, retain);
        const auto size = readLength(mqtt);
        mqtt.expect(size);
        const Layer::Window content(mqtt, size);
        readBody(mqtt, bits >> 4, bits);
    }
}

void describe(const LayerView& mqtt, TextSink& out)
{
    bool isFirst = true;
    mqtt.each(message, [&](const Value& entry) {
        out("{}{}", isFirst ? "" : ", ", entry);
        isFirst = false;
    });
    if (const auto who = mqtt[client])
        out(" “{}”", who);
    if (const auto what = mqtt[topic])
        out(" [{}]", what);
    if (const auto how = mqtt[returnCode])
        out(" {}", how);
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
