// Picks the reader by the first bytes. One handle serves from the first look to the last frame, so that a pipe, which
// cannot be opened twice, is read like a file.
#include "Capture/CaptureFile.h"

#include "Capture/FileHandle.h"
#include "Capture/GzipCodec.h"
#include "Capture/PcapNgReader.h"
#include "Capture/PcapReader.h"
#include "Capture/SnifferReader.h"
#include "Capture/WiretapReader.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <random>
#include <unistd.h>

namespace netrondo::CaptureFile {
namespace {
/// A random UUID (RFC 9562, version 4) as text.
std::string uuid()
{
    std::random_device random;
    const std::uint32_t a = random(), b = random(), c = random(), d = random();
    return fmt::format("{:08x}-{:04x}-4{:03x}-{:x}{:03x}-{:04x}{:08x}", a, b >> 16, b & 0xfff, 8 | (c >> 30),
                       c >> 16 & 0xfff, c & 0xffff, d);
}

/// The user's temporary directory.
std::string temporaryFolder()
{
    const char* folder = std::getenv("TMPDIR");
    return folder && *folder ? folder : "/tmp";
}

/// What is to be read of a file.
struct Unwrapped {
    FileHandle handle;
    bool hasSecondMember = false; ///< it was compressed, and goes on behind what was inflated
};

/// Inflates into a temporary file. It loses its name before the first byte is written, so that nothing stays on disk
/// however the program ends; closing the handle frees its space.
CaptureResult<Unwrapped> inflated(FileHandle packed, const Inflating& inflating)
{
    const auto folder = temporaryFolder();
    const auto place = fmt::format("the temporary directory {} (TMPDIR can name another)", folder);
    const auto path = std::filesystem::path(folder) / ("nr-" + uuid() + ".cap");
    const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return std::unexpected(GzipCodec::cannotInflateInto(place, errno));
    FileHandle file(descriptor);
    if (::unlink(path.c_str()) < 0)
        return std::unexpected(CaptureError::system(errno));
    const auto goesOn = [&, size = packed.size()] { return !inflating || inflating({packed.offset(), size}); };
    NR_TRY(const auto hasSecondMember, GzipCodec::decompress(packed, descriptor, place, goesOn));
    if (::lseek(descriptor, 0, SEEK_SET) < 0)
        return std::unexpected(CaptureError::system(errno));
    return Unwrapped{std::move(file), hasSecondMember};
}

/// The file, or what is in it when it is compressed.
CaptureResult<Unwrapped> unwrappedHandle(const std::filesystem::path& path, const Inflating& inflating)
{
    NR_TRY(auto handle, FileHandle::open(path));
    NR_TRY(const auto start, handle.peek(4));
    if (start.size() < 2)
        return std::unexpected(CaptureError::fileTooSmall());
    if (GzipCodec::is(start))
        return inflated(std::move(handle), inflating);
    return Unwrapped{std::move(handle)};
}
} // namespace

std::optional<CaptureFormat> formatOf(Bytes start)
{
    if (start.size() < 4)
        return std::nullopt;
    if (std::ranges::equal(start.first(4),
                           SnifferReader::magic)) // before the others: it wins whatever else might match
        return CaptureFormat::sniffer;
    const auto magic = load::le32(start.data());
    if (magic == PcapNgReader::sectionHeader)
        return CaptureFormat::pcapng;
    if (PcapReader::isMagic(magic))
        return CaptureFormat::pcap;
    return std::nullopt;
}

namespace {

CaptureResult<std::unique_ptr<CaptureReading>> readerOf(FileHandle handle)
{
    NR_TRY(const auto start, handle.peek(4));
    if (start.size() < 4)
        return std::unexpected(CaptureError::fileTooSmall());
    const auto format = formatOf(start);
    if (format == CaptureFormat::pcapng)
        return PcapNgReader::open(std::move(handle));
    if (format == CaptureFormat::pcap)
        return PcapReader::open(std::move(handle));
    if (format == CaptureFormat::sniffer)
        return SnifferReader::open(std::move(handle));
    return std::unexpected(CaptureError::unsupportedFormat());
}

/// By a reader of our own.
CaptureResult<std::unique_ptr<CaptureReading>> openNative(const std::filesystem::path& path, const Inflating& inflating)
{
    NR_TRY(auto file, unwrappedHandle(path, inflating));
    NR_TRY(auto reader, readerOf(std::move(file.handle)));
    if (file.hasSecondMember)
        reader->setSecondMember();
    return reader;
}
} // namespace

CaptureResult<std::unique_ptr<CaptureReading>> open(const std::filesystem::path& path, const Inflating& inflating)
{
    auto reader = openNative(path, inflating);
    if (reader || reader.error() != CaptureError::unsupportedFormat() || !WiretapReader::isAvailable())
        return reader;
    return WiretapReader::open(path);
}

} // namespace netrondo::CaptureFile
