// Packets and bytes over time.
#include "Analysis/Model/VolumeOverTime.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

namespace netrondo::test {
namespace {

VolumeOverTime::Bin total(const VolumeOverTime& volume)
{
    VolumeOverTime::Bin sum;
    for (const auto& bin : volume.bins()) {
        sum.packets += bin.packets;
        sum.bytes += bin.bytes;
    }
    return sum;
}

TEST(VolumeOverTime, NothingIsLostAndTheBinsStayFewWhateverTheTimes)
{
    std::mt19937_64 random(5);
    for (const double spread : {0.0, 1e-6, 1e-3, 1.0, 1e5, 1e12}) {
        VolumeOverTime volume;
        std::uniform_real_distribution<double> when(1.7e9 - spread, 1.7e9 + spread);
        for (int i = 0; i < 1000; ++i)
            volume.add(when(random), 60);
        EXPECT_EQ(total(volume), (VolumeOverTime::Bin{1000, 60000})) << spread;
        EXPECT_LE(volume.bins().size(), VolumeOverTime::mostBins) << spread;
        EXPECT_LE(volume.start(), volume.first());
        EXPECT_GT(volume.start() + static_cast<double>(volume.bins().size()) * volume.width(), volume.last());
    }
}

TEST(VolumeOverTime, DamagedTimesAreTakenInWithTheOthers)
{
    VolumeOverTime volume;
    for (const double seconds : {0.0, 1e300, -1e300, std::numeric_limits<double>::infinity(), std::nan(""), 1.8e19})
        volume.add(seconds, 1);
    EXPECT_EQ(total(volume), (VolumeOverTime::Bin{6, 6}));
}

TEST(VolumeOverTime, EachFrameStandsInTheBinOfItsTime)
{
    VolumeOverTime volume;
    for (int second = 0; second < 100; ++second)
        volume.add(1000 + second + 0.5, static_cast<std::uint64_t>(second));
    for (int second = 0; second < 100; ++second)
        EXPECT_EQ(volume.between(1000 + second, 1001 + second).bytes, static_cast<std::uint64_t>(second));
    EXPECT_EQ(volume.between(0, 2000), total(volume));
    EXPECT_EQ(volume.between(0, 1000), VolumeOverTime::Bin());
    EXPECT_EQ(volume.first(), 1000.5);
    EXPECT_EQ(volume.last(), 1099.5);
}

TEST(VolumeOverTime, OrderDoesNotMatter)
{
    VolumeOverTime up, down;
    for (int i = 0; i < 500; ++i) {
        up.add(i * 7.25, 10);
        down.add((499 - i) * 7.25, 10);
    }
    EXPECT_EQ(up.between(100, 900), down.between(100, 900));
    EXPECT_EQ(total(up), total(down));
}

} // namespace
} // namespace netrondo::test
