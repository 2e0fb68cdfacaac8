#include "Analysis/HostNameStore.h"

#include "Support/Allocations.h"
#include "Support/Hex.h"
#include "Support/NameMessages.h"

#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

FrameFacts datagram(std::uint16_t sourcePort, std::uint16_t destinationPort, Bytes payload)
{
    FrameFacts facts;
    facts.isUdp = true;
    facts.has = FrameFacts::ports;
    facts.sourcePort = sourcePort;
    facts.destinationPort = destinationPort;
    facts.sourceIp = Address::ipv4(0x0a000001);
    facts.payload = payload;
    return facts;
}

FrameFacts segment(std::uint16_t sourcePort, Bytes payload)
{
    auto facts = datagram(sourcePort, 50000, payload);
    facts.isUdp = false;
    facts.isTcp = true;
    return facts;
}

class HostNames : public testing::Test {
protected:
    void dns(Bytes message) { store.harvest(datagram(53, 50000, message)); }
    void mdns(Bytes message) { store.harvest(datagram(5353, 5353, message)); }
    void netBios(Bytes message) { store.harvest(datagram(137, 137, message)); }
    void dhcpRequest(Bytes message) { store.harvest(datagram(68, 67, message)); }
    void dhcpReply(Bytes message) { store.harvest(datagram(67, 68, message)); }
    std::string_view nameOf(std::string_view address) const { return store.name(Address::parse(address).value()); }

    HostNameStore store;
};

std::string repeated(std::string_view label, int count)
{
    std::string name(label);
    for (int i = 1; i < count; ++i)
        name.append(".").append(label);
    return name;
}

} // namespace

TEST_F(HostNames, AnAddressHasNoNameUntilAnAnswerGivesItOne)
{
    EXPECT_EQ(nameOf("192.0.2.1"), "");
    dns(DnsMessage().question("www.example.com").a("www.example.com", "192.0.2.1"));
    EXPECT_EQ(nameOf("192.0.2.1"), "www.example.com");
    EXPECT_EQ(nameOf("192.0.2.2"), "");
    EXPECT_EQ(store.size(), 1u);
}

TEST_F(HostNames, Ipv6AddressesAreNamedByTheirOwnRecords)
{
    dns(DnsMessage().question("v6.example.com", 28).aaaa("v6.example.com", "2001:db8::7"));
    EXPECT_EQ(nameOf("2001:db8::7"), "v6.example.com");
}

TEST_F(HostNames, EveryAddressOfAnAnswerIsNamed)
{
    dns(DnsMessage().question("many.example").a("many.example", "192.0.2.1").a("many.example", "192.0.2.2"));
    EXPECT_EQ(nameOf("192.0.2.1"), "many.example");
    EXPECT_EQ(nameOf("192.0.2.2"), "many.example");
}

TEST_F(HostNames, TheNewestAnswerWins)
{
    dns(DnsMessage().question("old.example").a("old.example", "192.0.2.1"));
    dns(DnsMessage().question("new.example").a("new.example", "192.0.2.1"));
    EXPECT_EQ(nameOf("192.0.2.1"), "new.example");
    EXPECT_EQ(store.size(), 1u);
}

TEST_F(HostNames, AnAddressBehindAliasesIsNamedAsItWasAskedFor)
{
    dns(DnsMessage()
            .question("www.example.com")
            .cname("www.example.com", "www.example.com.cdn.example")
            .cname("www.example.com.cdn.example", "edge7.cdn.example")
            .a("edge7.cdn.example", "192.0.2.1")
            .a("elsewhere.example", "192.0.2.2"));
    EXPECT_EQ(nameOf("192.0.2.1"), "www.example.com");
    EXPECT_EQ(nameOf("192.0.2.2"), "elsewhere.example") << "no alias leads here";
}

TEST_F(HostNames, AReverseLookupNamesTheAddressItAskedFor)
{
    dns(DnsMessage().question("4.2.0.192.in-addr.arpa", 12).ptr("4.2.0.192.in-addr.arpa", "host4.example"));
    EXPECT_EQ(nameOf("192.0.2.4"), "host4.example");
    const auto* const six = "7.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.8.b.d.0.1.0.0.2.ip6.ARPA";
    dns(DnsMessage().question(six, 12).ptr(six, "host6.example"));
    EXPECT_EQ(nameOf("2001:db8::7"), "host6.example");
}

