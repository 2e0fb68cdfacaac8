// One directed conversation between two hosts, in words: what views, reports and JSON read.
#pragma once

#include "Analysis/Tcp/TCPSessionQuality.h"
#include "Dissection/Classify/PortServices.h"
#include "Dissection/Classify/ProtocolCategory.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace netrondo {

class JsonWriter;

/// A map from port to `T`, ascending.
template <typename T> using PortMap = std::vector<std::pair<std::uint16_t, T>>;

struct CommPair {
    std::string srcAddr;
    std::string dstAddr;
    std::optional<std::string> resolvedSrc;
    std::optional<std::string> resolvedDst;
    std::optional<std::string> srcMAC;
    std::optional<std::string> dstMAC;
    std::optional<std::string> srcIP;
    std::optional<std::string> dstIP;
    bool hasTCP = false;
    bool hasUDP = false;
    std::uint64_t packetCount = 0;
    std::uint64_t byteCount = 0;
    std::string_view topProtocol; ///< a protocol name; these live as long as the program
    ProtocolCategory category = ProtocolCategory::unknown;
    bool isMAC = false;
    /// Ports seen on the pair: every destination port, and the source ports that have a name or are not ephemeral.
    PortMap<PortStats> dstPorts;
    std::vector<std::string_view> payloadProtocols; ///< sorted, each once
    std::optional<double> firstSeenSeconds;
    std::optional<double> lastSeenSeconds;
    std::optional<TCPSessionQuality> tcpQuality; ///< of both directions
    PortMap<TCPSessionQuality> tcpQualityByPort;

    /// "{srcAddr}->{dstAddr}": the pair's identity.
    std::string id() const;
    std::uint64_t volume(bool useBytes) const { return useBytes ? byteCount : packetCount; }

    /// The end's name when names are wanted and it has one, else its address; shortened in the middle to `maxChars`.
    std::string displaySrc(bool showNames, std::size_t maxChars) const;
    std::string displayDst(bool showNames, std::size_t maxChars) const;
    /// True when the protocol is the pair's top protocol, one of its payload protocols, or the service of one of its
    /// ports.
    bool carries(std::string_view protocolName) const;

    friend bool operator==(const CommPair&, const CommPair&) = default;
};

/// Frames per protocol name.
struct ProtocolStats {
    std::string_view name;
    ProtocolCategory category = ProtocolCategory::unknown;
    std::uint64_t count = 0;
    friend bool operator==(const ProtocolStats&, const ProtocolStats&) = default;
};

void write(JsonWriter& json, const CommPair& pair);
void write(JsonWriter& json, const ProtocolStats& stats);
void write(JsonWriter& json, const PortStats& stats);

} // namespace netrondo
