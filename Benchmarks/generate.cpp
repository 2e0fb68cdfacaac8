// Writes a large capture for the benchmarks: the same bytes for the same profile and seed, on any machine.
#include "Generator.h"

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <fmt/format.h>
#include <memory>

namespace netrondo {
namespace {

static_assert(std::endian::native == std::endian::little, "the file's words are written as they lie in memory");

template <std::size_t count> bool put(std::FILE* out, const std::uint32_t (&words)[count])
{
    return std::fwrite(words, sizeof *words, count, out) == count;
}

bool write(const Profile& profile, std::uint64_t seed, std::uint64_t frames, std::FILE* out)
{
    constexpr std::uint32_t ethernet = 1;
    put(out, {0xa1b2c3d4, 4u << 16 | 2, 0, 0, 262'144, ethernet});
    return Generator(profile, seed).run(frames, [out](auto frame, std::uint64_t microseconds) {
        const auto length = static_cast<std::uint32_t>(frame.size());
        return put(out,
                   {static_cast<std::uint32_t>(1'700'000'000 + microseconds / 1'000'000),
                    static_cast<std::uint32_t>(microseconds % 1'000'000), length, length})
            && std::fwrite(frame.data(), 1, length, out) == length;
    });
}

int usage(const char* program)
{
    fmt::print(stderr, "Usage: {} PROFILE FILE [SEED [FRAMES]]\nProfiles:\n", program);
    for (const auto& profile : profiles)
        fmt::print(stderr, "  {:6} {} ({} frames)\n", profile.name, profile.what, profile.frames);
    return 2;
}

} // namespace
} // namespace netrondo

int main(int argc, char** argv)
{
    using namespace netrondo;
    if (argc < 3 || argc > 5)
        return usage(argv[0]);
    const auto* const profile = profileNamed(argv[1]);
    if (!profile)
        return usage(argv[0]);
    const auto seed = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 1;
    const auto frames = argc > 4 ? std::strtoull(argv[4], nullptr, 10) : profile->frames;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> out(std::fopen(argv[2], "wb"), std::fclose);
    if (!out || !write(*profile, seed, frames, out.get()) || std::fflush(out.get()) != 0) {
        std::perror(argv[2]);
        return 1;
    }
    return 0;
}
