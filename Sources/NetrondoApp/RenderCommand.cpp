// The pictures of `netrondo circle`.
#include "RenderCommand.h"

#include "Analysis/PairAggregator.h"
#include "Capture/CaptureFile.h"
#include "Capture/Drivers/FilterChoice.h"
#include "Circle/CirclePicture.h"
#include "Dissection/Filter/DisplayFilter.h"
#include "Drawing/PictureFile.h"
#include "Drawing/ScenePainter.h"

#include <QCommandLineParser>
#include <QGuiApplication>
#include <cstdio>
#include <filesystem>
#include <fmt/format.h>
#include <memory>

namespace netrondo {
namespace {

constexpr int failed = 1, usage = 2;

int fail(const QString& file, const std::string& why)
{
    fmt::print(stderr, "netrondo: {}: {}\n", file.toStdString(), why);
    return failed;
}

/// `netrondo circle` has read the words of its command line already and passes them on in one form.
struct Options {
    QCommandLineParser parser;
    Options()
    {
        parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
        for (const auto* flag : {"render", "bytes", "thickness", "names", "optimize"})
            parser.addOption(QCommandLineOption(QLatin1String(flag)));
        for (const auto* word : {"mode", "filter", "view", "color", "theme", "strictness", "limit", "inset", "width",
                                 "height", "svg", "png", "pdf"})
            parser.addOption({QLatin1String(word), {}, QLatin1String(word)});
        parser.addPositionalArgument(QStringLiteral("FILE"), {});
    }
    bool has(const char* name) const { return parser.isSet(QLatin1String(name)); }
    QString word(const char* name) const { return parser.value(QLatin1String(name)); }
};

CircleRequest requestOf(const Options& options)
{
    CircleRequest request;
    if (options.has("width") && options.has("height"))
        request.size = {options.word("width").toDouble(), options.word("height").toDouble()};
    request.useBytes = options.has("bytes");
    request.showLineThickness = options.has("thickness");
    request.showHostNames = options.has("names");
    request.optimize = options.has("optimize");
    if (options.has("limit"))
        request.limit = options.word("limit").toLongLong();
    if (options.has("inset"))
        request.inset = options.word("inset").toDouble();
    return request;
}

SceneStyle styleOf(const Options& options)
{
    SceneStyle style;
    style.theme = options.word("theme") == QLatin1String("dark") ? SceneTheme::dark : SceneTheme::light;
    style.colorMode =
        options.word("color") == QLatin1String("quality") ? EdgeColorMode::quality : EdgeColorMode::protocol;
    if (const auto strictness = strictnessById(options.word("strictness").toStdString()))
        style.thresholds = thresholds(*strictness);
    return style;
}

int render(const Options& options)
{
    const auto file = options.parser.positionalArguments().value(0);
    const auto mode = options.word("mode") == QLatin1String("l2MAC") ? AnalysisMode::l2MAC : AnalysisMode::l3IP;
    const auto view = circleHostLayoutMode(options.word("view").toStdString()).value_or(CircleHostLayoutMode::hosts);
    const auto filter = DisplayFilter::compileOptional(options.word("filter").toStdString());
    if (!filter) {
        fmt::print(stderr, "{}\n", filter.error().description());
        return usage;
    }
    const auto reader = CaptureFile::open(file.toStdString());
    if (!reader)
        return fail(file, reader.error().errorDescription());
    const auto choice = CaptureFile::choiceOf(*filter, (*reader)->isNanosecond());
    const auto result = CaptureFile::analyze(**reader, mode, ExpertPreferences{}, {}, choice);
    if (!result)
        return fail(file, result.error().errorDescription());

    const auto title = file == QLatin1String("-") ? std::string("Standard input")
                                                  : std::filesystem::path(file.toStdString()).filename().string();
    const auto scene = circlePicture(*result, view, requestOf(options), styleOf(options), title, sceneTextWidth);
    struct Output {
        const char* option;
        PictureFormat format;
    };
    for (const auto& [option, format] :
         {Output{"svg", PictureFormat::svg}, Output{"png", PictureFormat::png}, Output{"pdf", PictureFormat::pdf}}) {
        if (!options.has(option))
            continue;
        const auto path = options.word(option);
        const auto bytes = encode(scene, format, title);
        if (!bytes)
            return fail(path, bytes.error().description);
        if (const auto saved = save(*bytes, path.toStdString()); !saved)
            return fail(path, saved.error().description);
    }
    return 0;
}

} // namespace

bool asksForPictures(int argc, char** argv)
{
    return argc > 1 && std::string_view(argv[1]) == "--render";
}

int renderPictures(int argc, char** argv)
{
    // Drawing into files needs no display, and what Qt misses of a desktop (a runtime folder, a theme) is no news to
    // whoever asked for a picture.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
        if (type == QtCriticalMsg || type == QtFatalMsg)
            fmt::print(stderr, "netrondo-app: {}\n", text.toStdString());
    });
    QGuiApplication application(argc, argv);
    Options options;
    if (!options.parser.parse(QCoreApplication::arguments()) || options.parser.positionalArguments().size() != 1) {
        fmt::print(stderr, "netrondo-app: --render takes the options of `netrondo circle`: {}\n",
                   options.parser.errorText().toStdString());
        return usage;
    }
    return render(options);
}

} // namespace netrondo
