// `netrondo follow`: a pcap file that another process is still writing, analysed again at every pull.
#include "Base/Json.h"
#include "Capture/Drivers/GrowingPcapAnalyzer.h"
#include "Options.h"
#include "Outcome.h"
#include "Ranking.h"
#include "Subcommands.h"
#include "Summary.h"
#include "Terminal.h"
#include "TextWidth.h"
#include "Units.h"

#include <chrono>
#include <fmt/format.h>
#include <memory>
#include <optional>
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

/// One line per pull: how much has come, in all and since the pull before, and who is busiest.
class LiveLines {
public:
    LiveLines(TextOutput& out, QualityStrictness strictness)
        : page_(out, screenWidth(STDOUT_FILENO), wantsColour(STDOUT_FILENO)), thresholds_(thresholds(strictness))
    { }

    void print(const AnalysisResult& result)
    {
        auto conversations = talks(result.pairs);
        const auto line = fmt::format("{:>9} {:<8}{:>9} {:<9}{:>5} conv.", grouped(result.totalPackets),
                                      "+" + grouped(result.totalPackets - packets_), bytes(result.totalBytes),
                                      "+" + bytes(result.totalBytes - bytes_), grouped(conversations.size()));
        packets_ = result.totalPackets;
        bytes_ = result.totalBytes;
        page_.put(line);
        if (!conversations.empty()) {
            busiestFirst(conversations, 1);
            printBusiest(result.pairs[conversations.front().pair],
                         page_.width() - std::min(page_.width(), textWidth(line) + 2));
        }
        page_.endLine();
    }

private:
    void printBusiest(const CommPair& pair, std::size_t room)
    {
        auto text = fmt::format("{} ↔ {} {}", hostText(pair.srcAddr, pair.resolvedSrc),
                                hostText(pair.dstAddr, pair.resolvedDst), protocolText(pair));
        const auto score = pair.tcpQuality ? pair.tcpQuality->score() : std::nullopt;
        const auto grade = gradeOf(score, thresholds_);
        const auto verdict = score && grade != SessionQualityGrade::excellent
            ? fmt::format(" {} {}", displayName(grade), *score)
            : std::string();
        page_.pad(2);
        page_.put(fitted(text, room - std::min(room, textWidth(verdict))));
        page_.put(verdict, tone(grade));
    }

    Page page_;
    QualityGradeThresholds thresholds_;
    std::uint64_t packets_ = 0;
    std::uint64_t bytes_ = 0;
};

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
        ->check([](const std::string& file) {
            return std::string(file == "-" ? "a pipe cannot be followed: netrondo analyze - reads it to its end" : "");
        })
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
