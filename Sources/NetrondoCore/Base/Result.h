// Results that are either a value or an error, and the two macros that keep the code around them short.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <expected>
#include <utility>

namespace netrondo {

template <typename T, typename E> using Result = std::expected<T, E>;

/// Ends the program with a message: for broken promises of our own, never for odd input.
[[noreturn]] inline void fatal(const char* what, const char* file, int line)
{
    std::fprintf(stderr, "netrondo: internal error: %s (%s:%d)\n", what, file, line);
    std::abort();
}

} // namespace netrondo

#define NR_CONCATENATE_(a, b) a##b
#define NR_CONCATENATE(a, b) NR_CONCATENATE_(a, b)
#define NR_TRY_(result, declaration, ...)                                                                              \
    auto result = (__VA_ARGS__);                                                                                       \
    if (!result)                                                                                                       \
        return std::unexpected(std::move(result).error());                                                             \
    declaration = *std::move(result)

/// `NR_TRY(auto reader, CaptureFile::open(path));` declares the value, or returns the error from this function.
#define NR_TRY(declaration, ...) NR_TRY_(NR_CONCATENATE(nrResult, __LINE__), declaration, __VA_ARGS__)

/// A promise this program makes to itself.
#define NR_ASSERT(condition)                                                                                           \
    ((condition) ? static_cast<void>(0) : ::netrondo::fatal("broken promise: " #condition, __FILE__, __LINE__))
