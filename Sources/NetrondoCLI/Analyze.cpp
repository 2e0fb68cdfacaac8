// `netrondo analyze`: the whole file, as a readable summary or as one JSON text.
#include "Base/Json.h"
#include "Capture/CaptureFile.h"
#include "Capture/Drivers/AnalyzeFile.h"
#include "FilterOption.h"
#include "Options.h"
#include "Outcome.h"
#include "Progress.h"
#include "Subcommands.h"
#include "Summary.h"
#include "Terminal.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <unistd.h>

namespace netrondo::cli {
namespace {

struct Settings {
    std::string file;
    AnalysisMode mode = AnalysisMode::l3IP;
    QualityStrictness strictness = QualityStrictness::balanced;
    bool json = false;
    std::string filter;
};

/// Every link type once, in the order of the interfaces.
std::string linkTypesInWords(std::span<const LinkType> types)
{
    std::string text;
    for (auto type = types.begin(); type != types.end(); ++type) {
        if (std::find(types.begin(), type, *type) == type)
            text += (text.empty() ? "" : ", ") + displayName(*type);
    }
    return text.empty() ? "no interface" : text;
}

CaptureFacts factsOf(const std::string& file, const CaptureReading& reader)
{
    std::error_code isNoFile;
    const auto size = std::filesystem::is_regular_file(file, isNoFile) ? std::filesystem::file_size(file, isNoFile) : 0;
    return {.file = file == "-" ? "standard input" : file,
            .fileSize = size > 0 && !isNoFile ? std::optional(size) : std::nullopt,
            .format = std::string(rawValue(reader.format())),
            .linkTypes = linkTypesInWords(reader.interfaceLinkTypes())};
}

int analyze(const Settings& settings)
{
    const auto filter = DisplayFilter::compileOptional(settings.filter);
    if (!filter)
        return fail(filter.error());
    auto reader = openCapture(settings.file);
    if (!reader)
        return fail(settings.file, reader.error());
    const auto choice = choiceOf(*filter, (*reader)->isNanosecond());
    auto result = [&] {
        Progress progress;
        const auto report = [&](std::uint64_t count) { progress.show(count, (*reader)->position()); };
        return CaptureFile::analyze(**reader, settings.mode, ExpertPreferences{}, report, choice);
    }();
    if (!result)
        return fail(settings.file, result.error());

    TextOutput out(STDOUT_FILENO);
    if (settings.json) {
        JsonWriter json(out);
        write(json, *result);
        json.endLine();
    } else {
        Page page(out, screenWidth(STDOUT_FILENO), wantsColour(STDOUT_FILENO));
        printSummary(page, factsOf(settings.file, **reader), *result, settings.strictness);
    }
    return finish(out);
}

} // namespace

Action subcommand::analyze(CLI::App& app)
{
    app.footer("The score of a TCP conversation runs from 100 down to 0; --strictness moves the bands of the grades, "
               "not the score.\nThe text is for people and may change; scripts read --json.");
    auto settings = std::make_shared<Settings>();
    addFile(app, settings->file);
    addMode(app, settings->mode);
    addStrictness(app, settings->strictness);
    addFilter(app, settings->filter);
    addJson(app, settings->json, "One JSON text with the whole result instead of the summary");
    return [settings] { return cli::analyze(*settings); };
}

} // namespace netrondo::cli
