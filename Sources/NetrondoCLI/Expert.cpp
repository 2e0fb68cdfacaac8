// `netrondo expert`: what is wrong in a capture, in sentences or as one JSON text.
#include "Base/Json.h"
#include "Capture/CaptureFile.h"
#include "Capture/Drivers/AnalyzeFile.h"
#include "Options.h"
#include "Outcome.h"
#include "Page.h"
#include "Progress.h"
#include "Subcommands.h"
#include "Summary.h"
#include "Terminal.h"
#include "TextWidth.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <unistd.h>

namespace netrondo::cli {
namespace {

struct Settings {
    std::string file;
    bool json = false;
    Severity least = Severity::info;
    std::optional<ExpertLayer> layer;
    std::string preferences;
    std::optional<Severity> failOn;
};

Tone tone(Severity severity)
{
    switch (severity) {
    case Severity::error: return Tone::poor;
    case Severity::warning: return Tone::fair;
    case Severity::note: return Tone::strong;
    case Severity::info: return Tone::dim;
    }
    return Tone::plain;
}

void paragraph(Page& page, std::string_view label, std::string_view text, Tone textTone = Tone::plain)
{
    constexpr std::size_t indent = 10;
    page.put(label, Tone::dim);
    page.pad(indent - textWidth(label));
    page.paragraph(printable(text), indent, textTone);
}

std::string joined(const std::vector<std::string>& parts)
{
    std::string text;
    for (const auto& part : parts)
        text += (text.empty() ? "" : "; ") + part;
    return text;
}

void print(Page& page, const ExpertFinding& finding)
{
    page.endLine();
    page.put(fmt::format("{:<9} ", rawValue(finding.severity)), tone(finding.severity));
    page.put(printable(ExpertText::title(finding)), Tone::strong);
    page.put(fmt::format("  {}, {}", finding.kind().id, rawValue(finding.kind().layer)), Tone::dim);
    page.endLine();
    if (finding.muted)
        paragraph(page, "  Muted", *finding.muted, Tone::dim);
    paragraph(page, "  What", ExpertText::whatHappened(finding));
    paragraph(page, "  Why", ExpertText::whyItFired(finding));
    std::string symptoms;
    for (const auto& symptom : finding.symptoms)
        symptoms += fmt::format("{}{} ({})", symptoms.empty() ? "" : ", ", kindOf(symptom.finding).id, symptom.count);
    if (!symptoms.empty())
        paragraph(page, "  Also", symptoms);
    paragraph(page, "  Causes", joined(ExpertText::probableCauses(finding)));
    paragraph(page, "  Next", joined(ExpertText::nextSteps(finding)));
    paragraph(page, "  Unless", ExpertText::falsifier(finding));
    paragraph(page, "  Filter", ExpertText::filter(finding), Tone::dim);
}

int run(const Settings& settings)
{
    ExpertPreferences preferences;
    if (!settings.preferences.empty()) {
        auto loaded = loadExpertPreferences(settings.preferences);
        if (!loaded) {
            fmt::print(stderr, "netrondo: {}: {}\n", printable(settings.preferences),
                       printable(loaded.error().description()));
            return Exit::usage;
        }
        preferences = *std::move(loaded);
    }
    auto reader = openCapture(settings.file);
    if (!reader)
        return fail(settings.file, reader.error());
    auto result = [&] {
        Progress progress;
        const auto report = [&](std::uint64_t count) { progress.show(count, (*reader)->position()); };
        return CaptureFile::analyze(**reader, AnalysisMode::l3IP, preferences, report);
    }();
    if (!result)
        return fail(settings.file, result.error());

    auto& summary = result->expertSummary;
    const auto hurts = [&](const ExpertFinding& finding) {
        return settings.failOn && !finding.muted && finding.severity >= *settings.failOn;
    };
    const bool fails = std::any_of(summary.findings.begin(), summary.findings.end(), hurts);
    std::erase_if(summary.findings, [&](const ExpertFinding& finding) {
        return finding.severity < settings.least || (settings.layer && finding.kind().layer != *settings.layer);
    });

    TextOutput out(STDOUT_FILENO);
    if (settings.json) {
        JsonWriter json(out);
        write(json, summary);
        json.endLine();
    } else {
        Page page(out, screenWidth(STDOUT_FILENO), wantsColour(STDOUT_FILENO));
        printAccounting(page, summary);
        for (const auto& finding : summary.findings)
            print(page, finding);
        if (summary.findings.empty()) {
            page.endLine();
            page.paragraph("Nothing is wrong in this capture, as far as it shows.", 0);
        }
    }
    const auto status = finish(out);
    return status == Exit::done && fails ? Exit::found : status;
}

void addSeverity(CLI::App& app, const char* name, const char* what, std::function<void(Severity)> set)
{
    app.add_option_function<std::string>(
           name, [set = std::move(set)](const std::string& word) { set(*severityOf(word)); }, what)
        ->check(CLI::IsMember({"info", "note", "warning", "error"}).description(""))
        ->type_name("info|note|warning|error");
}

} // namespace

Action subcommand::expert(CLI::App& app)
{
    app.footer("Exit status: 0 whether or not there are findings; 3 with --fail-on when one is that bad or worse.\n"
               "The text is for people and may change; scripts read --json.");
    auto settings = std::make_shared<Settings>();
    addFile(app, settings->file);
    addJson(app, settings->json, "One JSON text with all findings");
    addSeverity(app, "--min-severity", "Only findings that are this bad or worse",
                [settings](Severity severity) { settings->least = severity; });
    app.add_option_function<std::string>(
           "--layer", [settings](const std::string& word) { settings->layer = layerOf(word); },
           "Only findings of this layer")
        ->check(CLI::IsMember({"capture", "L1", "L2", "L3", "L4", "L7"}).description(""))
        ->type_name("capture|L1|L2|L3|L4|L7");
    app.add_option("--preferences", settings->preferences, "Thresholds and mutes, as JSON")->type_name("FILE");
    addSeverity(app, "--fail-on", "End with status 3 when a finding is this bad or worse",
                [settings](Severity severity) { settings->failOn = severity; });
    return [settings] { return run(*settings); };
}

} // namespace netrondo::cli
