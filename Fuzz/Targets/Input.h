// The input of a fuzz target as the things a program is handed: a file without a name, a pipe.
#pragma once

#include "Base/Bytes.h"
#include "Base/Result.h"
#include "Capture/FileHandle.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace netrondo::fuzz {

/// A regular file in memory with these bytes; the caller owns the descriptor.
inline int memoryFile(Bytes bytes)
{
    const int descriptor = ::memfd_create("fuzz", MFD_CLOEXEC);
    NR_ASSERT(descriptor >= 0);
    NR_ASSERT(::write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    NR_ASSERT(::lseek(descriptor, 0, SEEK_SET) == 0);
    return descriptor;
}

inline FileHandle asFile(Bytes bytes)
{
    return FileHandle(memoryFile(bytes));
}

/// The most bytes a pipe takes without a reader.
constexpr std::size_t pipeCapacity = 65'536;

/// A pipe that delivers these bytes, at most `pipeCapacity` of them, and ends.
inline FileHandle asPipe(Bytes bytes)
{
    int ends[2];
    NR_ASSERT(::pipe2(ends, O_CLOEXEC) == 0);
    NR_ASSERT(::write(ends[1], bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    ::close(ends[1]);
    return FileHandle(ends[0]);
}

} // namespace netrondo::fuzz