TEST_F(HostNames, AReverseLookupThroughADelegationsAliasNamesTheAddressToo)
{
    dns(DnsMessage()
            .question("5.2.0.192.in-addr.arpa", 12)
            .cname("5.2.0.192.in-addr.arpa", "5.0/25.2.0.192.in-addr.arpa")
            .ptr("5.0/25.2.0.192.in-addr.arpa", "host5.example"));
    EXPECT_EQ(nameOf("192.0.2.5"), "host5.example");
}

TEST_F(HostNames, AReverseNameThatIsNoAddressNamesNothing)
{
    for (const auto* owner :
         {"in-addr.arpa", "2.0.192.in-addr.arpa", "5.4.2.0.192.in-addr.arpa", "256.2.0.192.in-addr.arpa",
          "x.2.0.192.in-addr.arpa", "-1.2.0.192.in-addr.arpa", "7.ip6.arpa", "b._dns-sd._udp.example",
          "g.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.0.8.b.d.0.1.0.0.2.ip6.arpa"})
        dns(DnsMessage().question(owner, 12).ptr(owner, "host.example"));
    EXPECT_EQ(store.size(), 0u);
}

TEST_F(HostNames, ANameThatWasAskedForIsLowerCaseWhateverTheResolverMadeOfIt)
{
    dns(DnsMessage().question("wWw.ExaMPLe.cOm").cname("WWW.example.COM", "a.example").a("A.EXAMPLE", "192.0.2.1"));
    EXPECT_EQ(nameOf("192.0.2.1"), "www.example.com");
    dns(DnsMessage().ptr("4.2.0.192.In-Addr.ArPa", "PC4.example"));
    EXPECT_EQ(nameOf("192.0.2.4"), "PC4.example") << "its owner's own spelling";
}

TEST_F(HostNames, CompressedNamesAreUnpacked)
{
    DnsMessage message;
    message.question("www.example.com"); // at offset 12; "example.com" is at 16
    message.record(hex("03 6e7331 c010"), 1, addressBytes("192.0.2.1"));
    message.record(hex("c00c"), 1, addressBytes("192.0.2.2"));
    dns(message);
    EXPECT_EQ(nameOf("192.0.2.1"), "ns1.example.com");
    EXPECT_EQ(nameOf("192.0.2.2"), "www.example.com");
}

TEST_F(HostNames, QueriesErrorsAndOtherOperationsTeachNothing)
{
    for (const auto flags : std::initializer_list<std::uint16_t>{0x0100, 0x8183, 0x8182, 0xa800, 0x8980})
        dns(DnsMessage(flags).question("www.example.com").a("www.example.com", "192.0.2.1"));
    EXPECT_EQ(store.size(), 0u);
}

TEST_F(HostNames, RecordsOfAnotherClassOrTheWrongSizeTeachNothing)
{
    dns(DnsMessage().question("a.example").record(dnsName("a.example"), 1, addressBytes("192.0.2.1"), 3));
    dns(DnsMessage().question("a.example").record(dnsName("a.example"), 1, hex("c00002")));
    dns(DnsMessage().question("a.example").record(dnsName("a.example"), 28, addressBytes("192.0.2.1")));
    EXPECT_EQ(store.size(), 0u);
}

TEST_F(HostNames, WhatAServerAddsToAnAnswerIsNotTheAnswer)
{
    dns(DnsMessage()
            .question("www.example.com")
            .a("www.example.com", "192.0.2.1")
            .additional()
            .a("ns1.example.com", "192.0.2.1"));
    EXPECT_EQ(nameOf("192.0.2.1"), "www.example.com");
}

TEST_F(HostNames, AnAddressThatIsNoSingleHostsIsNotNamed)
{
    DnsMessage message;
    message.question("blocked.example");
    for (const auto* address : {"0.0.0.0", "127.0.0.1", "224.0.0.251", "239.1.1.1", "255.255.255.255"})
        message.a("blocked.example", address);
    for (const auto* address : {"::", "::1", "ff02::fb"})
        message.aaaa("blocked.example", address);
    dns(message);
    EXPECT_EQ(store.size(), 0u);
}

TEST_F(HostNames, AMulticastAnswersAdditionalAddressesCount)
{
    mdns(DnsMessage(0x8400)
             .ptr("_ipp._tcp.local", "Printer._ipp._tcp.local")
             .additional()
             .record(dnsName("Printer.local"), 1, addressBytes("192.168.1.9"), 0x8001)
             .record(dnsName("Printer.local"), 28, addressBytes("fe80::9"), 0x8001));
    EXPECT_EQ(nameOf("192.168.1.9"), "Printer.local") << "in the case its owner chose";
    EXPECT_EQ(nameOf("fe80::9"), "Printer.local");
}

