// NetFlow 5, 7 and 9 (RFC 3954) and IPFIX (RFC 7011): what routers tell of the flows they saw.
#include "Dissection/Protocols/IpProtocolNames.h"
#include "Dissection/Protocols/NetflowElements.h"
#include "Dissection/Protocols/Protocols.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

namespace netrondo::netflow {
namespace {
constexpr NamedValue setNames[] = {
    {0, "templates"}, {1, "option templates"}, {2, "templates"}, {3, "option templates"}};

constexpr Field message{"netflow.message", "Message", Wire::group};
constexpr Field version{"netflow.version", "Version", Wire::u16};
constexpr Field count{"netflow.count", "Count", Wire::u16};
constexpr Field length{"netflow.length", "Length", Wire::u16};
constexpr Field upTime{"netflow.uptime", "Up time (ms)", Wire::u32};
constexpr Field time{"netflow.time", "Time", Wire::seconds};
constexpr Field nanoseconds{"netflow.nanoseconds", "Nanoseconds", Wire::u32};
constexpr Field sequence{"netflow.seq", "Sequence number", Wire::u32};
constexpr Field engineType{"netflow.engine_type", "Engine type", Wire::u8};
constexpr Field engine{"netflow.engine", "Engine", Wire::u8};
constexpr Field sampling{"netflow.sampling", "Sampling", Wire::hex16};
constexpr Field reserved{"netflow.reserved", "Reserved", Wire::hex32};
constexpr Field domain{"netflow.domain", "Observation domain", Wire::u32};
constexpr Field record{"netflow.record", "Flow record", Wire::group};
constexpr Field source{"netflow.src", "Source", Wire::ipv4};
constexpr Field destination{"netflow.dst", "Destination", Wire::ipv4};
constexpr Field nextHop{"netflow.next_hop", "Next hop", Wire::ipv4};
constexpr Field input{"netflow.input", "Input interface", Wire::u16};
constexpr Field output{"netflow.output", "Output interface", Wire::u16};
constexpr Field packets{"netflow.packets", "Packets", Wire::u32};
constexpr Field octets{"netflow.octets", "Octets", Wire::u32};
constexpr Field first{"netflow.first", "First packet (ms of up time)", Wire::u32};
constexpr Field last{"netflow.last", "Last packet (ms of up time)", Wire::u32};
constexpr Field sourcePort{"netflow.source_port", "Source port", Wire::u16};
constexpr Field destinationPort{"netflow.destination_port", "Destination port", Wire::u16};
constexpr Field flags8{"netflow.flags", "Flags", Wire::hex8};
constexpr Field tcpFlags{"netflow.tcp_flags", "TCP flags", Wire::hex8};
constexpr Field ipProtocolNumber{"netflow.protocol", "IP protocol", Wire::u8, ipProtocolNames};
constexpr Field service{"netflow.tos", "Type of service", Wire::hex8};
constexpr Field sourceAs{"netflow.source_as", "Source AS", Wire::u16};
constexpr Field destinationAs{"netflow.destination_as", "Destination AS", Wire::u16};
constexpr Field sourceMask{"netflow.source_mask", "Source prefix length", Wire::u8};
constexpr Field destinationMask{"netflow.destination_mask", "Destination prefix length", Wire::u8};
constexpr Field flags16{"netflow.flags", "Flags", Wire::hex16};
constexpr Field router{"netflow.router", "Router", Wire::ipv4};
constexpr Field set{"netflow.set", "Set", Wire::number, setNames};
constexpr Field setId{"netflow.set_id", "Set", Wire::u16, setNames};
constexpr Field setLength{"netflow.set_length", "Length", Wire::u16};
constexpr Field templateNode{"netflow.template", "Template", Wire::number};
constexpr Field templateId{"netflow.template_id", "Template", Wire::u16};
constexpr Field fieldCount{"netflow.field_count", "Fields", Wire::u16};
constexpr Field scopeCount{"netflow.scope_count", "Scope fields", Wire::u16};
constexpr Field scopeLength{"netflow.scope_length", "Scope length", Wire::u16};
constexpr Field optionLength{"netflow.option_length", "Options length", Wire::u16};
constexpr Field elementNode{"netflow.element", "Element", Wire::number, elementNames};
constexpr Field scopeNode{"netflow.scope", "Scope", Wire::number, scopeNames};
constexpr Field elementType{"netflow.element_type", "Type", Wire::number, elementNames};
constexpr Field scopeType{"netflow.scope_type", "Type", Wire::number, scopeNames};
constexpr Field elementLength{"netflow.element_length", "Length", Wire::u16};
constexpr Field enterprise{"netflow.enterprise", "Enterprise", Wire::u32};
constexpr Field number{"netflow.value", "Value", Wire::number};
constexpr Field ipProtocolValue{"netflow.protocol", "IP protocol", Wire::number, ipProtocolNames};
constexpr Field address4{"netflow.address", "Address", Wire::ipv4};
constexpr Field address6{"netflow.address", "Address", Wire::ipv6};
constexpr Field source6{"netflow.src", "Source", Wire::ipv6};
constexpr Field destination6{"netflow.dst", "Destination", Wire::ipv6};
constexpr Field station{"netflow.mac", "Station", Wire::mac};
constexpr Field text{"netflow.text", "Text", Wire::text};
constexpr Field moment{"netflow.moment", "Time", Wire::seconds};
constexpr Field bytes{"netflow.bytes", "Value", Wire::bytes};
constexpr Field records{"netflow.records", "Records of a template not seen", Wire::bytes};
constexpr Field padding{"netflow.padding", "Padding", Wire::bytes};
constexpr Field data{"netflow.data", "Data", Wire::bytes};

constexpr std::uint16_t anyLength = 0xffff, ownElements = 0x8000;

/// The fields of a record, as the template's bytes name them.
struct Shape {
    Bytes fields;
    std::size_t scopes = 0;
    bool isIpfix = false;
};

struct Specifier {
    std::uint16_t type, length;
    bool isOwn; ///< of an enterprise
};

/// The next specifier of a template; nothing at its end.
std::optional<Specifier> nextOf(Bytes& fields, bool isIpfix)
{
    if (fields.size() < 4)
        return std::nullopt;
    const auto type = load::be16(&fields[0]), size = load::be16(&fields[2]);
    const bool isOwn = isIpfix && type & ownElements;
    if (isOwn && fields.size() < 8)
        return std::nullopt;
    fields = fields.subspan(isOwn ? 8 : 4);
    return Specifier{isOwn ? static_cast<std::uint16_t>(type & ~ownElements) : type, size, isOwn};
}

/// Templates of one exporter, which sends them now and then; past the bounds the oldest are forgotten.
struct Templates : ProtocolMemory {
    static constexpr std::size_t most = 32, mostBytes = 1024;
    struct Entry {
        std::uint32_t domain;
        std::uint16_t id;
        std::vector<std::uint8_t> shape; ///< two bytes with the number of scopes, then the fields
    };
    std::vector<Entry> entries;

