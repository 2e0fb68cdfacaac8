// The packet list of every capture that comes with the sources, and of the collection where it is at hand, as it was
// when somebody last looked at it.
#include "Support/Command.h"
#include "Support/Golden.h"
#include "Support/SampleFrames.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>

namespace netrondo::test {
namespace {

constexpr std::size_t rowsInFull = 50;
constexpr std::size_t rowsInOne = 200; ///< of those that follow, told by one sum: a list of many frames is long

std::uint64_t sumOf(std::string_view text)
{
    std::uint64_t sum = 0xcbf29ce484222325; // FNV-1a
    for (const char character : text)
        sum = (sum ^ static_cast<std::uint8_t>(character)) * 0x100000001b3;
    return sum;
}

/// The first rows in full, then a sum for each couple of hundred, and how the command ended.
std::string listOf(const Ended& run)
{
    std::string list;
    std::string_view rest = run.output;
    std::size_t row = 0;
    const auto next = [&] {
        const auto line = rest.substr(0, std::min(rest.find('\n'), rest.size() - 1) + 1);
        rest.remove_prefix(line.size());
        ++row;
        return line;
    };
    while (!rest.empty() && row < rowsInFull)
        list += next();
    while (!rest.empty()) {
        const auto first = row + 1;
        std::string rows;
        while (!rest.empty() && row < first + rowsInOne - 1)
            rows += next();
        list += fmt::format("rows {} to {}: {:016x}\n", first, row, sumOf(rows));
    }
    return list + fmt::format("{} rows, exit status {}\n", row, run.status);
}

/// "mixed/emix.pcap" -> "mixed_emix.pcap.list"
std::string goldenOf(const std::filesystem::path& file, const std::filesystem::path& folder)
{
    auto name = file.lexically_relative(folder).string();
    std::ranges::replace(name, '/', '_');
    return name + ".list";
}

/// Compares the lists of the captures that can be read; tells how many there were.
int compareLists(const std::filesystem::path& folder, const std::string& room)
{
    int compared = 0;
    std::filesystem::create_directories(NETRONDO_SOURCE_DIR "/Tests/Golden/" + room);
    for (const auto& file : filesBelow(folder)) {
        const auto run = netrondo({"decode", file.string()});
        if (run.output.empty()) // no capture, or one that is there to be refused
            continue;
        ++compared;
        expectGolden(room + "/" + goldenOf(file, folder), listOf(run));
    }
    return compared;
}

int listsIn(const std::string& room)
{
    const std::filesystem::directory_iterator lists(NETRONDO_SOURCE_DIR "/Tests/Golden/" + room);
    return static_cast<int>(std::distance(begin(lists), end(lists)));
}

TEST(ListGolden, OfEverySample)
{
    const int compared = compareLists(NETRONDO_SOURCE_DIR "/Samples", "Lists/Samples");
    EXPECT_EQ(compared, listsIn("Lists/Samples"));
}

TEST(ListGolden, OfEveryFileOfTheCollection)
{
    const auto folder = collection();
    if (!folder)
        GTEST_SKIP() << noCollection;
    if (!std::filesystem::exists(*folder / "MANIFEST.tsv"))
        GTEST_SKIP() << "the lists are those of the collection that has a MANIFEST.tsv";
    const int compared = compareLists(*folder, "Lists/Collection");
    EXPECT_EQ(compared, listsIn("Lists/Collection"));
}

} // namespace
} // namespace netrondo::test
