// A selector with the history that its filter needs.
#include "Capture/Drivers/FilterChoice.h"

#include "Analysis/Expert/TcpHistory.h"
#include "Dissection/Filter/FrameSelector.h"

#include <memory>

namespace netrondo::CaptureFile {

FrameChoice choiceOf(const std::optional<DisplayFilter>& filter, bool isNanosecond, FrameChoice among)
{
    if (!filter)
        return among;
    return [among = std::move(among),
            selector = std::make_shared<FrameSelector>(*filter, isNanosecond, historyFor(*filter))](
               const CaptureFrame& frame) {
        if (!among || among(frame))
            return selector->next(frame);
        selector->skip(frame); // it numbers frames: it hears of all
        return false;
    };
}

} // namespace netrondo::CaptureFile