TEST_F(HostNames, AMulticastFarewellTeachesNothing)
{
    mdns(DnsMessage(0x8400).record(dnsName("gone.local"), 1, addressBytes("192.168.1.9"), 0x8001, 0));
    EXPECT_EQ(store.size(), 0u);
}

TEST_F(HostNames, LinkLocalAnswersAreRead)
{
    store.harvest(datagram(5355, 50000, DnsMessage(0x8000).question("NAS").a("NAS", "192.168.1.5")));
    EXPECT_EQ(nameOf("192.168.1.5"), "NAS");
}

TEST_F(HostNames, OverTcpEveryWholeMessageOfASegmentIsRead)
{
    auto bytes = DnsMessage().question("one.example").a("one.example", "192.0.2.1").framed();
    put(bytes, DnsMessage().question("two.example").a("two.example", "192.0.2.2").framed());
    auto cut = DnsMessage().question("three.example").a("three.example", "192.0.2.3").framed();
    cut.pop_back();
    put(bytes, cut);
    store.harvest(segment(53, bytes));
    EXPECT_EQ(nameOf("192.0.2.1"), "one.example");
    EXPECT_EQ(nameOf("192.0.2.2"), "two.example");
    EXPECT_EQ(nameOf("192.0.2.3"), "");
}

TEST_F(HostNames, OnlyWhoSpeaksFromAServicesPortIsHeard)
{
    const auto message = DnsMessage().question("www.example.com").a("www.example.com", "192.0.2.1");
    store.harvest(datagram(50000, 53, message));
    store.harvest(datagram(443, 443, message));
    store.harvest(segment(5353, message.framed()));
    auto other = datagram(53, 50000, message);
    other.isUdp = false;
    store.harvest(other);
    EXPECT_EQ(store.size(), 0u);
    EXPECT_FALSE(HostNameStore::mayHoldNames(other));
    for (const auto port : std::initializer_list<std::uint16_t>{53, 5353, 5355, 137, 67, 68})
        EXPECT_TRUE(HostNameStore::mayHoldNames(datagram(port, 50000, message))) << port;
}

TEST_F(HostNames, AHostileNameIsDroppedAndItsNeighbourKept)
{
    for (const std::string_view hostile :
         {std::string_view("ev\x1b[2Jil.example"), std::string_view("nul\0.example", 12), std::string_view("a\nb"),
          std::string_view("\x7f.example"), std::string_view("caf\xe9.example"), std::string_view("\xc2\x9b.example"),
          std::string_view("moc\u202eelpmaxe"), std::string_view("zero\u200bwidth")}) {
        store = {};
        dns(DnsMessage().question("x").a(hostile, "192.0.2.1").a("good.example", "192.0.2.2"));
        EXPECT_EQ(nameOf("192.0.2.1"), "") << hostile;
        EXPECT_EQ(nameOf("192.0.2.2"), "good.example") << hostile;
    }
}

TEST_F(HostNames, ANameInAnotherScriptIsAName)
{
    mdns(DnsMessage(0x8400).a("Büro-Drucker.local", "192.168.1.9"));
    EXPECT_EQ(nameOf("192.168.1.9"), "Büro-Drucker.local");
}

TEST_F(HostNames, ALabelWithADotOfItsOwnIsHostile)
{
    DnsMessage message;
    message.question("x");
    message.record(hex("0c 7777772e62616e6b2e636f6d 00"), 1, addressBytes("192.0.2.1")); // "www.bank.com", one label
    dns(message);
    EXPECT_EQ(store.size(), 0u);
}

TEST_F(HostNames, TheRootHasNoName)
{
    dns(DnsMessage().question("").a("", "192.0.2.1"));
    EXPECT_EQ(store.size(), 0u);
}

TEST_F(HostNames, ANameOf253OctetsIsTheLongest)
{
    const auto most = repeated(std::string(62, 'x'), 4) + ".y";
    ASSERT_EQ(most.size(), 253u);
    dns(DnsMessage().question("x").a(most, "192.0.2.1").a(most + "y", "192.0.2.2"));
    EXPECT_EQ(nameOf("192.0.2.1"), most);
    EXPECT_EQ(nameOf("192.0.2.2"), "");
}

