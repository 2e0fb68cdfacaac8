// The facts of a frame in words: made where somebody reads them.
#pragma once

#include "Capture/CaptureFrame.h"
#include "Dissection/Classify/AnalysisMode.h"
#include "Dissection/Classify/FrameFacts.h"
#include "Dissection/Wire/TcpOptions.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace netrondo {

class JsonWriter;

struct ClassifiedEndpoint {
    std::string src;
    std::string dst;
    std::optional<std::string> srcIP;
    std::optional<std::string> dstIP;
    std::optional<std::string> srcMAC;
    std::optional<std::string> dstMAC;
    std::optional<std::uint16_t> dstPort;
    std::optional<std::uint16_t> srcPort;
    bool isTCP = false;
    bool isUDP = false;
    bool isMACPair = false;
    ProtocolCategory category = ProtocolCategory::unknown;
    std::string_view protocolName; ///< protocol names live as long as the program
    std::uint64_t byteCount = 0;
    std::optional<std::uint8_t> tcpFlags;
    std::optional<std::uint16_t> tcpWindow;
    std::optional<std::uint32_t> tcpSeq;
    std::optional<std::uint32_t> tcpAck;
    std::optional<TCPOptions> tcpOptions;
    std::optional<std::uint16_t> ipv4Id;
    std::int64_t tcpPayloadLength = 0;
    std::optional<std::uint64_t> tcpPayloadHash;

    explicit ClassifiedEndpoint(const FrameFacts& facts);
};

/// The frame's endpoint, or nothing when it has none in this mode.
std::optional<ClassifiedEndpoint> classifyInWords(const CaptureFrame& frame, AnalysisMode mode);

void write(JsonWriter& json, const ClassifiedEndpoint& endpoint);

} // namespace netrondo
