// Every seed of a fuzz target, and every input that ever broke one, through the target's own function.
#include "Targets/Analysis.h"
#include "Targets/Decode.h"
#include "Targets/Expert.h"
#include "Targets/ExpertPreferences.h"
#include "Targets/Families.h"
#include "Targets/Filter.h"
#include "Targets/Gzip.h"
#include "Targets/HostNames.h"
#include "Targets/Readers.h"
#include "Targets/Reports.h"
#include "Targets/Stream.h"
#include "Targets/TcpOptions.h"
#include "Targets/Writers.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace netrondo::test {

struct FuzzTarget {
    std::string_view name; ///< of its folders in Fuzz/Seeds and Fuzz/Regressions
    void (*run)(Bytes);
};

constexpr FuzzTarget targets[] = {
    {"Aggregate", fuzz::aggregate},
    {"Expert", fuzz::expert},
    {"Classify", fuzz::classify},
    {"Decode", fuzz::decode},
    {"DecodeFiles", fuzz::decodeFiles},
    {"DecodeIndustry", fuzz::decodeIndustry},
    {"DecodeLegacy", fuzz::decodeLegacy},
    {"DecodeLink", fuzz::decodeLink},
    {"DecodeNames", fuzz::decodeNames},
    {"DecodeNetwork", fuzz::decodeNetwork},
    {"DecodeRouting", fuzz::decodeRouting},
    {"DecodeTalk", fuzz::decodeTalk},
    {"DecodeWeb", fuzz::decodeWeb},
    {"ExpertPreferences", fuzz::expertPreferences},
    {"Filter", fuzz::filter},
    {"FilterEvaluate", fuzz::filterEvaluate},
    {"Gzip", fuzz::gzip},
    {"HostNames", fuzz::hostNames},
    {"Pcap", fuzz::pcap},
    {"Pcapng", fuzz::pcapng},
    {"Reports", fuzz::reports},
    {"Sniffer", fuzz::sniffer},
    {"Stream", fuzz::stream},
    {"TcpOptions", fuzz::tcpOptions},
    {"Writers", fuzz::writers},
};

class FuzzReplay : public testing::TestWithParam<FuzzTarget> {
protected:
    /// Runs the target on each file of the folder, if there is one; gives the number of files.
    static std::size_t replay(const std::filesystem::path& folder)
    {
        std::size_t count = 0;
        if (!std::filesystem::exists(folder))
            return count;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            std::ifstream in(entry.path(), std::ios::binary);
            const std::string text((std::istreambuf_iterator<char>(in)), {});
            GetParam().run(asBytes(text)); // a broken promise ends the program
            ++count;
        }
        return count;
    }
};

TEST_P(FuzzReplay, SeedsAndRegressionsPass)
{
    const std::filesystem::path fuzz = NETRONDO_SOURCE_DIR "/Fuzz";
    EXPECT_GT(replay(fuzz / "Seeds" / GetParam().name), 0);
    replay(fuzz / "Regressions" / GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(Targets, FuzzReplay, testing::ValuesIn(targets),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(FuzzTargets, AreAllReplayed)
{
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(NETRONDO_SOURCE_DIR "/Fuzz")) {
        if (entry.path().extension() != ".cpp")
            continue;
        const auto name = entry.path().stem().string().substr(std::string_view("Fuzz").size());
        EXPECT_TRUE(std::ranges::count(targets, name, &FuzzTarget::name)) << name << " has no row in the table above";
        ++count;
    }
    EXPECT_EQ(count, std::size(targets));
}

} // namespace netrondo::test
