// A conversation's identity, and the JSON of conversations, protocols and ports.
#include "Analysis/Model/CommPair.h"

#include "Base/Json.h"

namespace netrondo {
namespace {

/// A map keyed by port: an object whose keys are decimal ports, ascending.
template <typename T> void writePorts(JsonWriter& json, JsonKey name, const PortMap<T>& ports)
{
    json.key(name);
    json.beginObject();
    for (const auto& [port, content] : ports) {
        json.key(port);
        json.value(content);
    }
    json.endObject();
}

} // namespace

std::string CommPair::id() const
{
    std::string id;
    id.reserve(srcAddr.size() + 2 + dstAddr.size());
    return id.append(srcAddr).append("->").append(dstAddr);
}

void write(JsonWriter& json, const CommPair& pair)
{
    json.beginObject();
    json.field("srcAddr", pair.srcAddr);
    json.field("dstAddr", pair.dstAddr);
    json.field("resolvedSrc", pair.resolvedSrc);
    json.field("resolvedDst", pair.resolvedDst);
    json.field("srcMAC", pair.srcMAC);
    json.field("dstMAC", pair.dstMAC);
    json.field("srcIP", pair.srcIP);
    json.field("dstIP", pair.dstIP);
    json.field("hasTCP", pair.hasTCP);
    json.field("hasUDP", pair.hasUDP);
    json.field("packetCount", pair.packetCount);
    json.field("byteCount", pair.byteCount);
    json.field("topProtocol", pair.topProtocol);
    json.field("category", caseName(pair.category));
    json.field("isMAC", pair.isMAC);
    writePorts(json, "dstPorts", pair.dstPorts);
    json.field("payloadProtocols", pair.payloadProtocols);
    json.field("firstSeenSeconds", pair.firstSeenSeconds);
    json.field("lastSeenSeconds", pair.lastSeenSeconds);
    json.field("tcpQuality", pair.tcpQuality);
    writePorts(json, "tcpQualityByPort", pair.tcpQualityByPort);
    json.endObject();
}

void write(JsonWriter& json, const ProtocolStats& stats)
{
    json.beginObject();
    json.field("name", stats.name);
    json.field("category", caseName(stats.category));
    json.field("count", stats.count);
    json.endObject();
}

void write(JsonWriter& json, const PortStats& stats)
{
    json.beginObject();
    json.field("count", stats.count);
    json.field("isTCP", stats.isTCP);
    json.field("isUDP", stats.isUDP);
    json.endObject();
}

} // namespace netrondo
