// sFlow 5 (sflow.org, sFlow version 5): sampled packets and the counters of interfaces.
#include "Dissection/Protocols/IpProtocolNames.h"
#include "Dissection/Protocols/Protocols.h"

#include <utility>

namespace netrondo::sflow {
namespace {
constexpr NamedValue addressTypes[] = {{0, "none"}, {1, "IPv4"}, {2, "IPv6"}};
constexpr NamedValue sampleNames[] = {
    {1, "flow sample"}, {2, "counter sample"}, {3, "expanded flow sample"}, {4, "expanded counter sample"}};
constexpr NamedValue flowNames[] = {{1, "raw packet"}, {2, "Ethernet frame"}, {3, "IPv4"},       {4, "IPv6"},
                                    {1001, "switch"},  {1002, "router"},      {1003, "gateway"}, {1004, "user"},
                                    {1005, "URL"},     {1006, "MPLS"}};
constexpr NamedValue counterNames[] = {{1, "interface"}, {2, "Ethernet"}, {3, "token ring"},
                                       {4, "100BaseVG"}, {5, "VLAN"},     {1001, "processor"}};
constexpr NamedValue headerNames[] = {{1, "Ethernet"}, {11, "IPv4"}, {12, "IPv6"}};

constexpr Field version{"sflow.version", "Version", Wire::u32};
constexpr Field addressType{"sflow.address_type", "Address type", Wire::u32, addressTypes};
constexpr Field agent4{"sflow.agent", "Agent", Wire::ipv4};
constexpr Field agent6{"sflow.agent", "Agent", Wire::ipv6};
constexpr Field subAgent{"sflow.sub_agent", "Sub-agent", Wire::u32};
constexpr Field sequence{"sflow.seq", "Sequence number", Wire::u32};
constexpr Field upTime{"sflow.uptime", "Up time (ms)", Wire::u32};
constexpr Field sampleCount{"sflow.samples", "Samples", Wire::u32};
constexpr Field sample{"sflow.sample", "Sample", Wire::number, sampleNames};
constexpr Field format{"sflow.format", "Enterprise and format", Wire::hex32};
constexpr Field enterprise{"sflow.enterprise", "Enterprise", Wire::bits, {}, 0xfffff000};
constexpr Field sampleFormat{"sflow.sample_format", "Format", Wire::bits, sampleNames, 0x0fff};
constexpr Field flowFormat{"sflow.record_format", "Format", Wire::bits, flowNames, 0x0fff};
constexpr Field counterFormat{"sflow.record_format", "Format", Wire::bits, counterNames, 0x0fff};
constexpr Field length{"sflow.length", "Length", Wire::u32};
constexpr Field sampleSequence{"sflow.sample_seq", "Sample number", Wire::u32};
constexpr Field sourceWord{"sflow.source", "Source", Wire::hex32};
constexpr Field sourceType{"sflow.source_type", "Source type", Wire::bits, {}, 0xff000000};
constexpr Field sourceIndex{"sflow.source_index", "Source index", Wire::bits, {}, 0x00ffffff};
constexpr Field wideType{"sflow.source_type", "Source type", Wire::u32};
constexpr Field wideIndex{"sflow.source_index", "Source index", Wire::u32};
constexpr Field rate{"sflow.rate", "Sampling rate", Wire::u32};
constexpr Field pool{"sflow.pool", "Sample pool", Wire::u32};
constexpr Field drops{"sflow.drops", "Drops", Wire::u32};
constexpr Field input{"sflow.input", "Input interface", Wire::u32};
constexpr Field output{"sflow.output", "Output interface", Wire::hex32};
constexpr Field inputFormat{"sflow.input_format", "Input format", Wire::u32};
constexpr Field outputFormat{"sflow.output_format", "Output format", Wire::u32};
constexpr Field recordCount{"sflow.records", "Records", Wire::u32};
constexpr Field flowRecord{"sflow.flow", "Flow record", Wire::number, flowNames};
constexpr Field counterRecord{"sflow.counters", "Counter record", Wire::number, counterNames};
constexpr Field headerProtocol{"sflow.header_protocol", "Header protocol", Wire::u32, headerNames};
constexpr Field frameLength{"sflow.frame_length", "Frame length", Wire::u32};
constexpr Field stripped{"sflow.stripped", "Stripped", Wire::u32};
constexpr Field headerLength{"sflow.header_length", "Header length", Wire::u32};
constexpr Field header{"sflow.header", "Header", Wire::bytes};
constexpr Field sourceMac{"sflow.source_mac", "Source", Wire::mac};
constexpr Field destinationMac{"sflow.destination_mac", "Destination", Wire::mac};
constexpr Field padding{"sflow.padding", "Padding", Wire::bytes};
constexpr Field etherTypeNumber{"sflow.ether_type", "Type", Wire::hex32};
constexpr Field ipLength{"sflow.ip_length", "Packet length", Wire::u32};
constexpr Field ipProtocolNumber{"sflow.protocol", "IP protocol", Wire::u32, ipProtocolNames};
constexpr Field source4{"sflow.src", "Source", Wire::ipv4};
constexpr Field destination4{"sflow.dst", "Destination", Wire::ipv4};
constexpr Field source6{"sflow.src", "Source", Wire::ipv6};
constexpr Field destination6{"sflow.dst", "Destination", Wire::ipv6};
constexpr Field sourcePort{"sflow.source_port", "Source port", Wire::u32};
constexpr Field destinationPort{"sflow.destination_port", "Destination port", Wire::u32};
constexpr Field tcpFlags{"sflow.tcp_flags", "TCP flags", Wire::hex32};
constexpr Field service{"sflow.tos", "Type of service", Wire::hex32};
constexpr Field sourceVlan{"sflow.source_vlan", "Source VLAN", Wire::u32};
constexpr Field sourcePriority{"sflow.source_priority", "Source priority", Wire::u32};
constexpr Field destinationVlan{"sflow.destination_vlan", "Destination VLAN", Wire::u32};
constexpr Field destinationPriority{"sflow.destination_priority", "Destination priority", Wire::u32};
constexpr Field hop4{"sflow.next_hop", "Next hop", Wire::ipv4};
constexpr Field hop6{"sflow.next_hop", "Next hop", Wire::ipv6};
constexpr Field sourceMask{"sflow.source_mask", "Source prefix length", Wire::u32};
constexpr Field destinationMask{"sflow.destination_mask", "Destination prefix length", Wire::u32};
constexpr Field interfaceIndex{"sflow.if_index", "Interface", Wire::u32};
constexpr Field interfaceType{"sflow.if_type", "Interface type", Wire::u32};
constexpr Field interfaceSpeed{"sflow.if_speed", "Speed (bit/s)", Wire::u64};
constexpr Field interfaceDirection{"sflow.if_direction", "Direction", Wire::u32};
constexpr Field interfaceStatus{"sflow.if_status", "Status", Wire::hex32};
constexpr Field inOctets{"sflow.in_octets", "Octets in", Wire::u64};
constexpr Field inUnicast{"sflow.in_unicast", "Unicast packets in", Wire::u32};
constexpr Field inMulticast{"sflow.in_multicast", "Multicast packets in", Wire::u32};
constexpr Field inBroadcast{"sflow.in_broadcast", "Broadcast packets in", Wire::u32};
constexpr Field inDiscards{"sflow.in_discards", "Discards in", Wire::u32};
constexpr Field inErrors{"sflow.in_errors", "Errors in", Wire::u32};
constexpr Field inUnknown{"sflow.in_unknown", "Unknown protocols in", Wire::u32};
constexpr Field outOctets{"sflow.out_octets", "Octets out", Wire::u64};
constexpr Field outUnicast{"sflow.out_unicast", "Unicast packets out", Wire::u32};
constexpr Field outMulticast{"sflow.out_multicast", "Multicast packets out", Wire::u32};
constexpr Field outBroadcast{"sflow.out_broadcast", "Broadcast packets out", Wire::u32};
constexpr Field outDiscards{"sflow.out_discards", "Discards out", Wire::u32};
constexpr Field outErrors{"sflow.out_errors", "Errors out", Wire::u32};
constexpr Field promiscuous{"sflow.promiscuous", "Promiscuous mode", Wire::u32};
constexpr Field counter{"sflow.counter", "Counter", Wire::u32};
constexpr Field cpu5s{"sflow.cpu_5s", "CPU over 5 s (%/100)", Wire::u32};
constexpr Field cpu1m{"sflow.cpu_1m", "CPU over 1 min (%/100)", Wire::u32};
constexpr Field cpu5m{"sflow.cpu_5m", "CPU over 5 min (%/100)", Wire::u32};
constexpr Field totalMemory{"sflow.memory", "Memory", Wire::u64};
constexpr Field freeMemory{"sflow.free_memory", "Free memory", Wire::u64};
constexpr Field data{"sflow.data", "Data", Wire::bytes};

void readAddress(Layer& sflow, const Field& v4, const Field& v6)
{
    const auto kind = sflow.read(addressType);
    if (kind == 1)
        sflow.read(v4);
    else if (kind == 2)
        sflow.read(v6);
    else if (kind != 0)
        sflow.reject(addressType);
}

/// The sampled packet's first bytes, which no reader of the list takes for the frame's own.
void readPacket(Layer& sflow)
{
    const auto kind = sflow.read(headerProtocol);
    sflow.read(frameLength, stripped);
    const auto size = sflow.read(headerLength);
    if (!sflow.more())
        return;
    const bool isInQuote = std::exchange(sflow.frame().quotes, true);
    if (kind == 1)
        sflow.handOver(linkTypeIs(1), size);
    else if (kind == 11 || kind == 12)
        sflow.handOver(etherType(kind == 11 ? 0x0800 : 0x86dd), size);
    else
        sflow.readBytes(header, size);
    sflow.frame().quotes = isInQuote;
}

void readFlow(Layer& sflow, std::uint64_t kind)
{
    switch (kind) {
    case 1: readPacket(sflow); break;
    case 2:
        sflow.read(frameLength, sourceMac);
        sflow.readBytes(padding, 2);
        sflow.read(destinationMac);
        sflow.readBytes(padding, 2);
        sflow.read(etherTypeNumber);
        break;
    case 3:
        sflow.read(ipLength, ipProtocolNumber, source4, destination4, sourcePort, destinationPort, tcpFlags, service);
        break;
    case 4:
        sflow.read(ipLength, ipProtocolNumber, source6, destination6, sourcePort, destinationPort, tcpFlags, service);
        break;
    case 1001: sflow.read(sourceVlan, sourcePriority, destinationVlan, destinationPriority); break;
    case 1002: readAddress(sflow, hop4, hop6), sflow.read(sourceMask, destinationMask); break;
    default: break;
    }
}

void readCounters(Layer& sflow, std::uint64_t kind)
{
    switch (kind) {
    case 1:
        sflow.read(interfaceIndex, interfaceType, interfaceSpeed, interfaceDirection, interfaceStatus, inOctets,
                   inUnicast, inMulticast, inBroadcast, inDiscards, inErrors, inUnknown, outOctets, outUnicast,
                   outMulticast, outBroadcast, outDiscards, outErrors, promiscuous);
        break;
    case 2:
        while (sflow.more(4))
            sflow.read(counter);
        break;
    case 1001: sflow.read(cpu5s, cpu1m, cpu5m, totalMemory, freeMemory); break;
    default: break;
    }
}

void readRecords(Layer& sflow, bool isFlow)
{
    const auto many = sflow.read(recordCount);
    for (std::uint64_t i = 0; i < many && sflow.more(); ++i) {
        const auto number = sflow.peek32();
        const Layer::Group group(sflow, isFlow ? flowRecord : counterRecord, number);
        sflow.readParts(format, enterprise, isFlow ? flowFormat : counterFormat);
        const Layer::Window content(sflow, sflow.read(length));
        if (sflow.more())
            isFlow ? readFlow(sflow, number) : readCounters(sflow, number);
        if (sflow.more())
            sflow.readRest(data);
    }
}

void readSample(Layer& sflow)
{
    const auto number = sflow.peek32();
    const Layer::Group group(sflow, sample, number);
    sflow.readParts(format, enterprise, sampleFormat);
    const Layer::Window content(sflow, sflow.read(length));
    const bool isFlow = number == 1 || number == 3, isWide = number > 2;
    if (number < 1 || number > 4)
        return static_cast<void>(sflow.more() ? sflow.readRest(data) : Bytes());
    sflow.read(sampleSequence);
    if (isWide)
        sflow.read(wideType, wideIndex);
    else
        sflow.readParts(sourceWord, sourceType, sourceIndex);
    if (isFlow) {
        sflow.read(rate, pool, drops);
        if (isWide)
            sflow.read(inputFormat, input, outputFormat, output);
        else
            sflow.read(input, output);
    }
    readRecords(sflow, isFlow);
}

void decode(Layer& sflow)
{
    if (sflow.left() >= 4 && sflow.peek32() != 5) // earlier versions lie on the wire in another way
        return static_cast<void>(sflow.readRest(data));
    sflow.read(version);
    readAddress(sflow, agent4, agent6);
    sflow.read(subAgent, sequence, upTime);
    const auto many = sflow.read(sampleCount);
    for (std::uint64_t i = 0; i < many && sflow.more(); ++i)
        readSample(sflow);
}

void describe(const LayerView& sflow, TextSink& out)
{
    if (!sflow.has(version))
        return out("Data, {} bytes", sflow.bytes().size());
    const auto agent = sflow[agent4] ? sflow[agent4] : sflow[agent6];
    const auto samples = sflow[sampleCount].number();
    out("sFlow {}, agent {}, number {}, {} sample{}", sflow[version], agent, sflow[sequence], samples,
        samples == 1 ? "" : "s");
    std::size_t told = 0;
    sflow.each(sample, [&](const Value& entry) {
        if (++told <= 3)
            out(", {}", entry);
    });
}

/// Version 5 of an agent with an address, and no more samples than there is room for.
Likeness guess(Bytes payload, Transport transport)
{
    if (transport != Transport::udp || payload.size() < 28 || load::be32(payload.data()) != 5)
        return Likeness::none;
    const auto kind = load::be32(payload.data() + 4);
    const std::size_t head = kind == 1 ? 28 : kind == 2 ? 40 : 0;
    if (head == 0 || payload.size() < head)
        return Likeness::none;
    const std::size_t samples = load::be32(&payload[head - 4]), rest = payload.size() - head;
    return samples == 0 ? (rest == 0 ? Likeness::likely : Likeness::none)
        : samples <= rest / 8 && rest >= 8 && load::be32(&payload[head + 4]) <= rest - 8 ? Likeness::likely
                                                                                         : Likeness::none;
}

constexpr Claim claims[] = {udpPort(6343)};
} // namespace

constexpr Protocol protocol{{"sflow", "sFlow", Wire::layer}, {}, claims, decode, describe, guess,
                            opensWith({Transport::udp}, 0)};
static_assert(wellFormed(protocol));
} // namespace netrondo::sflow