TEST_F(HostNames, ALabelOf63OctetsIsTheLongest)
{
    const auto most = std::string(63, 'x') + ".example";
    store.learn(Address::ipv4(0xc0000201), most);
    store.learn(Address::ipv4(0xc0000202), "x" + most);
    store.learn(Address::ipv4(0xc0000203), "two..dots");
    store.learn(Address::ipv4(0xc0000204), ".example");
    store.learn(Address::ipv4(0xc0000205), "example.");
    EXPECT_EQ(nameOf("192.0.2.1"), most);
    EXPECT_EQ(store.size(), 1u);
}

TEST_F(HostNames, PointerLoopsAndPointersForwardCostTheNameOnly)
{
    for (const auto* owner : {"c00c", "c010", "c0ff", "ffff", "01 61 c00c"}) {
        store = {};
        DnsMessage message; // no question: the first record's name is at offset 12
        message.record(hex(owner), 1, addressBytes("192.0.2.1"));
        message.a("good.example", "192.0.2.2");
        dns(message);
        EXPECT_EQ(nameOf("192.0.2.1"), "") << owner;
        EXPECT_EQ(nameOf("192.0.2.2"), "good.example") << owner;
    }
}

TEST_F(HostNames, ALongStaircaseOfPointersIsNotClimbed)
{
    DnsMessage message;
    message.record(dnsName("bottom.example"), 1, addressBytes("192.0.2.1"));
    std::uint16_t previous = 12;
    for (int i = 0; i < 60; ++i) {
        ByteVector owner;
        put(owner, 0xc000 | previous, 2);
        previous = static_cast<std::uint16_t>(message.bytes().size());
        message.record(owner, 1, addressBytes("192.0.2." + std::to_string(i + 2)));
    }
    dns(message);
    EXPECT_EQ(nameOf("192.0.2.2"), "bottom.example");
    EXPECT_EQ(nameOf("192.0.2.30"), "bottom.example");
    EXPECT_EQ(nameOf("192.0.2.61"), "");
}

TEST_F(HostNames, EveryPrefixOfAnAnswerTeachesWhatItHoldsAndIsReadWithinItsBounds)
{
    const auto whole = DnsMessage()
                           .question("www.example.com")
                           .cname("www.example.com", "cdn.example")
                           .a("cdn.example", "192.0.2.1")
                           .ptr("4.2.0.192.in-addr.arpa", "host4.example");
    const auto firstEnds = whole.bytes().size() - (24 + 10 + 15); // the pointer record is the last
    for (std::size_t length = 0; length <= whole.bytes().size(); ++length) {
        store = {};
        const ByteVector copy(whole.bytes().begin(), whole.bytes().begin() + static_cast<std::ptrdiff_t>(length));
        dns(copy);
        EXPECT_EQ(nameOf("192.0.2.1"), length >= firstEnds ? "www.example.com" : "") << length;
        EXPECT_EQ(nameOf("192.0.2.4"), length == whole.bytes().size() ? "host4.example" : "") << length;
    }
}

TEST_F(HostNames, ARegisteredNetBiosNameNamesItsAddress)
{
    DnsMessage claim(0x2910); // a registration, broadcast
    claim.question(netBiosLabel("FILESRV", 0x20), 0x20);
    claim.additional().record(hex("c00c"), 0x20, hex("0000 c0a80107"));
    netBios(claim);
    EXPECT_EQ(nameOf("192.168.1.7"), "FILESRV");
}

TEST_F(HostNames, APositiveNetBiosAnswerNamesEveryAddressItHolds)
{
    netBios(DnsMessage(0x8500).record(dnsName(netBiosLabel("TWO HOMES", 0)), 0x20, hex("6000c0a80101 6000c0a80201")));
    EXPECT_EQ(nameOf("192.168.1.1"), "TWO HOMES");
    EXPECT_EQ(nameOf("192.168.2.1"), "TWO HOMES");
}

TEST_F(HostNames, ANetBiosAnswerWithAnErrorAReleaseAndAQueryTeachNothing)
{
    for (const auto flags : std::initializer_list<std::uint16_t>{0x8583, 0xad86, 0x3000, 0xbc00, 0x0110})
        netBios(DnsMessage(flags).record(dnsName(netBiosLabel("HOST", 0)), 0x20, hex("0000c0a80107")));
    EXPECT_EQ(store.size(), 0u);
}

