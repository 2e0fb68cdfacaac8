// `netrondo classify`: what each frame says about a conversation.
#include "Dissection/Classify/ClassifiedEndpoint.h"
#include "FrameLines.h"
#include "Options.h"
#include "Subcommands.h"

#include <memory>

namespace netrondo::cli {
namespace {
struct Settings {
    std::string file;
    AnalysisMode mode = AnalysisMode::l3IP;
};
} // namespace

Action subcommand::classify(CLI::App& app)
{
    app.footer(
        "\nA line is the frame's two hosts, its transport facts and its protocol name, or null for a frame that\n"
        "the analysis cannot place. What a frame does not have is left out.");
    auto settings = std::make_shared<Settings>();
    addFile(app, settings->file);
    addMode(app, settings->mode);
    return [settings] {
        return printFrameLines(settings->file, [&](JsonWriter& json, const CaptureFrame& frame) {
            if (const auto endpoint = classifyInWords(frame, settings->mode))
                write(json, *endpoint);
            else
                json.null();
        });
    };
}

} // namespace netrondo::cli