    Entry* find(std::uint32_t domainNumber, std::uint64_t wanted)
    {
        const auto found = std::ranges::find_if(
            entries, [&](const Entry& entry) { return entry.domain == domainNumber && entry.id == wanted; });
        return found == entries.end() ? nullptr : &*found;
    }
    void put(std::uint32_t domainNumber, std::uint16_t id, const Shape& shape)
    {
        if (shape.fields.size() > mostBytes)
            return;
        if (!find(domainNumber, id)) {
            if (entries.size() == most)
                entries.erase(entries.begin());
            entries.push_back({domainNumber, id, {}});
        }
        auto& bytesOf = find(domainNumber, id)->shape;
        bytesOf = {static_cast<std::uint8_t>(shape.scopes >> 8), static_cast<std::uint8_t>(shape.scopes)};
        bytesOf.insert(bytesOf.end(), shape.fields.begin(), shape.fields.end());
    }
};

/// The template that begins there; `size` says how many bytes it takes.
std::optional<Shape> shapeAt(Bytes all, bool isIpfix, bool isOptions, std::size_t& size)
{
    const std::size_t head = isOptions ? 6 : 4;
    if (all.size() < head)
        return std::nullopt;
    Shape shape{{}, 0, isIpfix};
    const std::size_t first16 = load::be16(&all[2]), second16 = isOptions ? load::be16(&all[4]) : 0;
    const std::size_t fields = isOptions && !isIpfix ? (first16 + second16) / 4 : first16;
    if (isOptions)
        shape.scopes = isIpfix ? second16 : first16 / 4;
    auto rest = all.subspan(head);
    for (std::size_t i = 0; i < fields; ++i) {
        if (!nextOf(rest, isIpfix))
            return std::nullopt;
    }
    size = all.size() - rest.size();
    shape.fields = all.subspan(head, size - head);
    return shape;
}

bool isTemplateSet(std::uint64_t id, bool isIpfix)
{
    return isIpfix ? id == 2 || id == 3 : id < 2;
}

class Message {
public:
    Message(Layer& flow, bool isIpfix) : flow_(flow), isIpfix_(isIpfix) { }