TEST_F(HostNames, NetBiosGroupsDomainsAndUsersAreNoHosts)
{
    netBios(DnsMessage(0x2910).record(dnsName(netBiosLabel("WORKGROUP", 0)), 0x20, hex("8000c0a80107")));
    for (const auto purpose : std::initializer_list<std::uint8_t>{0x03, 0x1b, 0x1c, 0x1d, 0x1e})
        netBios(DnsMessage(0x2910).record(dnsName(netBiosLabel("NAME", purpose)), 0x20, hex("0000c0a80107")));
    EXPECT_EQ(store.size(), 0u);
}

TEST_F(HostNames, ANetBiosNameThatIsNotEncodedAsOneTeachesNothing)
{
    for (const auto* name : {"SHORT", "QQQQQQQQQQQQQQQQQQQQQQQQQQQQQQQQ", "emejemefedfchgcacacacacacacacaca"})
        netBios(DnsMessage(0x2910).record(dnsName(name), 0x20, hex("0000c0a80107")));
    EXPECT_EQ(store.size(), 0u);
}

TEST_F(HostNames, ANodesStatusNamesTheNode)
{
    ByteVector status{3};
    const auto add = [&](std::string_view name, std::uint8_t purpose, std::uint16_t flags) {
        std::string sixteen(name);
        sixteen.resize(15, ' ');
        sixteen.push_back(static_cast<char>(purpose));
        put(status, asBytes(sixteen));
        put(status, flags, 2);
    };
    add("WORKGROUP", 0x00, 0x8400);
    add("BOX", 0x00, 0x0400);
    add("OTHER", 0x20, 0x0400);
    netBios(DnsMessage(0x8400).record(dnsName(netBiosLabel("*", 0)), 0x21, status));
    EXPECT_EQ(nameOf("10.0.0.1"), "BOX") << "the sender's own";
}

TEST_F(HostNames, ADhcpClientsHostNameNamesItsMacAndItsAddressOnceAcknowledged)
{
    dhcpRequest(DhcpMessage().with("350103 0c06 6c6170746f70 ff"));
    EXPECT_EQ(nameOf("02:00:00:00:00:0c"), "laptop");
    EXPECT_EQ(store.size(), 1u);
    dhcpReply(DhcpMessage{.operation = 2, .yourAddress = "10.0.0.33"}.with("350105 ff"));
    EXPECT_EQ(nameOf("10.0.0.33"), "laptop");
}

TEST_F(HostNames, ADhcpOfferOrRefusalNamesNothing)
{
    dhcpRequest(DhcpMessage().with("350101 0c06 6c6170746f70 ff"));
    dhcpReply(DhcpMessage{.operation = 2, .yourAddress = "10.0.0.33"}.with("350102 ff"));
    dhcpReply(DhcpMessage{.operation = 2, .yourAddress = "10.0.0.33"}.with("350106 ff"));
    EXPECT_EQ(nameOf("10.0.0.33"), "");
}

TEST_F(HostNames, ARenewingDhcpClientNamesTheAddressItHas)
{
    dhcpRequest(DhcpMessage{.clientAddress = "10.0.0.33"}.with("350103 0c06 6c6170746f70 ff"));
    EXPECT_EQ(nameOf("10.0.0.33"), "laptop");
}

TEST_F(HostNames, TheServersNameForADhcpClientCounts)
{
    dhcpReply(DhcpMessage{.operation = 2, .yourAddress = "10.0.0.34"}.with("350105 0c03 706331 ff"));
    EXPECT_EQ(nameOf("10.0.0.34"), "pc1");
    EXPECT_EQ(nameOf("02:00:00:00:00:0c"), "pc1");
}

TEST_F(HostNames, AQualifiedDhcpNameIsPreferredAsLabelsOrAsText)
{
    dhcpRequest(DhcpMessage().with("350103 0c03 706331 5111 050000 03706331 07 6578616d706c65 00 00 ff"));
    EXPECT_EQ(nameOf("02:00:00:00:00:0c"), "pc1.example");
    dhcpRequest(DhcpMessage().with("350103 5107 040000 03706332 ff"));
    EXPECT_EQ(nameOf("02:00:00:00:00:0c"), "pc2") << "labels without an end are a partial name";
    dhcpRequest(DhcpMessage().with("350103 510f 010000 7063332e6578616d706c652e ff"));
    EXPECT_EQ(nameOf("02:00:00:00:00:0c"), "pc3.example") << "text from old clients";
    dhcpRequest(DhcpMessage().with("350103 5107 040000 3f706332 0c03 706334 ff"));
    EXPECT_EQ(nameOf("02:00:00:00:00:0c"), "pc4") << "a broken qualified name leaves the host name";
}

