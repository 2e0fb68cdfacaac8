// The shared options and the words they accept.
#include "Options.h"

#include <map>

namespace netrondo::cli {

void addFile(CLI::App& app, std::string& file)
{
    app.add_option("FILE", file, "The capture; - is standard input")->required()->type_name("");
}

void addMode(CLI::App& app, AnalysisMode& mode)
{
    const std::map<std::string, AnalysisMode> words = {
        {std::string(rawValue(AnalysisMode::l3IP)), AnalysisMode::l3IP},
        {std::string(rawValue(AnalysisMode::l2MAC)), AnalysisMode::l2MAC}};
    app.add_option_function<std::string>(
           "--mode", [&mode, words](const std::string& word) { mode = words.at(word); },
           "Hosts are IP addresses (l3IP, the default) or MAC addresses (l2MAC)")
        ->check(CLI::IsMember(words).description(""))
        ->type_name("l3IP|l2MAC");
}

void addStrictness(CLI::App& app, QualityStrictness& strictness)
{
    app.add_option_function<std::string>(
           "--strictness", [&strictness](const std::string& word) { strictness = *strictnessById(word); },
           "Where Excellent, Good, Fair and Poor begin; balanced is the default")
        ->check(CLI::IsMember({"lenient", "balanced", "strict"}).description(""))
        ->type_name("lenient|balanced|strict");
}

void addJson(CLI::App& app, bool& json, const char* what)
{
    app.add_flag("--json", json, what);
}

} // namespace netrondo::cli
