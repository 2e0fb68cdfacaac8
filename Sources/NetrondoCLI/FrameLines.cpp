// Reads frames and writes lines until either side has had enough.
#include "FrameLines.h"

#include "Outcome.h"
#include "Progress.h"
#include "Subcommands.h"

#include <unistd.h>

namespace netrondo::cli {

int printFrameLines(const std::string& file, const std::function<void(JsonWriter&, const CaptureFrame&)>& writeLine)
{
    const auto reader = openCapture(file);
    if (!reader)
        return fail(file, reader.error());
    TextOutput out(STDOUT_FILENO);
    JsonWriter json(out);
    while (out.error() == 0) {
        const auto frame = (*reader)->nextFrame();
        if (!frame) {
            out.flush();
            return fail(file, frame.error());
        }
        if (!*frame)
            break;
        writeLine(json, **frame);
        json.endLine();
    }
    return finish(out);
}

} // namespace netrondo::cli