    void readSets()
    {
        domain_ = static_cast<std::uint32_t>(flow_.read(domain));
        while (flow_.more(4))
            readSet();
    }

private:
    void readSet()
    {
        const Layer::Group group(flow_, set, flow_.peek16());
        const auto id = flow_.read(setId), size = flow_.read(setLength);
        if (size < 4)
            return flow_.reject(setLength);
        const Layer::Window content(flow_, size - 4);
        if (isTemplateSet(id, isIpfix_)) {
            while (flow_.more(4) && flow_.peek16() >= 256)
                readTemplate(id % 2 == 1);
        } else if (id >= 256) {
            readRecords(id);
        }
        if (flow_.more())
            flow_.readRest(flow_.left() < 4 ? padding : data);
    }

    void readTemplate(bool isOptions)
    {
        const auto id = flow_.peek16();
        const auto before = flow_.rest();
        const Layer::Group group(flow_, templateNode, id);
        flow_.read(templateId);
        std::uint64_t scopes = 0, fields = 0;
        if (!isOptions) {
            fields = flow_.read(fieldCount);
        } else if (isIpfix_) {
            fields = flow_.read(fieldCount), scopes = flow_.read(scopeCount);
        } else {
            scopes = flow_.read(scopeLength) / 4;
            fields = scopes + flow_.read(optionLength) / 4;
        }
        for (std::uint64_t i = 0; i < fields && flow_.more(); ++i)
            readSpecifier(i < scopes && !isIpfix_);
        std::size_t size = 0;
        const auto shape = flow_.stopped() ? std::nullopt : shapeAt(before, isIpfix_, isOptions, size);
        if (!shape)
            return;
        here_[hereCount_++ % here_.size()] = {id, *shape};
        if (auto* const known = memory())
            known->put(domain_, id, *shape);
    }

    void readSpecifier(bool isScope)
    {
        const auto kind = flow_.peek16();
        const bool isOwn = isIpfix_ && kind & ownElements;
        const unsigned type = isOwn ? kind & ~unsigned{ownElements} : kind;
        const Layer::Group group(flow_, isScope ? scopeNode : elementNode, type);
        if (flow_.left() < 2)
            return flow_.await(elementType);
        flow_.add(isScope ? scopeType : elementType, type, flow_.offset(), 2);
        flow_.skip(2);
        flow_.read(elementLength);
        if (isOwn)
            flow_.read(enterprise);
    }

    Templates* memory()
    {
        const auto transport = flow_.summary().transport;
        return transport == Transport::udp || transport == Transport::tcp
            ? flow_.memory<Templates>(transport, Layer::Ways::one)
            : nullptr;
    }

