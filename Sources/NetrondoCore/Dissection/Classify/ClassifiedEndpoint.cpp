// Facts into words, and words into JSON.
#include "Dissection/Classify/ClassifiedEndpoint.h"

#include "Base/Json.h"
#include "Dissection/Classify/FrameClassifier.h"

namespace netrondo {
namespace {

std::optional<std::string> textOf(const Address& address)
{
    if (!address)
        return {};
    return address.text();
}

} // namespace

ClassifiedEndpoint::ClassifiedEndpoint(const FrameFacts& facts)
    : src(facts.source.text())
    , dst(facts.destination.text())
    , srcIP(textOf(facts.sourceIp))
    , dstIP(textOf(facts.destinationIp))
    , srcMAC(textOf(facts.sourceMac))
    , dstMAC(textOf(facts.destinationMac))
    , isTCP(facts.isTcp)
    , isUDP(facts.isUdp)
    , isMACPair(facts.isMacPair)
    , category(facts.category)
    , protocolName(text(facts.name))
    , byteCount(facts.byteCount)
{
    if (facts.has & FrameFacts::ports) {
        srcPort = facts.sourcePort;
        dstPort = facts.destinationPort;
    }
    if (facts.has & FrameFacts::tcpFlags)
        tcpFlags = facts.flags;
    if (facts.has & FrameFacts::tcpWindow)
        tcpWindow = facts.window;
    if (facts.has & FrameFacts::tcpSeq)
        tcpSeq = facts.seq;
    if (facts.has & FrameFacts::tcpAck)
        tcpAck = facts.ack;
    if (facts.has & FrameFacts::ipv4Id)
        ipv4Id = facts.identification;
    if (!facts.tcpOptions.empty())
        tcpOptions = parseTcpOptions(facts.tcpOptions);
    if (isTCP && !facts.payload.empty()) {
        tcpPayloadLength = static_cast<std::int64_t>(facts.payload.size());
        tcpPayloadHash = fnv1a64(facts.payload);
    }
}

std::optional<ClassifiedEndpoint> classifyInWords(const CaptureFrame& frame, AnalysisMode mode)
{
    FrameFacts facts;
    if (!classify(frame, mode, facts))
        return {};
    return ClassifiedEndpoint(facts);
}

void write(JsonWriter& json, const ClassifiedEndpoint& endpoint)
{
    json.beginObject();
    json.field("src", endpoint.src);
    json.field("dst", endpoint.dst);
    json.field("srcIP", endpoint.srcIP);
    json.field("dstIP", endpoint.dstIP);
    json.field("srcMAC", endpoint.srcMAC);
    json.field("dstMAC", endpoint.dstMAC);
    json.field("dstPort", endpoint.dstPort);
    json.field("srcPort", endpoint.srcPort);
    json.field("isTCP", endpoint.isTCP);
    json.field("isUDP", endpoint.isUDP);
    json.field("isMACPair", endpoint.isMACPair);
    json.field("category", caseName(endpoint.category));
    json.field("protocolName", endpoint.protocolName);
    json.field("byteCount", endpoint.byteCount);
    json.field("tcpFlags", endpoint.tcpFlags);
    json.field("tcpWindow", endpoint.tcpWindow);
    json.field("tcpSeq", endpoint.tcpSeq);
    json.field("tcpAck", endpoint.tcpAck);
    json.field("tcpOptions", endpoint.tcpOptions);
    json.field("ipv4Id", endpoint.ipv4Id);
    json.field("tcpPayloadLength", endpoint.tcpPayloadLength);
    json.field("tcpPayloadHash", endpoint.tcpPayloadHash);
    json.endObject();
}

} // namespace netrondo
