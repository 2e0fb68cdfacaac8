// Waiting for what another process or thread does, with an end.
#pragma once

#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <thread>

namespace netrondo::test {

/// Fails the test when it takes too long.
void waitFor(auto condition)
{
    using namespace std::chrono_literals;
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (!condition()) {
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "it takes too long";
        std::this_thread::sleep_for(5ms);
    }
}

/// 0 also while there is no such file.
inline std::uintmax_t sizeOf(const std::filesystem::path& path)
{
    std::error_code none;
    const auto size = std::filesystem::file_size(path, none);
    return none ? 0 : size;
}

} // namespace netrondo::test
