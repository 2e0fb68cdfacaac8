// Open Shortest Path First versions 2 and 3 (RFC 2328, RFC 5340), with the link states that routers tell each other.
#include "Dissection/Protocols/Checksums.h"
#include "Dissection/Protocols/Prefix.h"
#include "Dissection/Protocols/Protocols.h"
#include "Dissection/Wire/InternetChecksum.h"

namespace netrondo::ospf {
namespace {
constexpr NamedValue types[] = {
    {1, "Hello"}, {2, "Database Description"}, {3, "LS Request"}, {4, "LS Update"}, {5, "LS Acknowledge"}};
constexpr NamedValue authTypes[] = {{0, "none"}, {1, "password"}, {2, "cryptographic"}};
constexpr NamedValue descriptionFlags[] = {{1, "master"}, {2, "more"}, {4, "init"}};
constexpr NamedValue stateTypes2[] = {
    {1, "Router"},      {2, "Network"},       {3, "Summary, network"}, {4, "Summary, border router"},
    {5, "AS external"}, {7, "NSSA external"}, {9, "Opaque, link"},     {10, "Opaque, area"},
    {11, "Opaque, AS"}};
constexpr NamedValue stateTypes3[] = {{0x2001, "Router"},
                                      {0x2002, "Network"},
                                      {0x2003, "Inter-area prefix"},
                                      {0x2004, "Inter-area router"},
                                      {0x4005, "AS external"},
                                      {0x2007, "NSSA external"},
                                      {0x0008, "Link"},
                                      {0x2009, "Intra-area prefix"}};
constexpr NamedValue routerFlags[] = {{1, "area border"}, {2, "AS boundary"}, {4, "virtual link"}};
constexpr NamedValue linkTypes[] = {{1, "point-to-point"}, {2, "transit"}, {3, "stub"}, {4, "virtual"}};

constexpr Field version{"ospf.version", "Version", Wire::u8};
constexpr Field type{"ospf.type", "Type", Wire::u8, types};
constexpr Field length{"ospf.len", "Length", Wire::u16};
constexpr Field router{"ospf.router", "Router", Wire::ipv4};
constexpr Field area{"ospf.area", "Area", Wire::ipv4};
constexpr Field checksum{"ospf.checksum", "Checksum", Wire::checksum16};
constexpr Field authType{"ospf.auth_type", "Authentication type", Wire::u16, authTypes};
constexpr Field authData{"ospf.auth", "Authentication", Wire::bytes};
constexpr Field instance{"ospf.instance", "Instance", Wire::u8};
constexpr Field reserved{"ospf.reserved", "Reserved", Wire::u8};
constexpr Field reserved16{"ospf.reserved", "Reserved", Wire::u16};
constexpr Field mask{"ospf.mask", "Network mask", Wire::ipv4};
constexpr Field helloInterval{"ospf.hello_interval", "Hello interval (s)", Wire::u16};
constexpr Field options{"ospf.options", "Options", Wire::hex8};
constexpr Field options3{"ospf.options", "Options", Wire::hex24};
constexpr Field priority{"ospf.priority", "Priority", Wire::u8};
constexpr Field deadInterval{"ospf.dead_interval", "Dead interval (s)", Wire::u32};
constexpr Field deadInterval3{"ospf.dead_interval", "Dead interval (s)", Wire::u16};
constexpr Field interface {
    "ospf.interface", "Interface ID", Wire::u32
};
constexpr Field designated{"ospf.dr", "Designated router", Wire::ipv4};
constexpr Field backup{"ospf.bdr", "Backup designated router", Wire::ipv4};
constexpr Field neighbour{"ospf.neighbour", "Neighbour", Wire::ipv4};
constexpr Field mtu{"ospf.mtu", "Interface MTU", Wire::u16};
constexpr Field description{"ospf.dd_flags", "Description flags", Wire::flags8, descriptionFlags};
constexpr Field sequence{"ospf.dd_seq", "Description sequence number", Wire::u32};
constexpr Field request{"ospf.request", "Requested link state", Wire::group};
constexpr Field requestType2{"ospf.lsa.type", "Type", Wire::u32, stateTypes2};
constexpr Field count{"ospf.lsa_count", "Number of link states", Wire::u32};

constexpr Field state2{"ospf.lsa", "Link state", Wire::number, stateTypes2};
constexpr Field state3{"ospf.lsa", "Link state", Wire::number, stateTypes3};
constexpr Field age{"ospf.lsa.age", "Age (s)", Wire::u16};
constexpr Field stateType2{"ospf.lsa.type", "Type", Wire::u8, stateTypes2};
constexpr Field stateType3{"ospf.lsa.type", "Type", Wire::hex16, stateTypes3};
constexpr Field stateId{"ospf.lsa.id", "Link state ID", Wire::ipv4};
constexpr Field advertiser{"ospf.lsa.router", "Advertising router", Wire::ipv4};
constexpr Field stateSequence{"ospf.lsa.seq", "Sequence number", Wire::hex32};
constexpr Field stateChecksum{"ospf.lsa.checksum", "Checksum", Wire::hex16};
constexpr Field stateLength{"ospf.lsa.len", "Length", Wire::u16};
constexpr Field flags{"ospf.lsa.flags", "Router flags", Wire::flags8, routerFlags};
constexpr Field linkCount{"ospf.lsa.links", "Number of links", Wire::u16};
constexpr Field link{"ospf.link", "Link", Wire::number, linkTypes};
constexpr Field linkId{"ospf.link.id", "Link ID", Wire::ipv4};
constexpr Field linkData{"ospf.link.data", "Link data", Wire::ipv4};
constexpr Field linkType{"ospf.link.type", "Link type", Wire::u8, linkTypes};
constexpr Field serviceCount{"ospf.link.tos_count", "Further metrics", Wire::u8};
constexpr Field metric{"ospf.metric", "Metric", Wire::u16};
constexpr Field metric24{"ospf.metric", "Metric", Wire::u24};
constexpr Field service{"ospf.link.tos", "Metric by type of service", Wire::hex32};
constexpr Field attached{"ospf.lsa.attached", "Attached router", Wire::ipv4};
constexpr Field externalBits{"ospf.lsa.external_bits", "External bits", Wire::hex8};
constexpr Field isType2{"ospf.lsa.type2_metric", "Metric of type 2", Wire::bit, {}, 0x80};
constexpr Field isType2v3{"ospf.lsa.type2_metric", "Metric of type 2", Wire::bit, {}, 0x04};
constexpr Field forwarding{"ospf.lsa.forwarding", "Forwarding address", Wire::ipv4};
constexpr Field forwarding6{"ospf.lsa.forwarding", "Forwarding address", Wire::ipv6};
constexpr Field tag{"ospf.lsa.tag", "External route tag", Wire::u32};
constexpr Field neighbourInterface{"ospf.link.neighbour_interface", "Neighbour’s interface ID", Wire::u32};
constexpr Field neighbourRouter{"ospf.link.neighbour", "Neighbouring router", Wire::ipv4};
constexpr Field linkLocal{"ospf.lsa.link_local", "Link-local address", Wire::ipv6};
constexpr Field prefixCount{"ospf.lsa.prefixes", "Number of prefixes", Wire::u32};
constexpr Field prefixCount16{"ospf.lsa.prefixes", "Number of prefixes", Wire::u16};
constexpr Field prefixLength{"ospf.prefix.len", "Prefix length", Wire::u8};
constexpr Field prefixOptions{"ospf.prefix.options", "Prefix options", Wire::hex8};
constexpr Field prefixMetric{"ospf.prefix.metric", "Metric", Wire::u16};
constexpr Field prefix{"ospf.prefix", "Prefix", Wire::madeText};
constexpr Field referencedType{"ospf.lsa.ref_type", "Referenced type", Wire::hex16, stateTypes3};
constexpr Field referencedId{"ospf.lsa.ref_id", "Referenced link state ID", Wire::ipv4};
constexpr Field referencedRouter{"ospf.lsa.ref_router", "Referenced advertising router", Wire::ipv4};
constexpr Field destination{"ospf.lsa.destination", "Destination router", Wire::ipv4};
constexpr Field body{"ospf.body", "Body", Wire::bytes};

void readHello(Layer& ospf, std::uint64_t number)
{
    if (number == 2) {
        ospf.read(mask, helloInterval, options, priority);
        ospf.read(deadInterval);
    } else {
        ospf.read(interface, priority, options3);
        ospf.read(helloInterval, deadInterval3);
    }
    ospf.read(designated, backup);
    while (ospf.more(4))
        ospf.read(neighbour);
}

void readRouterLinks2(Layer& ospf)
{
    ospf.read(flags, reserved, linkCount);
    while (ospf.more(12)) {
        const Layer::Group group(ospf, link, ospf.peek8(8));
        ospf.read(linkId, linkData, linkType);
        const auto services = ospf.read(serviceCount);
        ospf.read(metric);
        for (std::uint64_t i = 0; i < services && ospf.more(4); ++i)
            ospf.read(service);
    }
}

void readBody2(Layer& ospf, std::uint64_t kind)
{
    switch (kind) {
    case 1: readRouterLinks2(ospf); break;
    case 2:
        ospf.read(mask);
        while (ospf.more(4))
            ospf.read(attached);
        break;
    case 3:
    case 4: ospf.read(mask, reserved, metric24); break;
    case 5:
    case 7:
        ospf.read(mask);
        ospf.readParts(externalBits, isType2);
        ospf.read(metric24, forwarding, tag);
        break;
    default: break;
    }
}

/// A prefix with its options and two bytes whose meaning depends on the link state (RFC 5340, A.4.1); tells those two.
std::uint64_t readPrefix(Layer& ospf, const Field& between)
{
    const auto bits = ospf.read(prefixLength);
    ospf.read(prefixOptions);
    const auto word = ospf.read(between);
    prefix::read(ospf, prefix, Address::Kind::ipv6, bits, prefix::bytesFor(bits + 24) / 4 * 4);
    return word;
}

void readExternal3(Layer& ospf)
{
    const auto bits = ospf.readParts(externalBits, isType2v3);
    ospf.read(metric24);
    const auto referenced = readPrefix(ospf, referencedType);
    if (bits & 2)
        ospf.read(forwarding6);
    if (bits & 1)
        ospf.read(tag);
    if (referenced)
        ospf.read(referencedId);
}

void readBody3(Layer& ospf, std::uint64_t kind)
{
    switch (kind) {
    case 0x2001:
        ospf.read(flags, options3);
        while (ospf.more(16)) {
            const Layer::Group group(ospf, link, ospf.peek8());
            ospf.read(linkType, reserved, metric, interface, neighbourInterface, neighbourRouter);
        }
        break;
    case 0x2002:
        ospf.read(reserved, options3);
        while (ospf.more(4))
            ospf.read(attached);
        break;
    case 0x2003:
        ospf.read(reserved, metric24);
        readPrefix(ospf, reserved16);
        break;
    case 0x2004: ospf.read(reserved, options3, reserved, metric24, destination); break;
    case 0x4005:
    case 0x2007: readExternal3(ospf); break;
    case 0x0008:
        ospf.read(priority, options3, linkLocal, prefixCount);
        while (ospf.more(4))
            readPrefix(ospf, reserved16);
        break;
    case 0x2009:
        ospf.read(prefixCount16, referencedType, referencedId, referencedRouter);
        while (ospf.more(4))
            readPrefix(ospf, prefixMetric);
        break;
    default: break;
    }
}

enum class Content { headers, whole };

void readState(Layer& ospf, std::uint64_t number, Content content)
{
    const std::uint64_t kind = number == 2 ? ospf.peek8(3) : ospf.peek16(2);
    const Layer::Group group(ospf, number == 2 ? state2 : state3, kind);
    ospf.read(age);
    if (number == 2)
        ospf.read(options, stateType2);
    else
        ospf.read(stateType3);
    ospf.read(stateId, advertiser, stateSequence, stateChecksum);
    const auto size = ospf.read(stateLength);
    if (ospf.stopped() || content == Content::headers)
        return;
    constexpr std::size_t header = 20;
    if (size < header)
        return ospf.reject(stateLength);
    const Layer::Window window(ospf, size - header);
    if (number == 2)
        readBody2(ospf, kind);
    else
        readBody3(ospf, kind);
    if (ospf.more())
        ospf.readRest(body);
}

void readDescription(Layer& ospf, std::uint64_t number)
{
    if (number == 2)
        ospf.read(mtu, options);
    else
        ospf.read(reserved, options3, mtu, reserved);
    ospf.read(description, sequence);
    while (ospf.more(20))
        readState(ospf, number, Content::headers);
}

void readRequests(Layer& ospf, std::uint64_t number)
{
    while (ospf.more(12)) {
        const Layer::Group group(ospf, request);
        if (number == 2)
            ospf.read(requestType2);
        else
            ospf.read(reserved16, stateType3);
        ospf.read(stateId, advertiser);
    }
}

void readMessage(Layer& ospf, std::uint64_t number, std::uint64_t kind)
{
    switch (kind) {
    case 1: readHello(ospf, number); break;
    case 2: readDescription(ospf, number); break;
    case 3: readRequests(ospf, number); break;
    case 4:
        ospf.read(count);
        while (ospf.more(20))
            readState(ospf, number, Content::whole);
        break;
    case 5:
        while (ospf.more(20))
            readState(ospf, number, Content::headers);
        break;
    default: break;
    }
    if (ospf.more())
        ospf.readRest(body);
}

/// Version 2 leaves its authentication out of the sum, and does without one where that is cryptographic.
void readChecksum2(Layer& ospf, std::uint64_t size)
{
    constexpr std::size_t authAt = 16, authEnd = 24;
    const auto whole = ospf.whole();
    const bool isSummed = size >= authEnd && size <= whole.size() && load::be16(&whole[14]) != 2;
    if (!isSummed || ospf.frame().isFragment)
        return static_cast<void>(ospf.read(checksum));
    checksums::readSum(ospf, checksum,
                       InternetChecksum::sum(whole.first(authAt))
                           + InternetChecksum::sum(whole.subspan(authEnd, size - authEnd)),
                       Expert::ospfChecksum);
}

void decode(Layer& ospf)
{
    const auto number = ospf.read(version), kind = ospf.read(type), size = ospf.read(length);
    ospf.read(router, area);
    if (number == 2) {
        readChecksum2(ospf, size);
        ospf.read(authType);
        ospf.readBytes(authData, 8);
    } else {
        if (size == ospf.whole().size())
            checksums::readTransport(ospf, checksum, 89, Expert::ospfChecksum);
        else
            ospf.read(checksum);
        ospf.read(instance, reserved);
    }
    const std::size_t header = number == 2 ? 24 : 16;
    if (ospf.stopped())
        return;
    if (size < header)
        return ospf.reject(length);
    {
        const Layer::Window message(ospf, size - header);
        readMessage(ospf, number, kind);
    }
    ospf.endHere(); // a cryptographic digest may follow
}

void describe(const LayerView& ospf, TextSink& out)
{
    out("{}, router {}, area {}", ospf[type], ospf[router], ospf[area]);
    std::size_t states = 0;
    const auto list = [&](const Value& state) {
        if (++states <= 4)
            out("{}{}", states == 1 ? ": " : ", ", state);
    };
    ospf.each(state2, list);
    ospf.each(state3, list);
    if (states > 4)
        out(" and {} more", states - 4);
}

constexpr Claim claims[] = {ipProtocol(89)};
} // namespace

constexpr Protocol protocol{{"ospf", "OSPF", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::ospf