TEST_F(HostNames, ADhcpHostNameMayEndInAZero)
{
    dhcpRequest(DhcpMessage().with("350103 0c04 70633100 ff"));
    EXPECT_EQ(nameOf("02:00:00:00:00:0c"), "pc1");
}

TEST_F(HostNames, BrokenDhcpMessagesTeachNothing)
{
    for (const auto* options : {"350103 ff 0c03706331", "350103 0c00 ff", "350103 0c04 706331", "350103 0c", "",
                                "350103 0c03 700031 ff", "350103 0c03 701b31 ff", "350104 0c03 706331 ff"})
        dhcpRequest(DhcpMessage().with(options));
    auto message = DhcpMessage().with("350103 0c03 706331 ff");
    message[236] = 0;
    dhcpRequest(message);
    message.resize(239);
    dhcpRequest(message);
    dhcpRequest(DhcpMessage{.hardwareType = 6}.with("350103 0c03 706331 ff"));
    EXPECT_EQ(store.size(), 0u);
}

TEST_F(HostNames, AFrameThatTeachesNothingNewTakesNoMemory)
{
    const auto answer = DnsMessage()
                            .question("a-name-that-is-longer-than-any-small-string.example")
                            .cname("a-name-that-is-longer-than-any-small-string.example", "x.example")
                            .a("x.example", "192.0.2.1");
    const auto dhcp = DhcpMessage{.clientAddress = "10.0.0.33"}.with("350103 0c03 706331 ff");
    dns(answer);
    dhcpRequest(dhcp);
    EXPECT_NO_ALLOCATIONS(dns(answer));
    EXPECT_NO_ALLOCATIONS(dhcpRequest(dhcp));
    EXPECT_NO_ALLOCATIONS(dns(Bytes(answer).first(40)));
}

TEST_F(HostNames, NamesOfAnyLengthReplaceEachOther)
{
    const auto address = [](std::uint32_t i) { return Address::ipv4(0x0b000000 + i); };
    const auto nameAt = [](std::uint32_t i, std::uint32_t round) {
        return repeated("abcdefghi", 1 + static_cast<int>((i + round * 7) % 25)); // of 9 to 249 characters
    };
    for (std::uint32_t round = 0; round < 3; ++round) {
        for (std::uint32_t i = 0; i < 100; ++i) {
            store.learn(address(i), nameAt(i, round));
            ASSERT_EQ(store.name(address(i)), nameAt(i, round));
        }
        for (std::uint32_t i = 0; i < 100; ++i)
            ASSERT_EQ(store.name(address(i)), nameAt(i, round)) << i;
        EXPECT_EQ(store.size(), 100u);
    }
}

TEST_F(HostNames, APointerToTheFirstNameIsReadWithAndWithoutAQuestion)
{
    constexpr std::string_view name = "05 6669727374 05 6c6f63616c 00";                 // first.local
    mdns(hex("0000 8400 0000 0002 0000 0000", name, "0001 0001 00000078 0004 c0000201", //
             "c00c 0001 0001 00000078 0004 c0000202"));
    dns(hex("0000 8180 0001 0001 0000 0000", name, "0001 0001 c00c 0001 0001 00000078 0004 c0000203"));
    for (const auto* address : {"192.0.2.1", "192.0.2.2", "192.0.2.3"})
        EXPECT_EQ(nameOf(address), "first.local") << address;
}

TEST_F(HostNames, ACopyIsIndependent)
{
    store.learn(Address::ipv4(0xc0000201), "one");
    auto copy = store;
    copy.learn(Address::ipv4(0xc0000201), "two");
    copy.learn(Address::ipv4(0xc0000202), "three");
    EXPECT_EQ(nameOf("192.0.2.1"), "one");
    EXPECT_EQ(store.size(), 1u);
}

TEST_F(HostNames, AFloodOfNamesFillsNoMoreThanTheBound)
{
    for (std::uint32_t i = 0; i < HostNameStore::maxNames + 1000; ++i)
        store.learn(Address::ipv4(0x0b000000 + i), "flood");
    EXPECT_EQ(store.size(), HostNameStore::maxNames);
    store.learn(Address::ipv4(0x0b000000), "known");
    EXPECT_EQ(nameOf("11.0.0.0"), "known");
}

} // namespace netrondo::test
