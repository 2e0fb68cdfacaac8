// Reads the frames once.
#include "Support/ProtocolFrames.h"

#include "Support/Hex.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace netrondo::test {
namespace {

void readFile(const std::filesystem::path& path, std::vector<ProtocolFrame>& frames)
{
    std::ifstream in(path);
    std::string line;
    for (std::size_t number = 1; std::getline(in, line); ++number) {
        if (line.empty() || line.front() == '#')
            continue;
        std::istringstream words(line);
        unsigned link = 0;
        std::string bytes;
        words >> link >> bytes;
        frames.push_back({path.stem().string(), number, linkType(static_cast<std::uint16_t>(link)), hex(bytes)});
    }
}

std::vector<ProtocolFrame> readAll()
{
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(NETRONDO_SOURCE_DIR "/Tests/Golden/Dissection")) {
        if (entry.path().extension() == ".frames")
            paths.push_back(entry.path());
    }
    std::ranges::sort(paths);
    std::vector<ProtocolFrame> frames;
    for (const auto& path : paths)
        readFile(path, frames);
    return frames;
}

} // namespace

const std::vector<ProtocolFrame>& protocolFrames()
{
    static const auto frames = readAll();
    return frames;
}

} // namespace netrondo::test
