// The driver: which protocol reads which bytes, one layer after the other, with a bound on everything.
#pragma once

#include "Capture/CaptureFrame.h"
#include "Dissection/Decode/Decoding.h"
#include "Dissection/Decode/OrdinaryHeaders.h"

#include <optional>
#include <span>

namespace netrondo {

namespace Dissector {

/// All protocols in the order of Protocols.def.
std::span<const Protocol* const> protocols();
/// Those of them that are names in display filters.
std::span<const Protocol* const> filterProtocols();

/// Who announced the claim with this number, or nobody.
const Protocol* claimant(ClaimTable table, std::uint16_t number);
/// Whose payload this is: a certain look at the content, then what is known of the connection, then
/// the ports, then a likely look.
const Protocol* application(Bytes payload, Transport transport, std::uint16_t sourcePort, std::uint16_t destinationPort,
                            const Protocol* known = nullptr);
/// Who announced one of the ports, the lower first, or nobody.
const Protocol* byPort(Transport transport, std::uint16_t sourcePort, std::uint16_t destinationPort);
/// The protocol of bytes that nobody knows.
const Protocol& dataProtocol();
/// The protocol of bytes that only fill the frame up.
const Protocol& paddingProtocol();

/// Decodes the frame into the tree and the summary; both are started afresh, but for the summary's number and time.
/// With `session` it follows the frames before it there; else it may find what it needs of them in `contexts`.
/// `known` is what `OrdinaryHeaders` found in this frame, if somebody has looked.
void decode(const CaptureFrame& frame, DecodeTree& tree, FrameSummary& summary, DecodeSession* session = nullptr,
            FoundContexts* contexts = nullptr, DecodeDepth depth = DecodeDepth::tree,
            const std::optional<OrdinaryHeaders>* known = nullptr);

} // namespace Dissector

} // namespace netrondo
