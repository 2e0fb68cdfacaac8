// The lines of a capture program over arbitrary bytes in arbitrary pieces: how they are cut makes no difference, and no
// line is longer than one may be.
#pragma once

#include "Base/Bytes.h"
#include "Base/Result.h"
#include "Capture/CaptureReports.h"

namespace netrondo::fuzz {

/// The first byte says how large the pieces are.
inline void reports(Bytes input)
{
    if (input.empty())
        return;
    const std::size_t size = input[0] + 1U;
    const std::string_view text(reinterpret_cast<const char*>(input.data()) + 1, input.size() - 1);
    CaptureReports whole, pieces;
    whole.take(text);
    for (std::size_t at = 0; at < text.size(); at += size)
        pieces.take(text.substr(at, size));
    NR_ASSERT(whole.isListening() == pieces.isListening());
    NR_ASSERT(whole.counts() == pieces.counts());
    NR_ASSERT(whole.fault() == pieces.fault());
    NR_ASSERT(whole.detail() == pieces.detail());
    NR_ASSERT(whole.detail().size() <= CaptureReports::longestLine);
    NR_ASSERT(whole.fault() != CaptureFault::program); // that is for others to say
}

} // namespace netrondo::fuzz
