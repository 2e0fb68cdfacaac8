// The Internet checksum: the quick answer for IPv4 headers beside the sum itself.
#include "Dissection/Wire/InternetChecksum.h"

#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace netrondo::test {

TEST(InternetChecksum, AHeaderIsRightWhenItsWordsAddUpToAllOnes)
{
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        std::vector<std::uint8_t> header(20 + random() % 11 * 4);
        for (auto& byte : header)
            byte = static_cast<std::uint8_t>(random());
        header[0] = static_cast<std::uint8_t>(0x40 + header.size() / 4);
        header[10] = header[11] = 0;
        const auto sum = InternetChecksum::fold(InternetChecksum::sum(header));
        header[10] = static_cast<std::uint8_t>(~sum >> 8);
        header[11] = static_cast<std::uint8_t>(~sum);
        ASSERT_TRUE(InternetChecksum::isRightHeader(header.data(), header.size()));
        header[random() % header.size()] ^= static_cast<std::uint8_t>(1u << random() % 8);
        ASSERT_EQ(InternetChecksum::isRightHeader(header.data(), header.size()),
                  InternetChecksum::fold(InternetChecksum::sum(header)) == 0xffff);
    }
}

} // namespace netrondo::test
