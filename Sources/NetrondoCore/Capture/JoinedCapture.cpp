// A frame of one interface is handed on once no other has an earlier one that is there. The frames of a capture are
// good until it is asked again, which is when all of them have gone.
#include "Capture/JoinedCapture.h"

#include <algorithm>
#include <poll.h>

namespace netrondo {
namespace {
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds attention{50}; ///< how soon a stop, and the end of a capture program, shows

/// What a pcapng file says of an interface.
PcapNgOptions optionsOf(const LiveCapture::Options& options)
{
    PcapNgOptions noted;
    noted.addText(PcapNgOptions::interfaceName, options.interface);
    if (!options.filter.empty()) // behind a byte that says that it is text for libpcap
        noted.addText(PcapNgOptions::interfaceFilter, std::string(1, '\0') + options.filter);
    return noted;
}
} // namespace

/// What the frames come from: each from the interface of its number.
class JoinedCapture::Reading final : public CaptureReading {
public:
    explicit Reading(const std::vector<Part>& parts) : parts_(parts)
    {
        for (const auto& part : parts)
            linkTypes_.push_back(part.capture->reading()->interfaceLinkTypes().front());
    }
    CaptureFormat format() const override { return CaptureFormat::pcapng; } // the one that can hold it
    std::span<const LinkType> interfaceLinkTypes() const override { return linkTypes_; }
    SourceInterface interfaceOf(const CaptureFrame& frame) const override { return sourceOf(frame).interfaceOf(frame); }
    std::int64_t nanoseconds(const CaptureFrame& frame) const override { return sourceOf(frame).nanoseconds(frame); }
    /// Frames come from the capture itself.
    CaptureResult<std::size_t> nextBatch(std::span<CaptureFrame>) override { return 0; }

private:
    const CaptureReading& sourceOf(const CaptureFrame& frame) const
    {
        return *parts_[static_cast<std::size_t>(frame.interfaceID)].capture->reading();
    }

    const std::vector<Part>& parts_;
    std::vector<LinkType> linkTypes_;
};

CaptureResult<std::unique_ptr<JoinedCapture>> JoinedCapture::start(const std::vector<LiveCapture::Options>& interfaces)
{
    std::vector<Part> parts;
    PcapNgNotes notes;
    for (const auto& options : interfaces) {
        notes.interfaces.emplace_back().options = optionsOf(options);
        NR_TRY(auto capture, LiveCapture::start(options));
        parts.push_back({std::move(capture), {}});
    }
    return std::unique_ptr<JoinedCapture>(new JoinedCapture(std::move(parts), std::move(notes)));
}

JoinedCapture::JoinedCapture(std::vector<Part> parts, PcapNgNotes notes)
    : parts_(std::move(parts)), notes_(std::move(notes))
{ }

JoinedCapture::~JoinedCapture() = default;

const CaptureReading* JoinedCapture::reading() const
{
    return reading_.get();
}

std::vector<CaptureCounts> JoinedCapture::countsOfInterfaces() const
{
    std::vector<CaptureCounts> each;
    for (const auto& part : parts_)
        each.push_back(part.capture->counts());
    return each;
}

CaptureCounts JoinedCapture::counts() const
{
    CaptureCounts all;
    for (const auto& counts : countsOfInterfaces()) {
        all.received += counts.received;
        all.dropped += counts.dropped;
        all.interfaceDropped += counts.interfaceDropped;
    }
    return all;
}

void JoinedCapture::stop()
{
    for (const auto& part : parts_)
        part.capture->stop();
}

CaptureResult<std::size_t> JoinedCapture::nextBatch(std::span<CaptureFrame> frames, milliseconds patience)
{
    if (hasEnded_ || frames.empty())
        return 0;
    const auto deadline = Clock::now() + patience;
    while (true) {
        refill();
        if (const auto count = merge(frames); count > 0)
            return count;
        if (std::ranges::all_of(parts_, [](const Part& part) { return part.capture->hasEnded(); })) {
            hasEnded_ = true;
            return error_ ? CaptureResult<std::size_t>(std::unexpected(*error_)) : 0;
        }
        const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
        if (left.count() <= 0)
            return 0;
        waitForFrames(std::min(left, attention));
    }
}

/// Asks every capture for frames whose last ones have gone.
void JoinedCapture::refill()
{
    for (auto& part : parts_) {
        if (error_ && !reading_)
            part.at = part.end; // it has not begun: there is nothing to keep
        if (!part.isEmpty() || part.capture->hasEnded())
            continue;
        const auto got = part.capture->nextBatch(part.frames, milliseconds(0));
        part.at = 0;
        part.end = got.value_or(0);
        if (got || error_)
            continue;
        error_ = got.error();
        fault_ = part.capture->fault();
        stop();
    }
    const auto hasBegun = [](const Part& part) { return part.capture->reading() != nullptr; };
    if (reading_ || !std::ranges::all_of(parts_, hasBegun))
        return;
    for (std::size_t i = 0; i < parts_.size(); ++i) {
        const auto interface = parts_[i].capture->reading()->interfaceOf({});
        notes_.interfaces[i].linkNumber = interface.linkNumber;
        notes_.interfaces[i].snaplen = interface.snaplen;
    }
    reading_ = std::make_unique<Reading>(parts_);
}

/// Hands frames on, the earliest first, until the room or a capture's supply ends.
std::size_t JoinedCapture::merge(std::span<CaptureFrame> frames)
{
    std::size_t count = 0;
    while (reading_ && count < frames.size()) {
        Part* earliest = nullptr;
        for (auto& part : parts_)
            if (!part.isEmpty() && (!earliest || part.time() < earliest->time()))
                earliest = &part;
        if (!earliest)
            break;
        frames[count] = earliest->frames[earliest->at++];
        frames[count++].interfaceID = earliest - parts_.data();
        if (earliest->isEmpty())
            break; // more of it may be there, earlier than what the others have
    }
    return count;
}

void JoinedCapture::waitForFrames(milliseconds patience) const
{
    std::vector<pollfd> waiting;
    for (const auto& part : parts_)
        if (part.isEmpty() && !part.capture->hasEnded())
            waiting.push_back({part.capture->descriptor(), POLLIN, 0});
    ::poll(waiting.data(), waiting.size(), static_cast<int>(patience.count()));
}

} // namespace netrondo