    /// A template of this message stands before what it describes.
    const Shape* findHere(std::uint64_t id) const
    {
        for (auto i = std::min(hereCount_, here_.size()); i-- > 0;) {
            if (here_[i].id == id)
                return &here_[i].shape;
        }
        return nullptr;
    }

    std::optional<Shape> shapeOf(std::uint64_t id)
    {
        if (const auto* const here = findHere(id))
            return *here;
        Bytes stored;
        if (const auto kept = flow_.kept()) {
            stored = *kept;
        } else if (auto* const known = memory()) {
            if (const auto* entry = known->find(domain_, id))
                stored = entry->shape;
        }
        flow_.keep(stored);
        if (stored.size() < 2)
            return std::nullopt;
        return Shape{stored.subspan(2), load::be16(stored.data()), isIpfix_};
    }

    void readRecords(std::uint64_t id)
    {
        const auto shape = shapeOf(id);
        std::size_t least = 0; // what a record takes at least
        if (shape) {
            for (auto fields = shape->fields; const auto next = nextOf(fields, isIpfix_);)
                least += next->length == anyLength && isIpfix_ ? 1u : next->length;
        }
        if (least == 0)
            return static_cast<void>(flow_.more() ? flow_.readRest(records) : Bytes());
        while (flow_.more() && flow_.leftOnWire() >= least) {
            const Layer::Group group(flow_, record);
            std::size_t place = 0;
            for (auto fields = shape->fields; const auto next = nextOf(fields, isIpfix_);) {
                if (flow_.stopped() || flow_.tree().full())
                    return;
                readElement(*next, place++ < shape->scopes && !isIpfix_);
            }
        }
    }

    void readElement(const Specifier& next, bool isScope)
    {
        const Layer::Group group(flow_, isScope ? scopeNode : elementNode, next.type);
        std::size_t size = next.length;
        if (size == anyLength && isIpfix_) {
            const bool isLong = flow_.peek8() == 255;
            size = isLong ? flow_.peek16(1) : flow_.peek8();
            flow_.skip(isLong ? 3 : 1);
        }
        if (flow_.left() < size || size == 0)
            return static_cast<void>(flow_.readBytes(bytes, size));
        if (const auto* field = next.isOwn || isScope ? nullptr : fieldOf(next.type);
            field && (sizeOf(field->wire) == size || field->wire == Wire::text)) {
            if (field->wire == Wire::text)
                flow_.readText(*field, size);
            else
                flow_.read(*field);
        } else if (size <= 8 && !next.isOwn) {
            std::uint64_t value = 0;
            for (std::size_t i = 0; i < size; ++i)
                value = value << 8 | flow_.peek8(i);
            flow_.add(next.type == 4 && !isScope ? ipProtocolValue : number, value, flow_.offset(), size);
            flow_.skip(size);
        } else {
            flow_.readBytes(bytes, size);
        }
    }

    static const Field* fieldOf(unsigned type)
    {
        switch (type) {
        case 7: return &sourcePort;
        case 8: return &source;
        case 11: return &destinationPort;
        case 12: return &destination;
        case 15: return &nextHop;
        case 18:
        case 130:
        case 225:
        case 226: return &address4;
        case 27: return &source6;
        case 28: return &destination6;
        case 62:
        case 63:
        case 131:
        case 281:
        case 282: return &address6;
        case 56:
        case 57:
        case 80:
        case 81: return &station;
        case 82:
        case 83:
        case 84:
        case 94:
        case 96:
        case 236:
        case 371: return &text;
        case 150:
        case 151: return &moment;
        default: return nullptr;
        }
    }

