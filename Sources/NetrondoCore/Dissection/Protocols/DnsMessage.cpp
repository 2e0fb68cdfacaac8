// Names, questions and records of DNS messages (RFC 1035), with the record types that are met in the field.
#include "Dissection/Protocols/DnsMessage.h"

#include "Base/Address.h"
#include "Dissection/Protocols/DnsTypes.h"
#include "Dissection/Protocols/NetBiosNames.h"

namespace netrondo::dnsMessage {
namespace {

constexpr NamedValue opcodes[] = {{0, "query"},   {1, "inverse query"}, {2, "status"},
                                  {4, "notify"},  {5, "update"},        {6, "registration"},
                                  {7, "release"}, {8, "wait"},          {9, "refresh"}};

constexpr Field flags{"dns.flags", "DNS flags", Wire::hex16};
constexpr Field isResponse{"dns.response", "Response", Wire::bit, {}, 0x8000};
constexpr Field opcode{"dns.opcode", "Opcode", Wire::bits, opcodes, 0x7800};
constexpr Field authoritative{"dns.aa", "Authoritative", Wire::bit, {}, 0x0400};
constexpr Field truncated{"dns.tc", "Truncated", Wire::bit, {}, 0x0200};
constexpr Field wanted{"dns.rd", "Recursion desired", Wire::bit, {}, 0x0100};
constexpr Field available{"dns.ra", "Recursion available", Wire::bit, {}, 0x0080};
constexpr Field authentic{"dns.ad", "Authentic data", Wire::bit, {}, 0x0020};
constexpr Field unchecked{"dns.cd", "Checking disabled", Wire::bit, {}, 0x0010};
constexpr Field questions{"dns.questions", "Questions", Wire::u16};
constexpr Field answers{"dns.answers", "Answers", Wire::u16};
constexpr Field authorities{"dns.authorities", "Authority records", Wire::u16};
constexpr Field additionals{"dns.additionals", "Additional records", Wire::u16};
constexpr Field queryType{"dns.query_type", "Type", Wire::u16, dnsTypes};
constexpr Field queryClass{"dns.query_class", "Class", Wire::hex16, dnsClasses};
constexpr Field answerData{"dns.an.data", "Data", Wire::madeText};
constexpr Field authority{"dns.ns", "DNS authority", Wire::madeText};
constexpr Field authorityData{"dns.ns.data", "Data", Wire::madeText};
constexpr Field additional{"dns.ar", "DNS additional record", Wire::madeText};
constexpr Field additionalData{"dns.ar.data", "Data", Wire::madeText};
constexpr Field recordName{"dns.rr_name", "Name", Wire::madeText};
constexpr Field recordType{"dns.rr_type", "Type", Wire::u16, dnsTypes};
constexpr Field recordClass{"dns.rr_class", "Class", Wire::hex16, dnsClasses};
constexpr Field timeToLive{"dns.rr_ttl", "Time to live (s)", Wire::u32};
constexpr Field dataLength{"dns.rr_len", "Data length", Wire::u16};
constexpr Field nameField{"dns.name", "a domain name", Wire::madeText};

constexpr std::size_t maxName = 255;
constexpr int maxJumps = 64;

void putLabel(Bytes label, MadeText& out)
{
    for (const auto byte : label) {
        if (byte == '.')
            out.put("\\.");
        else
            out.put(static_cast<char>(byte));
    }
}

/// The text of a name that stands at the layer's offset, and the number of its bytes there (0 for a broken one).
std::size_t nameAt(Layer& layer, Names names, MadeText& out)
{
    const auto message = layer.whole();
    const auto offset = layer.offset() - layer.begin();
    if (names == Names::netBios) {
        // The decoded form replaces the letters, but its end is found as in DNS (a scope may follow the name).
        MadeText letters;
        const auto end = name(message, offset, letters);
        std::size_t at = offset;
        if (message.size() > offset + 1 && message[offset] >= 0xc0)
            at = static_cast<std::size_t>(message[offset] & 0x3f) << 8 | message[offset + 1];
        if (const auto sixteen = netBiosNames::unpack(slice(message, at)))
            netBiosNames::put(out, *sixteen);
        else
            out.put(letters);
        return end ? end - offset : 0;
    }
    const auto end = name(message, offset, out);
    return end ? end - offset : 0;
}

void addRest(Bytes data, MadeText& out)
{
    for (const auto byte : data.first(std::min<std::size_t>(data.size(), 64)))
        out.add("{:02x}", byte);
    if (data.size() > 64)
        out.put("…");
}

void putAddress(const Address& address, MadeText& out)
{
    char text[Address::maxText];
    out.put({text, address.write(text)});
}

void putStrings(Bytes data, MadeText& out)
{
    bool first = true;
    for (std::size_t at = 0; at < data.size();) {
        const auto part = slice(data, at + 1, data[at]);
        out.add("{}\"{}\"", first ? "" : " ", asText(part));
        at += 1 + part.size();
        first = false;
    }
}

void putNames(Bytes message, std::size_t at, int count, MadeText& out)
{
    for (int i = 0; i < count && at; ++i) {
        if (i)
            out.put(' ');
        at = name(message, at, out);
    }
}

/// The record's data in the notation of zone files, where it has one.
void recordData(Bytes message, std::size_t at, Bytes data, std::uint64_t type, Names names, MadeText& out)
{
    switch (type) {
    case 1:
        if (data.size() == 4)
            return putAddress(Address::ipv4(data.data()), out);
        break;
    case 28:
        if (data.size() == 16)
            return putAddress(Address::ipv6(data.data()), out);
        break;
    case 2:
    case 5:
    case 12:
    case 39: return putNames(message, at, 1, out);
    case 6:
    case 14:
    case 17: return putNames(message, at, 2, out);
    case 15:
    case 18:
    case 36:
        if (data.size() > 2) {
            out.add("{} ", load::be16(data.data()));
            return putNames(message, at + 2, 1, out);
        }
        break;
    case 13:
    case 16:
    case 99: return putStrings(data, out);
    case 32: // NB of the NetBIOS name service
        if (names == Names::netBios && data.size() >= 6)
            return putAddress(Address::ipv4(data.data() + 2), out);
        break;
    case 33:
        if (names == Names::domain && data.size() > 6) {
            out.add("{} {} {} ", load::be16(data.data()), load::be16(data.data() + 2), load::be16(data.data() + 4));
            return putNames(message, at + 6, 1, out);
        }
        break;
    case 43:
    case 48:
    case 59:
    case 60:
        if (data.size() >= 4)
            out.add("{} {} {} ", load::be16(data.data()), data[2], data[3]), data = data.subspan(4);
        break;
    case 46:
        if (data.size() >= 18) {
            out.add("{} {} {} ", nameIn(dnsTypes, load::be16(data.data())), data[2], load::be16(data.data() + 16));
            return putNames(message, at + 18, 1, out);
        }
        break;
    case 47: return putNames(message, at, 1, out);
    case 257:
        if (data.size() >= 2 && data.size() >= 2u + data[1]) {
            out.add("{} {} \"{}\"", data[0], asText(slice(data, 2, data[1])), asText(slice(data, 2u + data[1])));
            return;
        }
        break;
    default: break;
    }
    addRest(data, out);
}

struct Section {
    const Field& count;
    const Field& record;
    const Field& data;
};

void readQuestion(Layer& layer, Names names)
{
    MadeText text;
    const auto size = nameAt(layer, names, text);
    if (!size)
        return layer.isCut() ? layer.skip(layer.left() + 1) : layer.reject(nameField);
    layer.addText(question, text, layer.offset(), size);
    layer.skip(size);
    layer.read(queryType, queryClass);
}

void readRecord(Layer& layer, Names names, const Section& section)
{
    Layer::Group group(layer, section.record);
    MadeText text;
    const auto size = nameAt(layer, names, text);
    if (!size)
        return layer.isCut() ? layer.skip(layer.left() + 1) : layer.reject(nameField);
    layer.addText(recordName, text, layer.offset(), size);
    layer.skip(size);
    const auto type = layer.read(recordType);
    layer.read(recordClass, timeToLive);
    const auto length = layer.read(dataLength);
    if (layer.stopped())
        return;
    const auto typeName = nameIn(dnsTypes, type);
    text.add(" {}", typeName.empty() ? "?" : typeName);
    const Layer::Window body(layer, length);
    MadeText data;
    recordData(layer.whole(), layer.offset() - layer.begin(), layer.rest(), type, names, data);
    if (data.size()) {
        layer.addText(section.data, data, layer.offset(), layer.left());
        text.put(' ');
        text.put(data);
    }
    group.setText(text);
}

} // namespace

std::size_t name(Bytes message, std::size_t offset, MadeText& out)
{
    std::size_t end = 0, length = 0;
    const auto start = out.size();
    for (int jumps = 0; jumps < maxJumps;) {
        if (offset >= message.size())
            return 0;
        const std::size_t size = message[offset];
        if (size >= 0xc0) {
            if (offset + 2 > message.size())
                return 0;
            end = end ? end : offset + 2;
            offset = (size & 0x3f) << 8 | message[offset + 1];
            ++jumps;
            continue;
        }
        if (size == 0) {
            if (out.size() == start)
                out.put('.');
            return end ? end : offset + 1;
        }
        length += size + 1;
        if (size > 63 || length > maxName || offset + 1 + size > message.size())
            return 0;
        if (out.size() > start)
            out.put('.');
        putLabel(message.subspan(offset + 1, size), out);
        offset += 1 + size;
    }
    return 0;
}

void read(Layer& layer, Names names)
{
    layer.read(id);
    const auto word = layer.peek16();
    layer.readParts(flags, isResponse, opcode, authoritative, truncated, wanted, available, authentic, unchecked);
    // A query has no response code; its bits are zero.
    if (!layer.stopped() && word & 0x8000)
        layer.add(rcode, word & 0xf, layer.offset() - 2, 2);
    const Section sections[] = {{answers, answer, answerData},
                                {authorities, authority, authorityData},
                                {additionals, additional, additionalData}};
    std::uint64_t counts[4] = {layer.read(questions)};
    for (std::size_t i = 0; i < 3; ++i)
        counts[i + 1] = layer.read(sections[i].count);
    for (std::uint64_t i = 0; i < counts[0] && layer.more(); ++i)
        readQuestion(layer, names);
    for (std::size_t section = 0; section < 3; ++section) {
        for (std::uint64_t i = 0; i < counts[section + 1] && layer.more(); ++i)
            readRecord(layer, names, sections[section]);
    }
}

void describe(const LayerView& view, TextSink& out)
{
    const bool response = view[isResponse] == 1;
    const auto kind = view[opcode];
    if (!kind)
        return;
    if (kind == 0)
        out("{} ", response ? "Response" : "Query");
    else
        out("{}{} ", kind, response ? " response" : "");
    out("0x");
    out.putHex(view[id].number(), 4);
    if (const auto name = view[question]) {
        if (const auto type = view[queryType])
            out(" {}", type);
        out(" {}", name);
    }
    if (const auto code = view[rcode]; code && code.number())
        out(", {}", code);
    std::size_t shown = 0;
    view.each(answer, [&](const Value& record) {
        if (++shown <= 5) // the row has an end; the tree has the rest
            out("{} {}", shown == 1 ? ":" : ",", record);
    });
    if (shown > 5)
        out(", and {} more", shown - 5);
    if (response && !shown && view[rcode] == 0 && view[truncated] == 0)
        out(", no answer");
    if (view[truncated] == 1)
        out(", truncated");
}

bool looksRight(Bytes message)
{
    if (message.size() < 12)
        return false;
    const auto word = load::be16(message.data() + 2);
    const auto asked = load::be16(message.data() + 4), answered = load::be16(message.data() + 6);
    if ((word >> 11 & 0xf) > 6 || (word & 0x0040) || asked > 8 || answered > 200)
        return false;
    if (load::be16(message.data() + 8) > 64 || load::be16(message.data() + 10) > 64 || asked + answered == 0)
        return false;
    MadeText text;
    const auto end = name(message, 12, text);
    if (end == 0 || end + 4 > message.size())
        return false;
    // A question and a record alike go on with a type and a class, whose highest bit is mDNS's own.
    constexpr std::uint16_t internet = 1, none = 254, any = 255;
    const auto classOf = load::be16(&message[end + 2]) & 0x7fff;
    return load::be16(&message[end]) && ((classOf >= internet && classOf <= 4) || classOf == none || classOf == any);
}

} // namespace netrondo::dnsMessage
