// Internet Group Management Protocol versions 1 to 3 (RFC 1112, 2236, 3376).
#include "Dissection/Protocols/Checksums.h"
#include "Dissection/Protocols/Protocols.h"

namespace netrondo::igmp {
namespace {
constexpr NamedValue types[] = {{0x11, "Membership query"},
                                {0x12, "Membership report v1"},
                                {0x13, "DVMRP"},
                                {0x14, "PIM v1"},
                                {0x16, "Membership report v2"},
                                {0x17, "Leave group"},
                                {0x1e, "Multicast traceroute response"},
                                {0x1f, "Multicast traceroute"},
                                {0x22, "Membership report v3"},
                                {0x30, "Multicast router advertisement"},
                                {0x31, "Multicast router solicitation"},
                                {0xfc, "RGMP leave group"},
                                {0xfd, "RGMP join group"},
                                {0xfe, "RGMP bye"},
                                {0xff, "RGMP hello"}};
constexpr NamedValue recordTypes[] = {{1, "is include"},        {2, "is exclude"},        {3, "change to include"},
                                      {4, "change to exclude"}, {5, "allow new sources"}, {6, "block old sources"}};

constexpr Field type{"igmp.type", "IGMP type", Wire::hex8, types};
constexpr Field maxResponse{"igmp.max_response", "Maximum response time (100 ms)", Wire::u8};
constexpr Field checksum{"igmp.checksum", "Checksum", Wire::checksum16};
constexpr Field group{"igmp.group", "Group", Wire::ipv4};
constexpr Field flags{"igmp.flags", "Flags", Wire::hex8};
constexpr Field queryInterval{"igmp.qqic", "Query interval code", Wire::u8};
constexpr Field sources{"igmp.sources", "Number of sources", Wire::u16};
constexpr Field source{"igmp.source", "Source", Wire::ipv4};
constexpr Field reserved{"igmp.reserved", "Reserved", Wire::hex16};
constexpr Field records{"igmp.records", "Number of records", Wire::u16};
constexpr Field record{"igmp.record", "Group record", Wire::number, recordTypes};
constexpr Field recordType{"igmp.record_type", "Type", Wire::u8, recordTypes};
constexpr Field auxiliary{"igmp.aux_len", "Auxiliary words", Wire::u8};

void readSources(Layer& igmp)
{
    const auto count = igmp.read(sources);
    for (std::uint64_t i = 0; i < count && igmp.more(); ++i)
        igmp.read(source);
}

void readRecords(Layer& igmp)
{
    igmp.read(reserved);
    const auto count = igmp.read(records);
    for (std::uint64_t i = 0; i < count && igmp.more(); ++i) {
        const Layer::Group node(igmp, record, igmp.peek8());
        igmp.read(recordType);
        const auto words = igmp.read(auxiliary);
        const auto addresses = igmp.read(sources);
        igmp.read(group);
        for (std::uint64_t j = 0; j < addresses && igmp.more(); ++j)
            igmp.read(source);
        if (words)
            igmp.skip(words * 4);
    }
}

void decode(Layer& igmp)
{
    const auto kind = igmp.read(type);
    igmp.read(maxResponse);
    if (igmp.isCut() || igmp.frame().isFragment || igmp.isQuoted())
        igmp.read(checksum);
    else
        checksums::read(igmp, checksum, igmp.whole(), 0, Expert::igmpChecksum);
    if (kind == 0x22)
        return readRecords(igmp);
    igmp.read(group);
    if (kind == 0x11 && igmp.left() >= 4) { // version 3
        igmp.read(flags, queryInterval);
        readSources(igmp);
    }
    igmp.endHere();
}

void describe(const LayerView& igmp, TextSink& out)
{
    const auto kind = igmp[type];
    out("{}", kind);
    if (kind == 0x22) {
        bool first = true;
        igmp.each(group, [&](const Value& address) {
            out("{}{}", first ? " " : ", ", address);
            first = false;
        });
        return;
    }
    const auto address = igmp[group];
    if (kind == 0x11 && address == 0)
        out(", general");
    else if (address)
        out(" {}", address);
}

constexpr Claim claims[] = {ipProtocol(2)};
} // namespace

constexpr Protocol protocol{{"igmp", "IGMP", Wire::layer}, {}, claims, decode, describe};
static_assert(wellFormed(protocol));
} // namespace netrondo::igmp
