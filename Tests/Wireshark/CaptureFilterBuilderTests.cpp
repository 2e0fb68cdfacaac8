// Filters made of what is picked: every one compiles, and selects what it says.
#include "Wireshark/CaptureFilterBuilder.h"

#include "Capture/LiveCapture.h"
#include "Dissection/Filter/DisplayFilter.h"
#include "Support/Dissect.h"
#include "Support/Hex.h"
#include "Wireshark/SelectionFilter.h"

#include <functional>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

using Builder = CaptureFilterBuilder;
using Direction = Builder::Direction;
using Over = Builder::Transport;
using Protocol = Builder::Protocol;

Address address(std::string_view text)
{
    return Address::parse(text).value();
}

const auto server = address("10.0.0.1"), client = address("10.0.0.2");
const auto sixth = address("2001:db8::1");
const auto card = address("02:00:00:00:00:0a");
} // namespace

struct BuilderCase {
    std::string_view name;
    Builder builder;
    std::string_view expression;
};

class BuiltFilter : public testing::TestWithParam<BuilderCase> { };

TEST_P(BuiltFilter, ReadsAsExpectedAndCompiles)
{
    const auto expression = GetParam().builder.expression();
    EXPECT_EQ(expression, GetParam().expression);
    const auto checked = LiveCapture::checkFilter(expression);
    EXPECT_TRUE(checked) << checked.error().errorDescription();
}

