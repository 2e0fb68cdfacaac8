// Internet checksums of a layer, judged once and kept in the node.
#include "Dissection/Protocols/Checksums.h"

#include "Dissection/Wire/InternetChecksum.h"

namespace netrondo::checksums {
namespace {

/// A sum that covers the field itself: without it, the field should hold the inverse.
std::uint16_t expectedSum(std::uint64_t total, std::uint16_t sent)
{
    const auto rest = InternetChecksum::fold(total + static_cast<std::uint16_t>(~sent));
    return static_cast<std::uint16_t>(~rest);
}

} // namespace

ChecksumOutcome read(Layer& layer, const Field& field, Bytes covered, std::uint64_t pseudoHeader, Expert wrong)
{
    const auto sent = layer.left() >= 2 ? layer.peek16() : std::uint16_t{0};
    const auto total = InternetChecksum::sum(covered) + pseudoHeader;
    if (pseudoHeader && InternetChecksum::fold(total) != 0xffff && sent == InternetChecksum::fold(pseudoHeader)) {
        layer.read(field);
        if (layer.stopped())
            return ChecksumOutcome::unchecked;
        layer.tree().at(layer.tree().size() - 1).number =
            verdict(sent, expectedSum(total, sent), ChecksumOutcome::offloaded);
        return ChecksumOutcome::offloaded;
    }
    return readSum(layer, field, total, wrong);
}

ChecksumOutcome readSum(Layer& layer, const Field& field, std::uint64_t total, Expert wrong)
{
    const auto sent = static_cast<std::uint16_t>(layer.read(field));
    if (layer.stopped())
        return ChecksumOutcome::unchecked;
    const bool isCorrect = InternetChecksum::fold(total) == 0xffff;
    const auto outcome = isCorrect ? ChecksumOutcome::correct : ChecksumOutcome::wrong;
    layer.tree().at(layer.tree().size() - 1).number = verdict(sent, expectedSum(total, sent), outcome);
    if (!isCorrect)
        layer.mark(wrong);
    return outcome;
}

ChecksumOutcome readTransport(Layer& layer, const Field& field, std::uint8_t protocol, Expert wrong)
{
    const auto& frame = layer.frame();
    if (frame.depth == DecodeDepth::row || layer.isCut() || frame.isFragment || layer.isQuoted()
        || !frame.networkSource.isIp()) {
        layer.read(field);
        return ChecksumOutcome::unchecked;
    }
    const auto pseudo = InternetChecksum::pseudoHeader(frame.networkSource, frame.networkDestination, protocol,
                                                       static_cast<std::uint32_t>(layer.whole().size()));
    return read(layer, field, layer.whole(), pseudo, wrong);
}

} // namespace netrondo::checksums
