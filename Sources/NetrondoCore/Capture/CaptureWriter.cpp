// Picks the writer, and writes pcap through libpcap's dump functions.
#include "Capture/CaptureWriter.h"

#include "CPcapBridge/CPcapBridge.h"
#include "Capture/PcapNgWriter.h"

#include <algorithm>
#include <fmt/format.h>
#include <limits>

namespace netrondo {
namespace {
constexpr std::int64_t perSecond = 1'000'000'000;

class PcapWriter final : public CaptureWriter {
public:
    explicit PcapWriter(OutputFile file) : CaptureWriter(std::move(file)) { }

    CaptureResult<void> begin(const SourceInterface& interface) override;
    CaptureResult<void> write(const CaptureFrame& frame, std::int64_t nanoseconds, const SourceInterface& interface,
                              const PcapNgOptions& options) override;
    CaptureResult<void> finish(std::span<const CaptureCounts> counts) override;

private:
    struct Close {
        void operator()(nr_pcap_writer* writer) const { nr_pcap_writer_close(writer); }
    };

    static int append(void* file, const void* bytes, std::size_t count)
    {
        static_cast<OutputFile*>(file)->append({static_cast<const std::uint8_t*>(bytes), count});
        return 0; // the file tells at the end of a record whether it could be written
    }

    std::unique_ptr<nr_pcap_writer, Close> writer_;
    SourceInterface interface_;
};

CaptureResult<void> PcapWriter::begin(const SourceInterface& interface)
{
    if (writer_)
        return {};
    interface_ = interface;
    const auto snaplen = std::max<std::uint32_t>(interface.snaplen, NR_PCAP_LARGEST_SNAPLEN);
    const auto sane = std::min<std::uint32_t>(snaplen, std::numeric_limits<std::int32_t>::max());
    writer_.reset(nr_pcap_writer_open(interface.linkNumber, sane, interface.isNanosecond, append, &file_));
    if (!writer_)
        return std::unexpected(CaptureError::io("libpcap has no memory for another file"));
    return file_.endRecord();
}

CaptureResult<void> PcapWriter::write(const CaptureFrame& frame, std::int64_t nanoseconds,
                                      const SourceInterface& interface, const PcapNgOptions&)
{
    if (auto begun = begin(interface); !begun)
        return begun;
    if (interface.linkNumber != interface_.linkNumber)
        return std::unexpected(CaptureError::io(
            fmt::format("a pcap file holds frames of one link type only, and these are of the types {} and {}; a name "
                        "that ends in .pcapng asks for a file that holds both",
                        interface_.linkNumber, interface.linkNumber)));
    const auto seconds = nanoseconds / perSecond, rest = nanoseconds % perSecond;
    if (nanoseconds < 0 || seconds > std::numeric_limits<std::uint32_t>::max())
        return std::unexpected(CaptureError::io(
            fmt::format("a pcap file has no room for a time {} seconds away from 1970; a name that ends in .pcapng "
                        "asks for a file that may have",
                        seconds)));
    const nr_pcap_frame record{static_cast<std::uint32_t>(seconds),
                               static_cast<std::uint32_t>(interface_.isNanosecond ? rest : rest / 1000),
                               frame.capturedLength, frame.originalLength, frame.data.data()};
    nr_pcap_writer_put(writer_.get(), &record);
    return endFrame();
}

CaptureResult<void> PcapWriter::finish(std::span<const CaptureCounts>)
{
    if (auto begun = begin({}); !begun) // a file without frames is one all the same
        return begun;
    return file_.finish();
}

} // namespace

std::optional<CaptureFormat> CaptureWriter::formatFor(const std::filesystem::path& path)
{
    auto ending = path.extension().string();
    std::ranges::transform(ending, ending.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    if (ending == ".gz" || ending == ".caz" || ending == ".zst")
        return std::nullopt;
    return ending == ".pcapng" || ending == ".ntar" ? CaptureFormat::pcapng : CaptureFormat::pcap;
}

CaptureResult<std::unique_ptr<CaptureWriter>> CaptureWriter::create(const std::filesystem::path& path,
                                                                    const Options& options)
{
    NR_TRY(auto file, OutputFile::create(path, options.naming));
    if (options.format == CaptureFormat::pcapng)
        return std::make_unique<PcapNgWriter>(std::move(file), options.notes);
    return std::make_unique<PcapWriter>(std::move(file));
}

} // namespace netrondo
