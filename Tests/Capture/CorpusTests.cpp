// Every capture at hand is read to its end, whatever it is: the samples, and a collection that NETRONDO_CORPUS names.
#include "Support/Readers.h"
#include "Support/SampleFrames.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace netrondo::test {
namespace {

/// Reads the file in both ways; true when it is a capture.
bool isReadTheSameOneByOneAndInBatches(const std::filesystem::path& path)
{
    SCOPED_TRACE(path);
    const auto one = CaptureFile::open(path), many = CaptureFile::open(path);
    EXPECT_EQ(one.has_value(), many.has_value());
    if (!one || !many) {
        EXPECT_EQ(one.error(), many.error());
        EXPECT_NE(one.error().errorDescription(), "");
        return false;
    }
    EXPECT_EQ((*one)->format(), (*many)->format());
    const auto contents = readFrames(**one);
    EXPECT_EQ(contents, readBatches(**many));
    for (const auto& frame : contents.frames)
        EXPECT_EQ(frame.capturedLength, frame.data.size());
    EXPECT_LE((*one)->position().offset, (*one)->position().size);
    return true;
}

/// How many files below `folder` are captures.
std::size_t capturesRead(const std::filesystem::path& folder)
{
    return static_cast<std::size_t>(std::ranges::count_if(filesBelow(folder), isReadTheSameOneByOneAndInBatches));
}
} // namespace

TEST(Corpus, EverySampleIsReadTheSameOneByOneAndInBatches)
{
    EXPECT_GT(capturesRead(NETRONDO_SOURCE_DIR "/Samples"), 0);
}

TEST(Corpus, EveryFileOfTheCollectionIsReadTheSameOneByOneAndInBatches)
{
    const auto folder = collection();
    if (!folder)
        GTEST_SKIP() << noCollection;
    const auto captures = capturesRead(*folder);
    RecordProperty("captures", static_cast<int>(captures));
    EXPECT_GT(captures, 0);
}

} // namespace netrondo::test
