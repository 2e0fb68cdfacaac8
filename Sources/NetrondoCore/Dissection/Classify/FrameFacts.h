// What one frame says about a conversation, as plain values: no text, no memory of its own.
#pragma once

#include "Base/Address.h"
#include "Base/Bytes.h"
#include "Dissection/Classify/ProtocolCategory.h"
#include "Dissection/Classify/ProtocolName.h"

#include <cstdint>

namespace netrondo {

struct FrameFacts {
    /// The two hosts in the analysis mode's terms.
    Address source;
    Address destination;
    Address sourceIp; ///< none when the frame has none
    Address destinationIp;
    Address sourceMac; ///< given in every mode where the link has it
    Address destinationMac;

    /// Which of the optional fields below hold a value.
    enum Has : std::uint8_t { ports = 1, tcpSeq = 2, tcpAck = 4, tcpFlags = 8, tcpWindow = 16, ipv4Id = 32 };
    std::uint8_t has = 0;
    /// All that the TCP tracker needs.
    static constexpr std::uint8_t wholeTcpHeader = ports | tcpSeq | tcpAck | tcpFlags | tcpWindow;

    bool isTcp = false;
    bool isUdp = false;
    bool isMacPair = false;
    ProtocolCategory category = ProtocolCategory::unknown;
    ProtocolName name = ProtocolName::other;

    std::uint8_t flags = 0;
    std::uint16_t window = 0;
    std::uint16_t identification = 0; ///< IPv4 identification
    std::uint16_t sourcePort = 0;
    std::uint16_t destinationPort = 0;
    std::uint32_t seq = 0;
    std::uint32_t ack = 0;
    std::uint32_t byteCount = 0; ///< the frame's length on the wire
    Bytes tcpOptions; ///< the header's options area, for SYN segments with a header of more than 20 bytes; else empty
    Bytes payload;    ///< of TCP and UDP: ends where the IP length says, never past the captured bytes

    /// As made anew. Member by member: g++ fills so large a record with an instruction that takes longer to start than
    /// this takes, and copies what it has just written in pieces that the processor cannot forward.
    void clear()
    {
        source = {};
        destination = {};
        sourceIp = {};
        destinationIp = {};
        sourceMac = {};
        destinationMac = {};
        has = 0;
        isTcp = isUdp = isMacPair = false;
        category = ProtocolCategory::unknown;
        name = ProtocolName::other;
        flags = 0;
        window = identification = sourcePort = destinationPort = 0;
        seq = ack = byteCount = 0;
        tcpOptions = {};
        payload = {};
    }

    bool hasAll(std::uint8_t fields) const { return (has & fields) == fields; }
};

} // namespace netrondo
