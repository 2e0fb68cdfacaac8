// A compiled filter asked from several threads at once.
#include "Dissection/Filter/DisplayFilter.h"
#include "Support/Dissect.h"
#include "Support/Hex.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace netrondo::test {
namespace {
/// A segment of a bare header from port 51000 to port 80.
auto segmentFrom(std::string_view source)
{
    return hex("020000000002 020000000001 0800 45000028 00010000 4006 0000", source,
               "0a000002 c738 0050 00000001 00000001 5010 03e8 0000 0000");
}
} // namespace

TEST(DisplayFilterMatches, ManyThreadsMayAskOneFilter)
{
    const auto filter = DisplayFilter::compile("tcp.port == 80 and ip.src == 10.0.0.1 and host contains '10.'").value();
    const auto yes = decoded(segmentFrom("0a000001")), no = decoded(segmentFrom("0a000009"));
    std::vector<std::jthread> threads;
    std::atomic<int> wrong = 0;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 500; ++round)
                wrong += !filter.matches(yes.frame) + filter.matches(no.frame);
        });
    threads.clear();
    EXPECT_EQ(wrong, 0);
}

} // namespace netrondo::test
