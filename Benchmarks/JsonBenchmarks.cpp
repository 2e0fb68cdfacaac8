// How fast a large analysis becomes JSON.
#include "Analysis/Model/CommPair.h"
#include "Base/Json.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <rapidjson/document.h>
#include <stdexcept>
#include <unistd.h>

namespace netrondo {
namespace {

/// A conversation as a busy network's captures have them by the hundred thousand: one TCP service, one client port.
CommPair typicalPair()
{
    TCPSessionQuality quality;
    quality.tcpPackets = 1234;
    quality.synCount = 2;
    quality.finCount = 2;
    quality.ackCount = 1233;
    quality.pshCount = 321;
    quality.retransmitGuess = quality.retransmitEndpoint = 3;
    quality.windowMin = 502;
    quality.windowMax = 64240;
    quality.windowLast = 501;
    quality.hasWindowSample = true;
    quality.rttMsEstimate = 23.718017;
    quality.handshake.mssClient = quality.handshake.mssServer = 1460;
    quality.handshake.wscaleClient = quality.handshake.wscaleServer = 7;
    quality.handshake.sackPermitted = quality.handshake.sackClient = quality.handshake.sackServer = true;

    CommPair pair;
    pair.srcAddr = "10.20.130.140";
    pair.dstAddr = "192.168.211.17";
    pair.srcMAC = "02:00:5e:10:00:01";
    pair.dstMAC = "02:00:5e:10:00:02";
    pair.srcIP = pair.srcAddr;
    pair.dstIP = pair.dstAddr;
    pair.hasTCP = true;
    pair.packetCount = 1234;
    pair.byteCount = 987654;
    pair.topProtocol = "TLS";
    pair.category = ProtocolCategory::tcp;
    pair.dstPorts = {{443, {1234, true, false}}, {45678, {617, true, false}}};
    pair.payloadProtocols = {"TLS"};
    pair.firstSeenSeconds = 1767225600.123456;
    pair.lastSeenSeconds = 1767225671.654321;
    pair.tcpQuality = quality;
    pair.tcpQualityByPort = {{443, quality}, {45678, quality}};
    return pair;
}

void WritePairJson(benchmark::State& state)
{
    const auto pair = typicalPair();
    std::string once;
    {
        TextOutput out(once);
        JsonWriter json(out);
        json.value(pair);
    }
    rapidjson::Document parsed;
    if (parsed.Parse(once.c_str()).HasParseError() || parsed["tcpQuality"]["tcpPackets"].GetInt() != 1234)
        throw std::runtime_error("the pair did not become the JSON it should");

    const int null = ::open("/dev/null", O_WRONLY);
    {
        TextOutput out(null);
        for (auto _ : state) {
            JsonWriter json(out);
            json.value(pair);
        }
    }
    ::close(null);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(once.size()));
    state.counters["bytes"] = static_cast<double>(once.size());
}
BENCHMARK(WritePairJson);

} // namespace
} // namespace netrondo
