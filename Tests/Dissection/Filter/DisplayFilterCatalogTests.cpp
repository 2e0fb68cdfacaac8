// The names that filters know.
#include "Dissection/Filter/DisplayFilterCatalog.h"

#include "Dissection/Decode/Dissector.h"
#include "Dissection/Filter/FilterText.h"

#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>

namespace netrondo::test {
namespace {

std::string json(std::string_view name)
{
    std::string text;
    TextOutput out(text);
    JsonWriter writer(out);
    write(writer, *DisplayFilterCatalog::field(name));
    out.flush();
    return text;
}

struct AliasCase {
    std::string_view alias, name;
};

class AliasTable : public testing::TestWithParam<AliasCase> { };

} // namespace

TEST(DisplayFilterCatalog, Has122EntriesWithTheProtocolsFirst)
{
    const auto fields = DisplayFilterCatalog::fields();
    ASSERT_EQ(fields.size(), 122u);
    for (std::size_t i = 0; i < fields.size(); ++i)
        EXPECT_EQ(fields[i].extractor.kind == DisplayFilterExtractor::Kind::proto, i < 43) << fields[i].name;
    EXPECT_EQ(fields.front().name, "frame");
    EXPECT_EQ(fields[42].name, "quic");
    EXPECT_EQ(fields[43].name, "frame.len");
    EXPECT_EQ(fields.back().name, "host");
}

TEST(DisplayFilterCatalog, EveryNameAndAliasIsLowerCaseAndStandsOnce)
{
    std::set<std::string_view> seen;
    for (const auto& field : DisplayFilterCatalog::fields()) {
        EXPECT_FALSE(field.summary.empty()) << field.name;
        for (const auto name : field.allNames()) {
            EXPECT_TRUE(seen.insert(name).second) << name << " stands twice";
            EXPECT_EQ(lowerCased(name), name);
        }
    }
}

TEST(DisplayFilterCatalog, FindsAFieldInAnyCase)
{
    ASSERT_TRUE(DisplayFilterCatalog::field("TCP.PORT"));
    EXPECT_EQ(DisplayFilterCatalog::field("TCP.PORT")->name, "tcp.port");
    EXPECT_TRUE(DisplayFilterCatalog::isKnown("Host"));
}

TEST(DisplayFilterCatalog, KnowsNoOtherName)
{
    for (const auto* name : {"foo.bar", "", "tcp.", "tcp.ports", "matches", " tcp"})
        EXPECT_FALSE(DisplayFilterCatalog::isKnown(name)) << name;
}

TEST_P(AliasTable, ResolvesToTheCatalogsField)
{
    const auto* field = DisplayFilterCatalog::field(GetParam().alias);
    ASSERT_TRUE(field);
    EXPECT_EQ(field->name, GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(
    Spellings, AliasTable,
    testing::Values(AliasCase{"ethernet", "eth"}, AliasCase{"ip.version", "ip.ver"}, AliasCase{"ip.hdr.ttl", "ip.ttl"},
                    AliasCase{"ipv6.hlim", "ipv6.hop"}, AliasCase{"ipv6.nxt", "ipv6.next"},
                    AliasCase{"tcp.window_size", "tcp.window"}, AliasCase{"tcp.flags.rst", "tcp.flags.reset"},
                    AliasCase{"tcp.options.mss_val", "tcp.opt.mss"}, AliasCase{"dns.qry.name", "dns.q"},
                    AliasCase{"dns.flags.rcode", "dns.rcode"}, AliasCase{"http.user_agent", "http.ua"},
                    AliasCase{"http.content_type", "http.ct"}, AliasCase{"http.content_length", "http.cl"},
                    AliasCase{"bootp", "dhcp"}, AliasCase{"ssl", "tls"}, AliasCase{"SSL", "tls"},
                    AliasCase{"postgresql", "postgres"}, AliasCase{"pgsql", "postgres"}, AliasCase{"smb2", "smb"},
                    AliasCase{"tls.handshake.extensions_server_name", "tls.sni"}));

TEST(DisplayFilterCatalog, TheAnalysisNamesReadThisProgramsOwnFindings)
{
    using Kind = DisplayFilterExtractor::Kind;
    const std::map<std::string_view, std::string_view> findings = {
        {"tcp.analysis.retransmission", "tcp.retx.endpoint"},  {"tcp.analysis.spurious_retransmission", "tcp.spurious"},
        {"tcp.analysis.ack_lost_segment", "tcp.acked_unseen"}, {"tcp.analysis.zero_window", "tcp.zerowin"},
        {"tcp.analysis.duplicate_ack", "tcp.retx.infra"},
    };
    for (const auto& [name, finding] : findings)
        EXPECT_EQ(DisplayFilterCatalog::field(name)->extractor, (DisplayFilterExtractor{Kind::expert, {finding}}));
}

TEST(DisplayFilterCatalog, NamesWhatSomeDissectorProduces)
{
    std::set<std::string_view> protocols, ids, findings;
    for (const auto* protocol : Dissector::protocols()) {
        protocols.insert(protocol->field.id);
        for (const auto* field : protocol->catalogue)
            ids.insert(field->id);
    }
#define NR_EXPERT(identifier, id, text) findings.insert(id);
#include "Dissection/Decode/Expert.def"
#undef NR_EXPERT
    std::string missing;
    for (const auto& field : DisplayFilterCatalog::fields()) {
        using Kind = DisplayFilterExtractor::Kind;
        const auto kind = field.extractor.kind;
        for (const auto id : field.extractor.payload)
            if ((kind == Kind::proto && !protocols.contains(id)) || (kind == Kind::expert && !findings.contains(id))
                || ((kind == Kind::tree || kind == Kind::trees) && !ids.contains(id)))
                (missing += id) += ' ';
    }
    EXPECT_EQ(missing, "");
}

TEST(DisplayFilterCatalog, IsWrittenAsJson)
{
    EXPECT_EQ(json("tcp"), R"({"name":"tcp","aliases":[],"summary":"TCP","extractor":{"proto":"tcp"}})");
    EXPECT_EQ(json("ip.addr"),
              R"({"name":"ip.addr","aliases":[],"summary":"IPv4 source or destination",)"
              R"("extractor":{"trees":["ip.src","ip.dst"]}})");
    EXPECT_EQ(json("tcp.flags.rst"),
              R"({"name":"tcp.flags.reset","aliases":["tcp.flags.rst"],"summary":"RST flag",)"
              R"("extractor":{"flagsContains":"RST"}})");
    EXPECT_EQ(json("frame.number"),
              R"({"name":"frame.number","aliases":[],"summary":"Packet number","extractor":{"summaryNumber":null}})");
}

} // namespace netrondo::test