INSTANTIATE_TEST_SUITE_P(
    All, BuiltFilter,
    testing::Values(
        BuilderCase{"Nothing", Builder(), ""}, BuilderCase{"Host", Builder().host(server), "host 10.0.0.1"},
        BuilderCase{"From", Builder().host(server, Direction::source), "src host 10.0.0.1"},
        BuilderCase{"To", Builder().host(sixth, Direction::destination), "dst host 2001:db8::1"},
        BuilderCase{"Card", Builder().host(card), "ether host 02:00:00:00:00:0a"},
        BuilderCase{"FromACard", Builder().host(card, Direction::source), "ether src host 02:00:00:00:00:0a"},
        BuilderCase{"Ipx", Builder().host(Address::ipx(7, 0x02000000000a)), "ipx and ether host 02:00:00:00:00:0a"},
        BuilderCase{"Decnet", Builder().host(Address::decnet(0x0403)), "decnet host 1.3"},
        BuilderCase{"NoAddress", Builder().host({}), ""},
        BuilderCase{"EitherHost", Builder().host(server).host(client), "host 10.0.0.1 or host 10.0.0.2"},
        BuilderCase{"AHostOnce", Builder().host(server).host(server), "host 10.0.0.1"},
        BuilderCase{"Network", Builder().network(address("10.1.2.3"), 16), "net 10.1.0.0/16"},
        BuilderCase{"NetworkFrom", Builder().network(address("10.1.2.3"), 20, Direction::source),
                    "src net 10.1.0.0/20"},
        BuilderCase{"EveryNetwork", Builder().network(server, 0), "net 0.0.0.0/0"},
        BuilderCase{"ANetworkOfOne", Builder().network(server, 32), "host 10.0.0.1"},
        BuilderCase{"ANetworkTooLong", Builder().network(server, 99), "host 10.0.0.1"},
        BuilderCase{"ANetworkOfCards", Builder().network(card, 24), "ether host 02:00:00:00:00:0a"},
        BuilderCase{"SixthNetwork", Builder().network(address("2001:db8:1:2:3:4:5:6"), 64), "net 2001:db8:1:2::/64"},
        BuilderCase{"SixthNetworkBehindTheMiddle", Builder().network(address("2001:db8:1:2:ffff::6"), 66),
                    "net 2001:db8:1:2:c000::/66"},
        BuilderCase{"Port", Builder().port(53), "port 53"},
        BuilderCase{"TcpPort", Builder().port(443, Over::tcp), "tcp port 443"},
        BuilderCase{"UdpPortFrom", Builder().port(53, Over::udp, Direction::source), "udp src port 53"},
        BuilderCase{"Ports", Builder().ports(6000, 6010, Over::sctp), "sctp portrange 6000-6010"},
        BuilderCase{"PortsBackwards", Builder().ports(9, 1, Over::any, Direction::destination), "dst portrange 1-9"},
        BuilderCase{"PortsThatAreOne", Builder().ports(9, 9), "port 9"},
        BuilderCase{"HostAndPort", Builder().port(443, Over::tcp).host(server), "host 10.0.0.1 and tcp port 443"},
        BuilderCase{"HostsAndPorts", Builder().host(server).host(client).port(80).port(443),
                    "(host 10.0.0.1 or host 10.0.0.2) and (port 80 or port 443)"},
        BuilderCase{"Protocols", Builder().protocol(Protocol::arp).protocol(Protocol::icmpv6), "arp or icmp6"},
        BuilderCase{"Casts", Builder().cast(Builder::Cast::broadcast).cast(Builder::Cast::multicast),
                    "ether broadcast or ether multicast"},
        BuilderCase{"Vlan", Builder().vlan(7), "vlan 7"}, BuilderCase{"AnyVlan", Builder().vlan(), "vlan"},
        BuilderCase{"TheLastVlanHolds", Builder().vlan(7).vlan(8), "vlan 8"},
        BuilderCase{"VlanComesFirst", Builder().host(server).host(client).vlan(7),
                    "vlan 7 and (host 10.0.0.1 or host 10.0.0.2)"},
        BuilderCase{"Without", Builder().host(server).exclude(Builder().port(22)), "host 10.0.0.1 and not port 22"},
        BuilderCase{"WithoutSeveral", Builder().exclude(Builder().port(22).port(23)).exclude(Builder().host(client)),
                    "(not (port 22 or port 23)) and not host 10.0.0.2"},
        BuilderCase{"WithoutNothing", Builder().host(server).exclude(Builder()), "host 10.0.0.1"},
        BuilderCase{"Conversation", Builder().selection({{}, {{server, client}}}), "host 10.0.0.1 and host 10.0.0.2"},
        BuilderCase{"Conversations", Builder().selection({{sixth}, {{server, client}, {card, card}}}),
                    "host 2001:db8::1 or (host 10.0.0.1 and host 10.0.0.2) or ether host 02:00:00:00:00:0a"},
        BuilderCase{"ConversationAndPort", Builder().selection({{}, {{server, client}}}).port(80),
                    "(host 10.0.0.1 and host 10.0.0.2) and port 80"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(CaptureFilterBuilder, EveryProtocolCompiles)
{
    for (const auto protocol :
         {Protocol::arp, Protocol::icmp, Protocol::icmpv6, Protocol::igmp, Protocol::ip, Protocol::ipv6, Protocol::ipx,
          Protocol::lldp, Protocol::sctp, Protocol::stp, Protocol::tcp, Protocol::udp}) {
        const auto expression = Builder().protocol(protocol).expression();
        EXPECT_NE(expression, "");
        EXPECT_TRUE(LiveCapture::checkFilter(expression)) << expression;
    }
}

TEST(CaptureFilterBuilder, EveryChoiceTogetherWithEveryOtherCompiles)
{
    const std::vector<std::function<void(Builder&)>> choices = {
        [](Builder& b) { b.host(server); },
        [](Builder& b) { b.network(sixth, 64); },
        [](Builder& b) { b.host(card, Direction::source); },
        [](Builder& b) { b.port(443, Over::tcp, Direction::destination); },
        [](Builder& b) { b.ports(1, 1023, Over::udp); },
        [](Builder& b) { b.protocol(Protocol::icmp); },
        [](Builder& b) { b.cast(Builder::Cast::broadcast); },
        [](Builder& b) {
            b.selection({{client}, {{server, client}, {sixth, sixth}}});
        },
        [](Builder& b) { b.vlan(3); },
        [](Builder& b) { b.exclude(Builder().port(22).host(client)); },
    };
    for (unsigned picked = 0; picked < 1u << choices.size(); ++picked) {
        Builder builder;
        for (std::size_t i = 0; i < choices.size(); ++i)
            if (picked >> i & 1)
                choices[i](builder);
        const auto expression = builder.expression();
        const auto checked = LiveCapture::checkFilter(expression);
        // libpcap knows that some combinations can never be, such as ICMP to a TCP port: they are no errors of form.
        if (!checked) {
            EXPECT_NE(checked.error().errorDescription().find("reject"), std::string::npos)
                << expression << ": " << checked.error().errorDescription();
        }
    }
}

struct SelectionCase {
    std::string_view name;
    TrafficSelection selection;
    std::string_view filter;
};

class SelectionFilter : public testing::TestWithParam<SelectionCase> { };

TEST_P(SelectionFilter, ReadsAsExpectedAndCompiles)
{
    const auto text = displayFilterFor(GetParam().selection);
    EXPECT_EQ(text, GetParam().filter);
    EXPECT_TRUE(DisplayFilter::compileOptional(text));
}

INSTANTIATE_TEST_SUITE_P(
    All, SelectionFilter,
    testing::Values(SelectionCase{"Nothing", {}, ""}, SelectionCase{"Host", {{server}, {}}, "host == 10.0.0.1"},
                    SelectionCase{"Card", {{card}, {}}, "eth.addr == 02:00:00:00:00:0a"},
                    SelectionCase{"Conversation", {{}, {{server, client}}}, "host == 10.0.0.1 and host == 10.0.0.2"},
                    SelectionCase{"Talks to itself", {{}, {{server, server}}}, "host == 10.0.0.1"},
                    SelectionCase{"Several",
                                  {{sixth}, {{server, client}, {card, card}}},
                                  "host == 2001:db8::1 or (host == 10.0.0.1 and host == 10.0.0.2) or eth.addr == "
                                  "02:00:00:00:00:0a"}),
    [](const auto& row) {
        std::string name(row.param.name);
        std::erase(name, ' ');
        return name;
    });

TEST(SelectionFilter, SelectsTheFramesOfTheConversationEitherWayAndNoOthers)
{
    const auto filter = DisplayFilter::compile(displayFilterFor({{}, {{server, client}}})).value();
    const auto frame = [](std::string_view from, std::string_view to) {
        return decoded(
            hex("02000000000b 02000000000a 0800 4500001c 00000000 40110000", from, to, "1000 2000 0008 0000"));
    };
    EXPECT_TRUE(filter.matches(frame("0a000001", "0a000002")));
    EXPECT_TRUE(filter.matches(frame("0a000002", "0a000001")));
    EXPECT_FALSE(filter.matches(frame("0a000001", "0a000003")));
}

} // namespace netrondo::test