    Layer& flow_;
    struct Here {
        std::uint64_t id = 0;
        Shape shape;
    };
    std::array<Here, 32> here_; ///< templates of this message
    std::size_t hereCount_ = 0;
    std::uint32_t domain_ = 0;
    bool isIpfix_;
};

void readFixed(Layer& flow, bool isSeven)
{
    flow.read(version);
    const auto many = flow.read(count);
    flow.read(upTime, time, nanoseconds, sequence);
    if (isSeven)
        flow.read(reserved);
    else
        flow.read(engineType, engine, sampling);
    for (std::uint64_t i = 0; i < many && flow.more(); ++i) {
        const Layer::Group group(flow, record);
        flow.read(source, destination, nextHop, input, output, packets, octets, first, last, sourcePort,
                  destinationPort, flags8, tcpFlags, ipProtocolNumber, service, sourceAs, destinationAs, sourceMask,
                  destinationMask, flags16);
        if (isSeven)
            flow.read(router);
    }
}

void readMessage(Layer& flow)
{
    const auto kind = flow.peek16();
    const Layer::Group group(flow, message);
    if (kind == 5 || kind == 7)
        return readFixed(flow, kind == 7);
    Message sets(flow, kind == 10);
    if (kind == 9) {
        flow.read(version, count, upTime, time, sequence);
        return sets.readSets();
    }
    flow.read(version);
    const auto size = flow.read(length);
    if (size < 16)
        return flow.reject(length);
    const Layer::Window body(flow, size - 4);
    flow.read(time, sequence);
    sets.readSets();
}

bool isVersion(unsigned word)
{
    return word == 5 || word == 7 || word == 9 || word == 10;
}

void decode(Layer& flow)
{
    while (flow.more()) {
        if (flow.left() >= 2 ? !isVersion(flow.peek16()) : flow.peek8() != 0)
            return static_cast<void>(flow.readRest(data));
        flow.beginMessage();
        readMessage(flow);
    }
}

void describe(const LayerView& flow, TextSink& out)
{
    const auto kind = flow[version];
    if (!kind)
        return out("Data, {} bytes", flow.bytes().size());
    if (kind == 10)
        out("IPFIX");
    else
        out("NetFlow {}", kind);
    const auto say = [&](const Field& field, std::string_view one, std::string_view many) {
        if (const auto found = flow.count(field))
            out(", {} {}", found, found == 1 ? one : many);
    };
    say(templateNode, "template", "templates");
    say(record, "flow", "flows");
    say(records, "set of a template not seen", "sets of templates not seen");
    if (const auto where = flow[domain])
        out(", domain {}", where);
    if (flow.count(record) == 1) {
        const auto from = flow[source] ? flow[source] : flow[source6];
        const auto to = flow[destination] ? flow[destination] : flow[destination6];
        if (from && to)
            out(", {} → {}", from, to);
    }
}

/// A message that is filled by its records or its sets to the last byte.
Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::udp && transport != Transport::tcp)
        return Likeness::none;
    if (payload.size() < 20 || !isVersion(load::be16(payload.data())))
        return Likeness::none;
    const auto kind = load::be16(payload.data()), second = load::be16(payload.data() + 2);
    if (kind == 5 || kind == 7) {
        const std::size_t size = kind == 5 ? 48 : 52;
        return transport == Transport::udp && second >= 1 && second <= 30 && payload.size() == 24 + size * second
            ? Likeness::likely
            : Likeness::none;
    }
    if (kind == 10 && second != payload.size())
        return Likeness::none;
    if (kind == 9 && (transport != Transport::udp || second == 0))
        return Likeness::none;
    std::size_t at = kind == 9 ? 20 : 16;
    if (at + 4 > payload.size())
        return Likeness::none;
    while (at + 4 <= payload.size()) {
        const auto id = load::be16(&payload[at]), size = load::be16(&payload[at + 2]);
        if (size <= 4 || (id < 256 && !isTemplateSet(id, kind == 10)))
            return Likeness::none;
        at += size;
    }
    return at == payload.size() ? Likeness::likely : Likeness::none;
}

constexpr Claim claims[] = {udpPort(2055), udpPorts(9995, 9996), udpPort(4739), tcpPort(4739), sctpPort(4739)};
} // namespace

constexpr Protocol protocol{{"netflow", "NetFlow", Wire::layer},           {}, claims, decode, describe, guess,
                            opensWith({Transport::udp, Transport::tcp}, 0)};
static_assert(wellFormed(protocol));
} // namespace netrondo::netflow
