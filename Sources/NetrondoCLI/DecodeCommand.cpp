// `netrondo decode`: the packet list of a capture as text, or its decode trees as JSON Lines.
#include "Analysis/Expert/TcpHistory.h"
#include "Base/Json.h"
#include "Dissection/Decode/PacketList.h"
#include "Dissection/Decode/Render.h"
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

void writeJson(const DecodedFrame& frame, JsonWriter& json, TextOutput& out, TextSink& text)
{
    const auto& summary = frame.summary;
    const auto written = [&](auto write) {
        text.clear();
        write();
        return text.text();
    };
    json.beginObject();
    json.field("number", summary.number);
    json.field("time", static_cast<double>(summary.nanoseconds) / 1e9);
    json.field("source", written([&] { text.put(summary.source); }));
    json.field("destination", written([&] { text.put(summary.destination); }));
    json.field("protocol", Render::protocol(summary));
    json.field("length", summary.length);
    json.field("info", written([&] { Render::info(frame, text); }));
    // The tree is most of the line, and comes as text.
    text.clear();
    text.put(",\"tree\":");
    Render::json(frame, text);
    text.put('}');
    out.put(text.text());
    json.endLine();
}

/// Writes decoded frames in the form that was asked for; what it needs is used again from frame to frame.
class Writer {
public:
    Writer(TextOutput& out, bool json) : out_(out), json_(json), writer_(out) { }

    void write(const DecodedFrame& frame)
    {
        if (json_)
            return writeJson(frame, writer_, out_, text_);
        text_.clear();
        list_.write(frame, text_);
        out_.put(text_.text());
    }

private:
    TextOutput& out_;
    bool json_;
    JsonWriter writer_;
    TextSink text_;
    PacketList list_;
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
    Writer writer(out, wishes.json);
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
