// Records are taken from the window as long as whole ones lie in it and before the end the header names. In a wrapped
// capture the older part runs to the end of the file, and the newer one from behind the header to the end offset.
#include "Capture/SnifferReader.h"

#include "Base/Address.h"

#include <algorithm>
#include <limits>

namespace netrondo {
namespace {
namespace at { // offsets in the file header; all integers are little-endian
constexpr std::size_t version = 4, startSeconds = 12, begin = 24, end = 28, network = 44, networkCoding = 45,
                      timeUnit = 48, startTicks = 52, realTicks = 76, captureType = 84;
} // namespace at

namespace record { // and in a record's header
constexpr std::size_t ticks = 0, originalLength = 8, capturedLength = 10, extra = 12;
} // namespace record

constexpr std::uint64_t million = 1'000'000, billion = 1'000'000'000;

enum Network : unsigned { ethernet = 1, tokenRing = 2, fddi = 3, wan = 4, ieee80211 = 10 };

/// The NDIS medium number and one: how it is kept depends on the byte beside it.
unsigned networkOf(Bytes header)
{
    return header[at::networkCoding] == 2 ? header[at::network] : header[at::network] + 1U;
}

/// The registered link-type number for a WAN capture of version 2.
std::uint16_t wanLinkNumber(Bytes header)
{
    enum CaptureType : unsigned { ppp = 3, frameRelay = 4, ciscoHdlc = 19 };
    switch (header[at::captureType]) {
    case ppp: return 9;
    case frameRelay: return 107;
    case ciscoHdlc: return 104;
    default: return static_cast<std::uint16_t>(LinkType::unknown);
    }
}

std::uint16_t linkNumberOf(Bytes header, unsigned major)
{
    switch (networkOf(header)) {
    case ethernet: return 1;
    case tokenRing: return 6;
    case fddi: return 10;
    case wan: return major == 1 ? 1 : wanLinkNumber(header); // older files dress these frames up as Ethernet
    case ieee80211: return 105;
    default: return static_cast<std::uint16_t>(LinkType::unknown);
    }
}

struct Clock {
    unsigned captureType, timeUnit;
    std::uint64_t ticksPerSecond; ///< 0: the header tells
};

/// Of Ethernet captures of version 2. Types above 0 are pods with clocks of their own.
constexpr Clock ethernetClocks[] = {
    {0, 0, million}, {0, 1, 1'193'000}, {0, 2, 0},       {2, 0, billion}, {2, 2, 31'250'000},
    {3, 0, million}, {3, 2, 1'250'000}, {5, 0, million}, {6, 0, billion}, {6, 2, 20'000'000},
};

/// An unknown clock is taken for one of microseconds, which most are.
std::uint64_t ticksPerSecond(Bytes header, std::string_view version)
{
    if (version == "001.000")
        return 1'000;
    if (version.starts_with("001"))
        return million;
    const unsigned type = header[at::captureType], unit = header[at::timeUnit];
    if (networkOf(header) != ethernet)
        return unit == 1 ? 1'193'000 : unit == 2 ? 1'193'182 : million;
    for (const auto& clock : ethernetClocks)
        if (clock.captureType == type && clock.timeUnit == unit) {
            const auto told = load::le32(header.data() + at::realTicks);
            return clock.ticksPerSecond > 0 ? clock.ticksPerSecond : std::max<std::uint64_t>(told, 1);
        }
    return million;
}

/// Pods of the later versions count from the start of the capture, whatever the header says.
bool startsAtZero(Bytes header, std::string_view version)
{
    const unsigned type = header[at::captureType];
    const bool isPod = type == 2 || type == 3 || type == 5 || type == 6;
    return isPod && (version == "002.002" || version == "002.003");
}

/// Whether the four bytes behind some frames are junk; they are a real checksum where the header gives a tick rate of
/// a certain kind, and then they stay part of the frame.
bool mayHaveTrailer(Bytes header, unsigned major)
{
    const bool isRealChecksum = header[at::realTicks + 1] == 0x34 && header[at::realTicks + 2] == 0x12;
    const auto network = networkOf(header);
    return major == 2 && !isRealChecksum && (network == ethernet || network == wan || network == ieee80211);
}
} // namespace

CaptureResult<SnifferHeader> SnifferHeader::parse(Bytes bytes)
{
    if (bytes.size() < size)
        return std::unexpected(CaptureError::fileTooSmall());
    if (!std::ranges::equal(bytes.first(4), SnifferReader::magic))
        return std::unexpected(CaptureError::invalidHeader("Not a Sniffer capture"));
    const auto version = asText(bytes.subspan(at::version, 7));
    if (!version.starts_with("001.") && !version.starts_with("002."))
        return std::unexpected(CaptureError::invalidHeader("This version of Sniffer captures is not known"));
    SnifferHeader header;
    header.major = version[2] == '1' ? 1 : 2;
    header.linkNumber = linkNumberOf(bytes, header.major);
    header.linkType = netrondo::linkType(header.linkNumber);
    header.startSeconds = load::le32(bytes.data() + at::startSeconds);
    header.startTicks = startsAtZero(bytes, version) ? 0 : load::le64(bytes.data() + at::startTicks);
    header.ticksPerSecond = netrondo::ticksPerSecond(bytes, version);
    header.begin = load::le32(bytes.data() + at::begin);
    header.end = load::le32(bytes.data() + at::end);
    header.mayHaveTrailer = netrondo::mayHaveTrailer(bytes, header.major);
    if (header.begin != header.end && (header.begin < size || header.end < size))
        return std::unexpected(CaptureError::invalidHeader("Sniffer records inside the file header"));
    return header;
}

CaptureResult<std::unique_ptr<SnifferReader>> SnifferReader::open(FileHandle handle)
{
    const auto start = handle.offset();
    NR_TRY(const auto bytes, handle.read(SnifferHeader::size));
    NR_TRY(const auto header, SnifferHeader::parse(bytes));
    if (header.isWrapped() && !handle.isSeekable())
        return std::unexpected(
            CaptureError::io("this Sniffer capture lies in two parts, the older behind the newer, and cannot be read "
                             "from a pipe; save it in a file first"));
    if (header.begin != header.end) {
        // In pieces, as a pipe cannot be moved in.
        for (auto left = start + header.begin - handle.offset(); left > 0;) {
            constexpr std::uint64_t piece = 65'536;
            NR_TRY(const auto skipped, handle.read(std::min(left, piece)));
            if (skipped.empty())
                break;
            left -= skipped.size();
        }
    }
    return std::unique_ptr<SnifferReader>(new SnifferReader(std::move(handle), header));
}

CaptureResult<std::size_t> SnifferReader::nextBatch(std::span<CaptureFrame> frames)
{
    if (const auto count = takeBuffered(frames); count > 0 || frames.empty())
        return count;
    NR_TRY(const auto more, requireRecord());
    if (more)
        return takeBuffered(frames);
    if (!inOlderPart_)
        return 0;
    inOlderPart_ = false;
    if (const auto moved = handle_.seek(SnifferHeader::size); !moved)
        return std::unexpected(moved.error());
    return nextBatch(frames);
}

/// To the end of the part that is being read.
std::uint64_t SnifferReader::bytesLeft() const
{
    if (inOlderPart_)
        return std::numeric_limits<std::uint64_t>::max();
    return handle_.offset() < header_.end && header_.begin != header_.end ? header_.end - handle_.offset() : 0;
}

/// Brings the next record into the window whole; false where this part of the capture ends.
CaptureResult<bool> SnifferReader::requireRecord()
{
    const auto left = bytesLeft();
    if (left < recordHeaderSize())
        return false;
    NR_TRY(const auto header, handle_.peek(recordHeaderSize()));
    if (header.size() < recordHeaderSize())
        return false;
    const std::uint64_t whole = recordHeaderSize() + load::le16(header.data() + record::capturedLength);
    return whole <= left ? handle_.require(whole) : CaptureResult<bool>(false);
}

/// The whole records that lie in the window, as many as `frames` holds.
std::size_t SnifferReader::takeBuffered(std::span<CaptureFrame> frames)
{
    std::size_t count = 0;
    while (count < frames.size()) {
        const auto window = slice(handle_.buffered(), 0, bytesLeft());
        if (window.size() < recordHeaderSize())
            break;
        const auto whole = recordHeaderSize() + load::le16(window.data() + record::capturedLength);
        if (window.size() < whole)
            break;
        frames[count++] = frameOf(window.first(whole));
        handle_.skip(whole);
    }
    return count;
}

CaptureFrame SnifferReader::frameOf(Bytes bytes) const
{
    constexpr std::uint32_t trailer = 4;
    auto data = bytes.subspan(recordHeaderSize());
    std::uint32_t original = load::le16(bytes.data() + record::originalLength);
    const auto* extra = bytes.data() + record::extra;
    if (header_.mayHaveTrailer && extra[2] == 0xff && extra[3] == 0xff) {
        data = data.first(data.size() - std::min<std::size_t>(data.size(), trailer));
        original -= std::min(original, trailer);
    }
    // Ticks before the start are a clock that was set back: a time before the start, but none before 1970.
    const auto passed = load::le64(bytes.data() + record::ticks) - header_.startTicks;
    const bool isBefore = static_cast<std::int64_t>(passed) < 0;
    const auto span = static_cast<Uint128>(isBefore ? -passed : passed);
    const auto microseconds = (span * million + header_.ticksPerSecond / 2) / header_.ticksPerSecond;
    const auto start = static_cast<Uint128>(header_.startSeconds) * million;
    const auto time = !isBefore ? start + microseconds : start > microseconds ? start - microseconds : 0;
    CaptureFrame frame;
    frame.timestampSeconds = static_cast<std::uint64_t>(time / million);
    frame.timestampFraction = static_cast<std::uint64_t>(time % million);
    frame.capturedLength = static_cast<std::uint32_t>(data.size());
    frame.originalLength = original;
    frame.linkType = header_.linkType;
    frame.data = data;
    return frame;
}

std::uint64_t SnifferReader::offsetOf(const CaptureFrame& frame) const
{
    const auto back = handle_.buffered().data() - frame.data.data();
    return handle_.offset() - static_cast<std::uint64_t>(back) - recordHeaderSize();
}

CaptureResult<std::unique_ptr<CaptureReading>> SnifferReader::again() const
{
    NR_TRY(auto handle, handle_.again());
    return std::unique_ptr<CaptureReading>(new SnifferReader(std::move(handle), header_));
}

CaptureResult<void> SnifferReader::moveTo(std::uint64_t offset)
{
    inOlderPart_ = header_.isWrapped() && offset >= header_.begin;
    NR_TRY([[maybe_unused]] const auto there, handle_.seek(offset));
    return {};
}

} // namespace netrondo
