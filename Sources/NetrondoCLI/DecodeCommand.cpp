// `netrondo decode`: the packet list of a capture as text, or its decode trees as JSON Lines.
#include "Analysis/Expert/TcpHistory.h"
#include "Dissection/Decode/FrameWriter.h"
#include "Dissection/Filter/FrameSelector.h"
#include "FilterOption.h"
#include "Options.h"
#include "Outcome.h"
#include "Progress.h"
#include "Subcommands.h"

#include <array>
#include <limits>
#include <memory>
#include <unistd.h>

namespace netrondo::cli {
namespace {

struct Wishes {
    std::string file;
    std::uint64_t from = 1;
    std::uint64_t count = std::numeric_limits<std::uint64_t>::max();
    bool json = false;
    std::string filter;
};

int run(const Wishes& wishes)
{
    const auto filter = DisplayFilter::compileOptional(wishes.filter);
    if (!filter)
        return fail(filter.error());
    const auto reader = openCapture(wishes.file);
    if (!reader)
        return fail(wishes.file, reader.error());
    TextOutput out(STDOUT_FILENO);
    FrameWriter writer(out, wishes.json ? FrameWriter::Form::json : FrameWriter::Form::list);
    // Trees show what earlier frames tell of a frame; the list does not, and costs less without.
    const bool needsHistory = wishes.json || (*filter && (*filter)->readsFindings());
    FrameSelector selector(*filter, (*reader)->isNanosecond(), needsHistory ? followHistory() : FrameHistory{},
                           wishes.json ? DecodeDepth::tree : DecodeDepth::row);
    DecodedFrame decoded;
    std::uint64_t number = 0, written = 0;
    std::array<CaptureFrame, 64> frames;
    while (out.error() == 0 && written < wishes.count) {
        const auto count = (*reader)->nextBatch(frames);
        if (!count) {
            out.flush(); // the frames before the damage have been read
            return fail(wishes.file, count.error());
        }
        if (*count == 0)
            break;
        for (std::size_t i = 0; i < *count && written < wishes.count; ++i) {
            // The frames before the first one to show are followed: it may go on with what they began.
            const bool isSelected = selector.next(frames[i], decoded);
            if (++number >= wishes.from && isSelected) {
                writer.write(decoded);
                ++written;
            }
        }
    }
    return finish(out);
}

} // namespace

Action subcommand::decode(CLI::App& app)
{
    app.footer("\nThe columns are number, time since the first frame, source, destination, protocol, length and info.\n"
               "With --json, a line is {\"number\":…,\"time\":…,\"source\":…,\"destination\":…,\"protocol\":…,\n"
               "\"length\":…,\"info\":…,\"tree\":[…]}.");
    auto wishes = std::make_shared<Wishes>();
    addFile(app, wishes->file);
    app.add_option("--from", wishes->from, "The number of the first frame to show")
        ->type_name("N")
        ->check(CLI::PositiveNumber);
    app.add_option("--count", wishes->count, "How many frames to show at most")->type_name("N");
    addFilter(app, wishes->filter);
    addJson(app, wishes->json, "One line of JSON for each frame, with its protocol tree");
    return [wishes] { return run(*wishes); };
}

} // namespace netrondo::cli
