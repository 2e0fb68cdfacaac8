// `netrondo follow`: a pcap file that another process is still writing, analysed again at every pull.
#include "Base/Json.h"
#include "Capture/Drivers/GrowingPcapAnalyzer.h"
#include "LiveLines.h"
#include "Options.h"
#include "Outcome.h"
#include "Subcommands.h"

#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>
#include <unistd.h>

namespace netrondo::cli {
namespace {

struct Settings {
    std::string file;
    AnalysisMode mode = AnalysisMode::l3IP;
    QualityStrictness strictness = QualityStrictness::balanced;
    bool json = false;
    double interval = 1;
    std::uint64_t pulls = 0; ///< 0 is without end
};

/// What is wrong with following `file`: a pipe holds nothing that a second pull could go back to.
std::string refusal(const std::string& file)
{
    std::error_code isNoFile;
    if (file != "-" && !std::filesystem::is_fifo(file, isNoFile))
        return {};
    return "a pipe cannot be followed: netrondo analyze " + file + " reads it to its end";
}

int follow(const Settings& settings)
{
    GrowingPcapAnalyzer analyzer(settings.mode, ExpertPreferences{});
    TextOutput out(STDOUT_FILENO);
    JsonWriter json(out);
    LiveLines lines(out, settings.strictness);
    for (std::uint64_t pull = 1;; ++pull) {
        const auto result = analyzer.pull(settings.file, settings.mode, ExpertPreferences{});
        const bool isLast = pull == settings.pulls;
        // Who starts a capture and follows it at once meets a file without its header: that is worth the wait.
        if (!result && (isLast || result.error() != CaptureError::fileTooSmall()))
            return fail(settings.file, result.error());
        if (result && settings.json) {
            write(json, *result);
            json.endLine();
        } else if (result) {
            lines.print(*result);
        }
        out.flush();
        if (out.error() != 0 || isLast)
            return finish(out);
        std::this_thread::sleep_for(std::chrono::duration<double>(settings.interval));
    }
}

} // namespace

Action subcommand::follow(CLI::App& app)
{
    app.footer("Without --pulls it goes on until it is interrupted. Only classic pcap files can be followed.");
    auto settings = std::make_shared<Settings>();
    app.add_option("FILE", settings->file, "The pcap file, which may still grow")
        ->required()
        ->check(refusal)
        ->type_name("");
    addMode(app, settings->mode);
    addStrictness(app, settings->strictness);
    addJson(app, settings->json, "The whole result as a line of JSON at every pull");
    app.add_option("--interval", settings->interval, "Seconds from one pull to the next; 1 is the default")
        ->check(CLI::Range(0.0, 86400.0).description(""))
        ->type_name("S");
    app.add_option("--pulls", settings->pulls, "How many pulls to make")
        ->check(CLI::Range(std::uint64_t{1}, UINT64_MAX).description(""))
        ->type_name("N");
    return [settings] { return cli::follow(*settings); };
}

} // namespace netrondo::cli
