// Filters from what a person points at.
#include "Dissection/Filter/FilterFrom.h"

#include "Dissection/Filter/DisplayFilter.h"
#include "Support/Dissect.h"
#include "Support/Hex.h"
#include "Support/ProtocolFrames.h"
#include "Support/Traffic.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

Decoded request()
{
    return decoded(tcpFrame({}, "GET /a HTTP/1.1\r\nHost: www.example.org\r\nUser-Agent: it's \"me\"\r\n\r\n"));
}

/// The filter of the first node with this id.
std::string ofNode(const Decoded& decoded, std::string_view id)
{
    const auto& tree = decoded.frame.tree;
    for (std::uint32_t i = 0; i < tree.size(); ++i)
        if (tree[i].field->id == id)
            return FilterFrom::node(decoded.frame, i);
    return "no such node";
}

} // namespace

struct NodeFilterCase {
    std::string_view name, id, filter;
};

class NodeFilter : public testing::TestWithParam<NodeFilterCase> { };

TEST_P(NodeFilter, SelectsTheFrameForWhatTheNodeSays)
{
    EXPECT_EQ(ofNode(request(), GetParam().id), GetParam().filter);
}

INSTANTIATE_TEST_SUITE_P(
    Nodes, NodeFilter,
    testing::Values(NodeFilterCase{"AProtocol", "tcp", "tcp"},
                    NodeFilterCase{"AnAddress", "ip.src", "ip.src == 10.0.0.1"},
                    NodeFilterCase{"AMacIsQuotedNowhere", "eth.src", "eth.src == 02:00:00:00:00:01"},
                    NodeFilterCase{"ANumber", "ip.ttl", "ip.ttl == 64"},
                    NodeFilterCase{"APort", "tcp.destination", "tcp.dstport == 80"},
                    NodeFilterCase{"AFlag", "tcp.flag.psh", "tcp.flags.push == 1"},
                    NodeFilterCase{"TextWithBlanks", "http.start", "http.start == \"GET /a HTTP/1.1\""},
                    NodeFilterCase{"AWord", "http.host", "http.host == www.example.org"},
                    NodeFilterCase{"TextThatNoQuotesHold", "http.ua", "http.ua"},
                    NodeFilterCase{"AFieldWithoutAName", "tcp.checksum", ""}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(NodeFilter, OfAnyNodeOfAnyProtocolSelectsItsFrame)
{
    std::size_t nodes = 0, withFilter = 0;
    for (const auto& frame : protocolFrames()) {
        const auto decoded = test::decoded(frame.bytes, frame.link);
        for (std::uint32_t i = 0; i < decoded.frame.tree.size(); ++i) {
            const auto text = FilterFrom::node(decoded.frame, i);
            ++nodes;
            if (text.empty())
                continue;
            ++withFilter;
            const auto filter = DisplayFilter::compile(text);
            ASSERT_TRUE(filter) << text;
            EXPECT_TRUE(filter->matches(decoded.frame)) << text;
        }
    }
    EXPECT_GT(withFilter, nodes / 10);
}

struct CellCase {
    std::string_view name;
    FilterFrom::Cell cell;
    std::string_view filter;
};

class CellFilter : public testing::TestWithParam<CellCase> { };

TEST_P(CellFilter, SelectsTheFrameForWhatTheColumnShows)
{
    const auto frame = request();
    const auto text = FilterFrom::cell(frame.frame.summary, GetParam().cell);
    EXPECT_EQ(text, GetParam().filter);
    EXPECT_TRUE(DisplayFilter::compile(text)->matches(frame.frame));
}

INSTANTIATE_TEST_SUITE_P(
    Cells, CellFilter,
    testing::Values(CellCase{"Number", FilterFrom::Cell::number, "frame.number == 1"},
                    CellCase{"Time", FilterFrom::Cell::time, "frame.time_relative == 0.000000"},
                    CellCase{"Source", FilterFrom::Cell::source, "ip.src_host == 10.0.0.1"},
                    CellCase{"Destination", FilterFrom::Cell::destination, "ip.dst_host == 10.0.0.2"},
                    CellCase{"SourcePort", FilterFrom::Cell::sourcePort, "tcp.srcport == 51000"},
                    CellCase{"DestinationPort", FilterFrom::Cell::destinationPort, "tcp.dstport == 80"},
                    CellCase{"Protocol", FilterFrom::Cell::protocol, "http"},
                    CellCase{"Length", FilterFrom::Cell::length, "frame.len == 119"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(CellFilter, OfAProtocolThatFiltersDoNotKnowIsNone)
{
    const auto lldp = decoded(hex("0180c200000e 020000000001 88cc 0000"));
    EXPECT_EQ(protocolColumn(lldp), "LLDP");
    EXPECT_EQ(FilterFrom::cell(lldp.frame.summary, FilterFrom::Cell::protocol), "");
    EXPECT_EQ(FilterFrom::cell(lldp.frame.summary, FilterFrom::Cell::sourcePort), "");
}

TEST(ConversationFilter, SelectsBothDirectionsAndNoOtherPorts)
{
    const auto filter = DisplayFilter::compile(FilterFrom::conversation(request().frame.summary)).value();
    EXPECT_EQ(filter.text(),
              DisplayFilter::compile("host == 10.0.0.1 and host == 10.0.0.2 and tcp.port == 51000 and "
                                     "tcp.port == 80")
                  ->text());
    const auto back = decoded(tcpFrame(Ends().back())), other = decoded(tcpFrame({.sourcePort = 51001}));
    EXPECT_TRUE(filter.matches(back.frame));
    EXPECT_FALSE(filter.matches(other.frame));
}

struct JointCase {
    std::string_view name, present, added;
    FilterFrom::Joint joint;
    std::string_view result;
};

class FilterJoint : public testing::TestWithParam<JointCase> { };

TEST_P(FilterJoint, KeepsTheMeaningOfBothSides)
{
    const auto& row = GetParam();
    const auto text = FilterFrom::joined(row.present, row.added, row.joint);
    EXPECT_EQ(text, row.result);
    EXPECT_TRUE(DisplayFilter::compile(text));
}

using FilterFrom::Joint;
INSTANTIATE_TEST_SUITE_P(Joints, FilterJoint,
                         testing::Values(JointCase{"Replace", "arp or dns", "tcp", Joint::replace, "tcp"},
                                         JointCase{"ReplaceByNot", "arp", "tcp", Joint::replaceByNot, "not tcp"},
                                         JointCase{"NotOfAnAnd", "", "host == a and host == b", Joint::replaceByNot,
                                                   "not (host == a and host == b)"},
                                         JointCase{"AndToNothing", "  ", "tcp", Joint::and_, "tcp"},
                                         JointCase{"AndToAWord", "ip", "tcp", Joint::and_, "ip and tcp"},
                                         JointCase{"AndToAnOr", "arp or ip", "tcp", Joint::and_, "(arp or ip) and tcp"},
                                         JointCase{"AndOfAnOr", "ip", "tcp or udp", Joint::and_, "ip and (tcp or udp)"},
                                         JointCase{"AndNot", "ip", "tcp", Joint::andNot, "ip and not tcp"},
                                         JointCase{"OrToAnAnd", "ip and tcp", "arp", Joint::or_, "ip and tcp or arp"},
                                         JointCase{"OrNot", "ip", "tcp and dns", Joint::orNot,
                                                   "ip or not (tcp and dns)"}),
                         [](const auto& row) { return std::string(row.param.name); });

} // namespace netrondo::test
