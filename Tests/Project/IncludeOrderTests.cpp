// Includes point one way: from the rooms above to the rooms below.
#include "Support/IncludeOrder.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace netrondo::test {
namespace {

struct ArrowCase {
    std::string_view name, file, target;
    bool allowed;
};

class Arrow : public testing::TestWithParam<ArrowCase> { };

TEST_P(Arrow, IsJudgedByTheHeightOfItsRooms)
{
    const auto& row = GetParam();
    const auto verdict = objection({std::string(row.file), 1, std::string(row.target)});
    EXPECT_EQ(!verdict, row.allowed) << verdict.value_or("no objection");
}

INSTANTIATE_TEST_SUITE_P(
    Rooms, Arrow,
    testing::Values(
        ArrowCase{"Down", "Analysis/PairAggregator.h", "Capture/CaptureFrame.h", true},
        ArrowCase{"WithinARoom", "Base/Address.h", "Base/Bytes.h", true},
        ArrowCase{"Up", "Base/Address.h", "Capture/CaptureFrame.h", false},
        ArrowCase{"CaptureToAnalysis", "Capture/PcapReader.cpp", "Analysis/PairAggregator.h", false},
        ArrowCase{"TheDriversLookUp", "Capture/Drivers/AnalyzeFile.h", "Analysis/PairAggregator.h", true},
        ArrowCase{"NobodyBelowIncludesADriver", "Analysis/PairAggregator.h", "Capture/Drivers/AnalyzeFile.h", false},
        ArrowCase{"NoReaderIncludesADriver", "Capture/CaptureFile.cpp", "Capture/Drivers/AnalyzeFile.h", false},
        ArrowCase{"ClassifyToDecode", "Dissection/Classify/FrameFacts.h", "Dissection/Decode/Layer.h", false},
        ArrowCase{"DecodeToClassify", "Dissection/Decode/Layer.h", "Dissection/Classify/FrameFacts.h", false},
        ArrowCase{"BothMeetInWire", "Dissection/Decode/Layer.h", "Dissection/Wire/TcpHeader.h", true},
        ArrowCase{"FilterReadsDecode", "Dissection/Filter/Parser.h", "Dissection/Decode/Layer.h", true},
        ArrowCase{"DecodeToFilter", "Dissection/Decode/Layer.h", "Dissection/Filter/Parser.h", false},
        ArrowCase{"CommandToCore", "NetrondoCLI/main.cpp", "Capture/Drivers/AnalyzeFile.h", true},
        ArrowCase{"CommandToApplication", "NetrondoCLI/main.cpp", "NetrondoApp/Shell/Window.h", false},
        ArrowCase{"QtInTheCore", "Circle/CircleLayout.cpp", "QPointF", false},
        ArrowCase{"QtInTheCommand", "NetrondoCLI/main.cpp", "QtCore/QString", false},
        ArrowCase{"QtInTheApplication", "NetrondoApp/Shell/Window.cpp", "QMainWindow", true},
        ArrowCase{"ZlibInItsFile", "Capture/GzipCodec.cpp", "zlib.h", true},
        ArrowCase{"ZlibElsewhere", "Capture/CaptureFile.cpp", "zlib.h", false},
        ArrowCase{"PcapElsewhere", "Capture/LiveCapture.cpp", "pcap/pcap.h", false},
        ArrowCase{"StandardLibrary", "Base/Address.h", "vector", true}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(IncludeOrder, IncludeLinesAreFoundHoweverTheyAreWritten)
{
    const auto found = includesOf("a.h", "// text\n#include \"Base/Bytes.h\"\n  #  include <vector>\nint include;\n");
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].target, "Base/Bytes.h");
    EXPECT_EQ(found[0].line, 2);
    EXPECT_EQ(found[1].target, "vector");
}

TEST(IncludeOrder, NoArrowOfTheTreePointsBack)
{
    const auto root = std::filesystem::path(NETRONDO_SOURCE_DIR) / "Sources";
    std::size_t read = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        const auto extension = entry.path().extension();
        if (!entry.is_regular_file() || (extension != ".cpp" && extension != ".h" && extension != ".c"))
            continue;
        std::ostringstream text;
        text << std::ifstream(entry.path()).rdbuf();
        // The rooms of the core are named without the core's own directory, as the includes name them.
        auto file = entry.path().lexically_relative(root).generic_string();
        if (file.starts_with("NetrondoCore/"))
            file.erase(0, std::string_view("NetrondoCore/").size());
        for (const auto& include : includesOf(file, text.str())) {
            const auto verdict = objection(include);
            ASSERT_FALSE(verdict) << *verdict;
            ++read;
        }
    }
    EXPECT_GT(read, 50u) << "the tree has more include lines than that";
}

} // namespace
} // namespace netrondo::test
