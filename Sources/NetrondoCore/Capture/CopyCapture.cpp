// From a reader to a writer.
#include "Capture/CopyCapture.h"

#include "Capture/CaptureWriter.h"
#include "Capture/PcapNgReader.h"

#include <array>

namespace netrondo {

Result<std::optional<std::uint64_t>, CopyFailure> copyCapture(CaptureReading& source, const std::filesystem::path& copy,
                                                              const CopyChoice& isWanted,
                                                              const std::function<bool()>& goesOn,
                                                              const CopyRemarks& remarks)
{
    const auto failed = [](CopyFailure::Side side, const CaptureError& error) {
        return std::unexpected(CopyFailure{side, error});
    };
    // The one format that says more than frames.
    const auto* const noted = dynamic_cast<const PcapNgReader*>(&source);
    const auto writer = CaptureWriter::create(copy,
                                              {.format = CaptureWriter::formatFor(copy).value_or(CaptureFormat::pcap),
                                               .notes = noted ? &noted->notes() : nullptr});
    if (!writer)
        return failed(CopyFailure::Side::copy, writer.error());
    std::array<CaptureFrame, 64> frames;
    std::uint64_t number = 0;
    while (!goesOn || goesOn()) {
        const auto count = source.nextBatch(frames);
        if (!count)
            return failed(CopyFailure::Side::source, count.error());
        if (*count == 0) {
            // Also a capture without frames says what kind of frames it has none of.
            CaptureFrame none;
            none.linkType = LinkType::ethernet;
            if (const auto begun = (*writer)->begin(source.interfaceOf(none)); !begun)
                return failed(CopyFailure::Side::copy, begun.error());
            if (const auto finished = (*writer)->finish(); !finished)
                return failed(CopyFailure::Side::copy, finished.error());
            return (*writer)->frames();
        }
        for (const auto& frame : std::span(frames).first(*count)) {
            const auto at = number++;
            if (isWanted && !isWanted(frame))
                continue;
            auto options = noted ? noted->optionsOf(frame) : PcapNgOptions();
            if (const auto remark = remarks ? remarks(at) : std::string(); !remark.empty())
                options.addText(PcapNgOptions::comment, remark);
            const auto written = (*writer)->write(frame, source.nanoseconds(frame), source.interfaceOf(frame), options);
            if (!written)
                return failed(CopyFailure::Side::copy, written.error());
        }
    }
    return std::nullopt;
}

} // namespace netrondo
