// The frames of the captures that come with the sources, for what must hold of any frame.
#pragma once

#include "Support/Readers.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace netrondo::test {

struct SampleCapture {
    std::string name;
    std::vector<KeptFrame> frames;
};

/// Every file in the folder and the folders in it, sorted by path.
std::vector<std::filesystem::path> filesBelow(const std::filesystem::path& folder);

/// The folder of captures that the environment variable NETRONDO_CORPUS names, for tests that also run over real
/// captures; without it they say `noCollection` and are skipped.
std::optional<std::filesystem::path> collection();
constexpr const char* noCollection = "NETRONDO_CORPUS names no folder of captures";

/// The captures under Samples, and those of the collection where there is one. At most `framesEach` frames of each; a
/// file that ends in an error gives the frames before it.
std::vector<SampleCapture> sampleCaptures(std::size_t framesEach = 400);

/// The frame as a reader would show it.
CaptureFrame viewOf(const KeptFrame& frame);

} // namespace netrondo::test
