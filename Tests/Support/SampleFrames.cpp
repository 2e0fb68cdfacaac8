#include "Support/SampleFrames.h"

#include <algorithm>
#include <cstdlib>

namespace netrondo::test {
std::vector<std::filesystem::path> filesBelow(const std::filesystem::path& folder)
{
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
        if (entry.is_regular_file())
            files.push_back(entry.path());
    std::ranges::sort(files);
    return files;
}

std::optional<std::filesystem::path> collection()
{
    if (const char* folder = std::getenv("NETRONDO_CORPUS"))
        return folder;
    return std::nullopt;
}

std::vector<SampleCapture> sampleCaptures(std::size_t framesEach)
{
    auto files = filesBelow(NETRONDO_SOURCE_DIR "/Samples");
    if (const auto corpus = collection()) {
        const auto more = filesBelow(*corpus);
        files.insert(files.end(), more.begin(), more.end());
    }
    std::vector<SampleCapture> captures;
    for (const auto& file : files) {
        const auto reader = CaptureFile::open(file);
        if (!reader) // a readme, or a capture that is there to be refused
            continue;
        SampleCapture capture{file.filename().string(), {}};
        while (capture.frames.size() < framesEach) {
            const auto frame = (*reader)->nextFrame();
            if (!frame || !*frame)
                break;
            capture.frames.emplace_back(**frame);
        }
        if (!capture.frames.empty())
            captures.push_back(std::move(capture));
    }
    return captures;
}

CaptureFrame viewOf(const KeptFrame& kept)
{
    CaptureFrame frame;
    frame.interfaceID = kept.interfaceID;
    frame.timestampSeconds = kept.seconds;
    frame.timestampFraction = kept.fraction;
    frame.capturedLength = kept.capturedLength;
    frame.originalLength = kept.originalLength;
    frame.linkType = kept.linkType;
    frame.data = kept.data;
    return frame;
}

} // namespace netrondo::test
