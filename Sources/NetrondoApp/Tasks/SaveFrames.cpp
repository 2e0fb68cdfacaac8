#include "Tasks/SaveFrames.h"

#include "Capture/CaptureFile.h"
#include "Capture/CopyCapture.h"
#include "Models/Text.h"

namespace netrondo {

Saved saveFrames(const SaveWish& wish)
{
    const auto failed = [](const QString& file, const CaptureError& error) {
        return Saved{0, QStringLiteral("%1: %2").arg(file, asQt(error.errorDescription()))};
    };
    const auto reader = CaptureFile::open(wish.source.toStdString());
    if (!reader)
        return failed(wish.source, reader.error());
    const auto first = frameChoice(wish.span, wish.filter, (*reader)->isNanosecond());
    const auto second = frameChoice({}, wish.focus, (*reader)->isNanosecond());
    CopyChoice choice;
    if (first || second)
        choice = [&](const CaptureFrame& frame) { // each is asked about every frame, as they remember what came before
            const bool isFirst = !first || first(frame), isSecond = !second || second(frame);
            return isFirst && isSecond;
        };
    const auto note = [&](std::uint64_t frame) {
        return frame <= std::numeric_limits<std::uint32_t>::max()
            ? wish.notes.value(static_cast<std::uint32_t>(frame)).toStdString()
            : std::string();
    };
    const auto copied = copyCapture(**reader, wish.target.toStdString(), choice, {},
                                    wish.notes.isEmpty() ? CopyRemarks() : CopyRemarks(note));
    if (!copied)
        return failed(copied.error().side == CopyFailure::Side::source ? wish.source : wish.target,
                      copied.error().error);
    return {copied->value_or(0), {}};
}

} // namespace netrondo
