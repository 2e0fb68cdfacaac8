// Requests and replies of X11, one by one.
#include "Dissection/Protocols/X11Waiting.h"

#include <algorithm>

namespace netrondo::x11 {
namespace {
constexpr std::uint8_t firstExtension = 128;

bool hasReply(std::uint8_t opcode)
{
    constexpr std::uint8_t codes[] = {3,  14, 15, 16,  17,  20,  21,  23,  26,  31,  38,  39, 40, 43,
                                      44, 47, 48, 49,  50,  52,  73,  83,  84,  85,  86,  87, 91, 92,
                                      97, 98, 99, 101, 103, 106, 108, 110, 116, 117, 118, 119};
    return std::ranges::find(codes, opcode) != std::end(codes);
}
} // namespace

void WaitingRequests::add(std::uint8_t opcode)
{
    ++number_;
    const bool isExtension = opcode >= firstExtension; // which of its requests have replies, only the extension knows
    if (!isExtension && !hasReply(opcode))
        return;
    if (count_ == most) {
        isCounted_ = false;
        return;
    }
    at(count_++) = {number_, opcode, isExtension};
}

void WaitingRequests::passTo(std::uint16_t number)
{
    while (count_ && at(0).number != number) {
        isCounted_ = isCounted_ && at(0).mayHaveNone;
        first_ = (first_ + 1) % most;
        --count_;
    }
    isCounted_ = isCounted_ && count_;
}

std::uint8_t WaitingRequests::answered(std::uint16_t number)
{
    if (!isCounted_)
        return 0;
    passTo(number);
    if (!isCounted_)
        return 0;
    at(0).mayHaveNone = true; // it has had its own; a few have more
    return at(0).opcode;
}

void WaitingRequests::failed(std::uint16_t number)
{
    for (std::size_t i = 0; i < count_; ++i) {
        if (at(i).number == number)
            at(i).mayHaveNone = true;
    }
}

} // namespace netrondo::x11
