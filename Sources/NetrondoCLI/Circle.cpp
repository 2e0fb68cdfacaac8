// `netrondo circle`: the circle as one JSON text, or as pictures that the application draws.
#include "Application.h"
#include "Base/Json.h"
#include "Capture/CaptureFile.h"
#include "Capture/Drivers/AnalyzeFile.h"
#include "Circle/CirclePicture.h"
#include "FilterOption.h"
#include "Options.h"
#include "Outcome.h"
#include "Progress.h"
#include "Subcommands.h"

#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <memory>
#include <unistd.h>

namespace netrondo::cli {
namespace {

constexpr int largestSide = 16384; // more than that no viewer shows, and no picture of it fits into memory

struct Settings {
    std::string file;
    AnalysisMode mode = AnalysisMode::l3IP;
    QualityStrictness strictness = QualityStrictness::balanced;
    CircleRequest request;
    std::string filter;
    bool json = false;
    std::string svg, png, pdf;
    std::string view = "hosts", color = "protocol", theme = "light";

    bool wantsPictures() const { return !svg.empty() || !png.empty() || !pdf.empty(); }
};

/// "800x600" as a size.
std::optional<Size> sizeOf(std::string_view text)
{
    int width = 0, height = 0;
    const auto* end = text.data() + text.size();
    const auto first = std::from_chars(text.data(), end, width);
    if (first.ec != std::errc() || first.ptr == end || *first.ptr != 'x')
        return std::nullopt;
    const auto second = std::from_chars(first.ptr + 1, end, height);
    if (second.ec != std::errc() || second.ptr != end || width < 1 || height < 1 || width > largestSide
        || height > largestSide)
        return std::nullopt;
    return Size{static_cast<double>(width), static_cast<double>(height)};
}

/// The same wishes in the words of the application.
std::vector<std::string> wordsForTheApplication(const Settings& settings)
{
    const auto& request = settings.request;
    std::vector<std::string> words{"--mode=" + std::string(rawValue(settings.mode)),
                                   "--strictness=" + std::string(id(settings.strictness)),
                                   "--view=" + settings.view,
                                   "--color=" + settings.color,
                                   "--theme=" + settings.theme,
                                   fmt::format("--width={}", request.size.width),
                                   fmt::format("--height={}", request.size.height)};
    if (request.useBytes)
        words.emplace_back("--bytes");
    if (request.showLineThickness)
        words.emplace_back("--thickness");
    if (request.showHostNames)
        words.emplace_back("--names");
    if (request.optimize)
        words.emplace_back("--optimize");
    if (request.limit)
        words.push_back(fmt::format("--limit={}", *request.limit));
    if (request.inset)
        words.push_back(fmt::format("--inset={}", *request.inset));
    if (!settings.svg.empty())
        words.push_back("--svg=" + settings.svg);
    if (!settings.png.empty())
        words.push_back("--png=" + settings.png);
    if (!settings.pdf.empty())
        words.push_back("--pdf=" + settings.pdf);
    if (!settings.filter.empty())
        words.push_back("--filter=" + settings.filter);
    words.emplace_back("--");
    words.push_back(settings.file);
    return words;
}

int printLayout(const Settings& settings, const std::optional<DisplayFilter>& filter)
{
    auto reader = openCapture(settings.file);
    if (!reader)
        return fail(settings.file, reader.error());
    const auto choice = choiceOf(filter, (*reader)->isNanosecond());
    const auto result = [&] {
        Progress progress;
        const auto report = [&](std::uint64_t count) { progress.show(count, (*reader)->position()); };
        return CaptureFile::analyze(**reader, settings.mode, ExpertPreferences{}, report, choice);
    }();
    if (!result)
        return fail(settings.file, result.error());
    TextOutput out(STDOUT_FILENO);
    JsonWriter json(out);
    write(json, layOutCircle(pairsOf(result->pairs, settings.request), settings.request));
    json.endLine();
    return finish(out);
}

int circle(const Settings& settings)
{
    if (!settings.json && !settings.wantsPictures()) {
        fmt::print(stderr,
                   "netrondo: circle: say what to make of it: --svg OUT, --png OUT, --pdf OUT or --json\n"
                   "Try: netrondo circle --help\n");
        return Exit::usage;
    }
    const int toStandardOutput =
        int{settings.json} + (settings.svg == "-") + (settings.png == "-") + (settings.pdf == "-");
    if (toStandardOutput > 1 || (settings.json && settings.wantsPictures() && settings.file == "-")) {
        fmt::print(stderr, "netrondo: circle: {}\n",
                   toStandardOutput > 1 ? "only one of the outputs can go to standard output"
                                        : "standard input can be read once: ask for --json or for pictures");
        return Exit::usage;
    }
    const auto filter = DisplayFilter::compileOptional(settings.filter);
    if (!filter)
        return fail(filter.error());
    if (settings.wantsPictures())
        if (const int status = draw(wordsForTheApplication(settings)); status != Exit::done)
            return status;
    return settings.json ? printLayout(settings, *filter) : Exit::done;
}

void addPictureOptions(CLI::App& app, Settings& settings)
{
    app.add_option("--svg", settings.svg, "Write the picture as SVG; - is standard output")->type_name("OUT");
    app.add_option("--png", settings.png, "Write the picture as PNG")->type_name("OUT");
    app.add_option("--pdf", settings.pdf, "Write the picture as PDF")->type_name("OUT");
    app.add_option("--view", settings.view, "In pictures: hosts on a ring, or hosts linked to services (byProtocol)")
        ->check(CLI::IsMember({"hosts", "byProtocol"}).description(""))
        ->type_name("hosts|byProtocol");
    app.add_option("--color", settings.color, "In pictures: what the colour of a chord says")
        ->check(CLI::IsMember({"protocol", "quality"}).description(""))
        ->type_name("protocol|quality");
    app.add_option("--theme", settings.theme, "In pictures: the ground")
        ->check(CLI::IsMember({"light", "dark"}).description(""))
        ->type_name("light|dark");
    addStrictness(app, settings.strictness);
}

void addLayoutOptions(CLI::App& app, CircleRequest& request)
{
    app.add_option_function<std::string>(
           "--size", [&request](const std::string& text) { request.size = *sizeOf(text); },
           "The size in points; 800x800 is the default")
        ->check([](const std::string& text) {
            return sizeOf(text)
                ? std::string()
                : fmt::format("{} is no size: two numbers from 1 to {}, like 800x600", text, largestSide);
        })
        ->type_name("WxH");
    app.add_flag("--bytes", request.useBytes, "Volumes are bytes instead of packets");
    app.add_flag("--thickness", request.showLineThickness, "Chords are as wide as their volume is large");
    app.add_option_function<std::int64_t>(
           "--limit", [&request](std::int64_t limit) { request.limit = limit; },
           "Only the N largest conversations, both directions taken together")
        ->type_name("N");
    app.add_option_function<double>(
           "--inset", [&request](double inset) { request.inset = inset; },
           "Points from the edge to the ring: 0 with --json, in pictures what the labels need")
        ->check([](const std::string& text) {
            double inset = 0;
            return CLI::detail::lexical_cast(text, inset) && std::isfinite(inset) ? std::string()
                                                                                  : text + " is no number of points";
        })
        ->type_name("X");
    app.add_flag("--names", request.showHostNames, "Hosts by the names that the capture knows for them");
    app.add_flag("--optimize", request.optimize, "Tidy the ring: heavy partners sit opposite each other");
}

} // namespace

Action subcommand::circle(CLI::App& app)
{
    app.footer("Pictures are drawn by the application, netrondo-app; they need no display. --json needs no "
               "application.");
    auto settings = std::make_shared<Settings>();
    addFile(app, settings->file);
    addMode(app, settings->mode);
    addFilter(app, settings->filter);
    addJson(app, settings->json, "Print the layout as one JSON text");
    addLayoutOptions(app, settings->request);
    addPictureOptions(app, *settings);
    return [settings] { return cli::circle(*settings); };
}

} // namespace netrondo::cli
