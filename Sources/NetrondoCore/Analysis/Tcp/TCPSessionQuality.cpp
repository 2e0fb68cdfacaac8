// Adding quality records up, scoring them, and their grades and JSON.
#include "Analysis/Tcp/TCPSessionQuality.h"

#include "Base/Json.h"

#include <algorithm>
#include <iterator>

namespace netrondo {
namespace {

template <typename T> void keepFirst(std::optional<T>& own, const std::optional<T>& other)
{
    if (!own)
        own = other;
}

void unite(std::vector<std::string>& own, const std::vector<std::string>& other)
{
    if (other.empty() || own == other)
        return;
    std::vector<std::string> both;
    std::set_union(own.begin(), own.end(), other.begin(), other.end(), std::back_inserter(both));
    own = std::move(both);
}

} // namespace

void TCPHandshakeOptions::merge(const TCPHandshakeOptions& other)
{
    keepFirst(mssClient, other.mssClient);
    keepFirst(mssServer, other.mssServer);
    keepFirst(wscaleClient, other.wscaleClient);
    keepFirst(wscaleServer, other.wscaleServer);
    sackPermitted |= other.sackPermitted;
    sackClient |= other.sackClient;
    sackServer |= other.sackServer;
    timestamps |= other.timestamps;
    timestampsClient |= other.timestampsClient;
    timestampsServer |= other.timestampsServer;
    unite(extraClient, other.extraClient);
    unite(extraServer, other.extraServer);
}

void TCPSessionQuality::merge(const TCPSessionQuality& other)
{
    tcpPackets += other.tcpPackets;
    synCount += other.synCount;
    finCount += other.finCount;
    rstCount += other.rstCount;
    ackCount += other.ackCount;
    pshCount += other.pshCount;
    urgCount += other.urgCount;
    eceCount += other.eceCount;
    cwrCount += other.cwrCount;
    retransmitGuess += other.retransmitGuess;
    retransmitEndpoint += other.retransmitEndpoint;
    retransmitInfrastructure += other.retransmitInfrastructure;
    retransmitApplication += other.retransmitApplication;
    spuriousRetransmitCount += other.spuriousRetransmitCount;
    ackedUnseenCount += other.ackedUnseenCount;
    sackPacketCount += other.sackPacketCount;
    sackDSackCount += other.sackDSackCount;
    sackUnseenCount += other.sackUnseenCount;
    sackInvalidCount += other.sackInvalidCount;
    sackLeftoverCount += other.sackLeftoverCount;
    zeroWindowCount += other.zeroWindowCount;
    if (other.hasWindowSample) {
        windowMin = hasWindowSample ? std::min(windowMin, other.windowMin) : other.windowMin;
        windowMax = hasWindowSample ? std::max(windowMax, other.windowMax) : other.windowMax;
        windowLast = other.windowLast;
        hasWindowSample = true;
    }
    if (other.rttMsEstimate)
        rttMsEstimate = rttMsEstimate ? std::min(*rttMsEstimate, *other.rttMsEstimate) : other.rttMsEstimate;
    handshake.merge(other.handshake);
}

TCPSessionQuality::Deductions TCPSessionQuality::deductions() const
{
    if (tcpPackets == 0)
        return {};
    Deductions taken;
    taken.reset = rstCount != 0 ? 40 : 0; // once, however many resets there were
    taken.retransmission = std::min(static_cast<double>(retransmitGuess) / static_cast<double>(tcpPackets) * 250, 40.0);
    taken.zeroWindow = std::min(static_cast<double>(zeroWindowCount) * 4, 25.0);
    const double rtt = rttMsEstimate.value_or(0);
    taken.handshake = rtt > 500 ? 30 : rtt > 200 ? 15 : rtt > 100 ? 5 : 0;
    return taken;
}

std::optional<int> TCPSessionQuality::score() const
{
    if (tcpPackets == 0)
        return {};
    const auto taken = deductions();
    const double score = 100 - taken.reset - taken.retransmission - taken.zeroWindow - taken.handshake;
    return std::clamp(static_cast<int>(score), 0, 100);
}

SessionQualityGrade TCPSessionQuality::grade(const QualityGradeThresholds& bands) const
{
    return gradeOf(score(), bands);
}

void write(JsonWriter& json, const TCPSessionQuality& quality)
{
    json.beginObject();
    json.field("tcpPackets", quality.tcpPackets);
    json.field("synCount", quality.synCount);
    json.field("finCount", quality.finCount);
    json.field("rstCount", quality.rstCount);
    json.field("ackCount", quality.ackCount);
    json.field("pshCount", quality.pshCount);
    json.field("urgCount", quality.urgCount);
    json.field("eceCount", quality.eceCount);
    json.field("cwrCount", quality.cwrCount);
    json.field("retransmitGuess", quality.retransmitGuess);
    json.field("retransmitEndpoint", quality.retransmitEndpoint);
    json.field("retransmitInfrastructure", quality.retransmitInfrastructure);
    json.field("retransmitApplication", quality.retransmitApplication);
    json.field("spuriousRetransmitCount", quality.spuriousRetransmitCount);
    json.field("ackedUnseenCount", quality.ackedUnseenCount);
    json.field("sackPacketCount", quality.sackPacketCount);
    json.field("sackDSackCount", quality.sackDSackCount);
    json.field("sackUnseenCount", quality.sackUnseenCount);
    json.field("sackInvalidCount", quality.sackInvalidCount);
    json.field("sackLeftoverCount", quality.sackLeftoverCount);
    json.field("zeroWindowCount", quality.zeroWindowCount);
    json.field("windowMin", quality.windowMin);
    json.field("windowMax", quality.windowMax);
    json.field("windowLast", quality.windowLast);
    json.field("hasWindowSample", quality.hasWindowSample);
    json.field("rttMsEstimate", quality.rttMsEstimate);
    json.field("handshake", quality.handshake);
    json.endObject();
}

void write(JsonWriter& json, const TCPHandshakeOptions& handshake)
{
    json.beginObject();
    json.field("mssClient", handshake.mssClient);
    json.field("mssServer", handshake.mssServer);
    json.field("wscaleClient", handshake.wscaleClient);
    json.field("wscaleServer", handshake.wscaleServer);
    json.field("sackPermitted", handshake.sackPermitted);
    json.field("sackClient", handshake.sackClient);
    json.field("sackServer", handshake.sackServer);
    json.field("timestamps", handshake.timestamps);
    json.field("timestampsClient", handshake.timestampsClient);
    json.field("timestampsServer", handshake.timestampsServer);
    json.field("extraClient", handshake.extraClient);
    json.field("extraServer", handshake.extraServer);
    json.endObject();
}

void write(JsonWriter& json, const QualityGradeThresholds& bands)
{
    json.beginObject();
    json.field("excellentMin", bands.excellentMin);
    json.field("goodMin", bands.goodMin);
    json.field("fairMin", bands.fairMin);
    json.endObject();
}

} // namespace netrondo
