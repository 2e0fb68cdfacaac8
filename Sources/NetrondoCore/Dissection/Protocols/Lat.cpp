// Local Area Transport: Digital's terminal servers and the hosts they reach, in frames without a network layer.
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::lat {
namespace {
constexpr NamedValue types[] = {{0, "Run"},
                                {1, "Start"},
                                {2, "Stop"},
                                {10, "Service announcement"},
                                {13, "Command"},
                                {14, "Status"},
                                {15, "Solicit information"},
                                {16, "Information"}};
constexpr NamedValue slotTypes[] = {{0, "data"},       {9, "start"},   {10, "parameters"},
                                    {11, "attention"}, {12, "reject"}, {13, "stop"}};

constexpr Field typeByte{"lat.type_byte", "Type and flags", Wire::hex8};
constexpr Field type{"lat.type", "Message", Wire::bits, types, 0xfc};
constexpr Field isMaster{"lat.master", "From the terminal server", Wire::bit, {}, 0x02};
constexpr Field wantsAnswer{"lat.answer", "Answer wanted", Wire::bit, {}, 0x01};
constexpr Field slotCount{"lat.slots", "Slots", Wire::u8};
constexpr Field destination{"lat.dst", "Destination circuit", Wire::leHex16};
constexpr Field source{"lat.src", "Source circuit", Wire::leHex16};
constexpr Field sequence{"lat.seq", "Sequence number", Wire::u8};
constexpr Field acknowledgment{"lat.ack", "Acknowledgment number", Wire::u8};
constexpr Field slot{"lat.slot", "Slot", Wire::group};
constexpr Field slotDestination{"lat.slot_dst", "Destination session", Wire::u8};
constexpr Field slotSource{"lat.slot_src", "Source session", Wire::u8};
constexpr Field slotLength{"lat.slot_len", "Length", Wire::u8};
constexpr Field slotByte{"lat.slot_byte", "Type and credits", Wire::hex8};
constexpr Field slotType{"lat.slot_type", "Type", Wire::bits, slotTypes, 0xf0};
constexpr Field credits{"lat.credits", "Credits", Wire::bits, {}, 0x0f};
constexpr Field circuitTimer{"lat.timer", "Circuit timer (10 ms)", Wire::u8};
constexpr Field highest{"lat.highest", "Highest version", Wire::u8};
constexpr Field lowest{"lat.lowest", "Lowest version", Wire::u8};
constexpr Field version{"lat.version", "Version", Wire::u8};
constexpr Field change{"lat.eco", "Version’s change", Wire::u8};
constexpr Field incarnation{"lat.incarnation", "Incarnation", Wire::u8};
constexpr Field changes{"lat.changes", "What changed", Wire::hex8};
constexpr Field frameSize{"lat.frame_size", "Largest frame", Wire::le16};
constexpr Field multicastTimer{"lat.multicast_timer", "Announced every (s)", Wire::u8};
constexpr Field status{"lat.status", "Node’s status", Wire::hex8};
constexpr Field textLength{"lat.text_len", "Length", Wire::u8};
constexpr Field groups{"lat.groups", "Groups", Wire::bytes};
constexpr Field node{"lat.node", "Node", Wire::text};
constexpr Field description{"lat.description", "Description", Wire::text};
constexpr Field serviceCount{"lat.services", "Services", Wire::u8};
constexpr Field serviceGroup{"lat.service_entry", "Service", Wire::group};
constexpr Field rating{"lat.rating", "Rating", Wire::u8};
constexpr Field service{"lat.service", "Name", Wire::text};
constexpr Field classes{"lat.classes", "Service classes", Wire::bytes};
constexpr Field data{"lat.data", "Data", Wire::bytes};

void readText(Layer& lat, const Field& field)
{
    lat.readText(field, lat.read(textLength));
}

void readAnnouncement(Layer& lat)
{
    lat.read(circuitTimer, highest, lowest, version, change);
    lat.read(incarnation, changes, frameSize, multicastTimer, status);
    lat.readBytes(groups, lat.read(textLength));
    readText(lat, node);
    readText(lat, description);
    const auto count = lat.read(serviceCount);
    for (std::uint64_t i = 0; i < count && lat.more(); ++i) {
        const Layer::Group group(lat, serviceGroup);
        lat.read(rating);
        readText(lat, service);
        readText(lat, description);
    }
    if (lat.more())
        lat.readBytes(classes, lat.read(textLength));
}

void readSlots(Layer& lat, std::uint64_t count)
{
    for (std::uint64_t i = 0; i < count && lat.more(4); ++i) {
        const Layer::Group group(lat, slot);
        lat.read(slotDestination, slotSource);
        const auto size = lat.read(slotLength);
        lat.readParts(slotByte, slotType, credits);
        if (size)
            lat.readBytes(data, size);
        lat.skip(std::min<std::size_t>(size % 2, lat.left()));
    }
}

void decode(Layer& lat)
{
    const auto kind = lat.readParts(typeByte, type, isMaster, wantsAnswer) >> 2;
    if (kind == 10) {
        readAnnouncement(lat);
        return lat.endHere();
    }
    if (kind > 2) {
        if (lat.more())
            lat.readRest(data);
        return;
    }
    const auto count = lat.read(slotCount);
    lat.read(destination, source, sequence, acknowledgment);
    if (kind == 0) {
        readSlots(lat, count);
        return lat.endHere();
    }
    if (lat.more())
        lat.readRest(data);
}

void describe(const LayerView& lat, TextSink& out)
{
    out("{}", lat[type]);
    if (const auto who = lat[node])
        out(" {}", who);
    std::size_t listed = 0;
    lat.each(service, [&](const Value& name) { out("{} {}", listed++ ? "," : ":", name); });
    if (const auto from = lat[source])
        out(", circuit {} → {}, {} slots", from, lat[destination], lat[slotCount]);
    if (const auto what = lat[slotType])
        out(", {}", what);
}

constexpr Claim claims[] = {etherType(0x6004)};
} // namespace

constexpr Protocol protocol{{"lat", "LAT", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::lat
