// `netrondo capture`: live capture on one or several interfaces.
#include "Capture/JoinedCapture.h"
#include "LiveCommand.h"
#include "Options.h"
#include "Outcome.h"
#include "Subcommands.h"

#include <charconv>
#include <limits>
#include <memory>
#include <vector>

namespace netrondo::cli {
namespace {

struct Wishes {
    std::vector<std::string> interfaces;
    LiveCapture::Options options; ///< of each interface
    LiveWishes live;
    double duration = 0;
    std::string ring;
};

/// "SIZE,COUNT": bytes with k, M or G behind them, and a number of files; nothing for other text.
std::optional<CaptureRecorder::Ring> ringIn(std::string_view text)
{
    std::uint64_t size = 0, files = 0;
    const auto* const end = text.data() + text.size();
    const auto number = std::from_chars(text.data(), end, size);
    const auto* at = number.ptr;
    std::uint64_t unit = 1;
    if (at != end && *at != ',') {
        unit = *at == 'k' ? 1'000 : *at == 'M' ? 1'000'000 : *at == 'G' ? 1'000'000'000 : 0;
        ++at;
    }
    if (number.ec != std::errc() || at == end || *at != ',' || size == 0 || unit == 0
        || size > std::numeric_limits<std::uint64_t>::max() / unit)
        return std::nullopt;
    const auto count = std::from_chars(at + 1, end, files);
    constexpr std::uint64_t mostFiles = 100'000;
    if (count.ec != std::errc() || count.ptr != end || files == 0 || files > mostFiles)
        return std::nullopt;
    return CaptureRecorder::Ring{size * unit, files};
}

int run(Wishes& wishes)
{
    std::vector<LiveCapture::Options> each;
    for (const auto& interface : wishes.interfaces) {
        wishes.live.name += (wishes.live.name.empty() ? "" : ", ") + interface;
        each.push_back(wishes.options);
        each.back().interface = interface;
    }
    wishes.live.limits.time = std::chrono::duration<double>(wishes.duration);
    wishes.live.ring = ringIn(wishes.ring);
    auto started = JoinedCapture::start(each);
    if (!started)
        return fail(wishes.live.name, started.error());
    const std::shared_ptr<JoinedCapture> capture = *std::move(started);
    const int status = runLive(capture, wishes.live);
    return capture->fault() == LiveCapture::Fault::filter ? Exit::usage : status;
}

} // namespace

Action subcommand::capture(CLI::App& app)
{
    app.footer("Without -w a line every second says what goes on. Ctrl-C ends the capture; what was captured is kept, "
               "whatever happens.\nCapturing takes a privilege, which a small program of its own holds; it is given "
               "once, by:\n  "
               + LiveCapture::permissionCommand());
    auto wishes = std::make_shared<Wishes>();
    app.add_option("-i,--interface", wishes->interfaces,
                   "The interface; netrondo interfaces lists them. Given several times, all of them at once")
        ->required()
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->type_name("IF");
    app.add_option("-f,--capture-filter", wishes->options.filter,
                   "Only these frames, in libpcap’s language: “tcp port 80”")
        ->type_name("FILTER");
    addOutput(app, wishes->live.file);
    app.add_option("--ring", wishes->ring, "A new file every SIZE bytes (10M), of which the last COUNT are kept")
        ->check([](const std::string& text) {
            return std::string(ringIn(text) ? "" : "“" + text + "” is not SIZE,COUNT, as in 100M,10");
        })
        ->needs("--write")
        ->type_name("SIZE,COUNT");
    app.add_option("--duration", wishes->duration, "Ends after so many seconds")
        ->check(CLI::Range(0.001, 1e9).description(""))
        ->type_name("S");
    app.add_option("--count", wishes->live.limits.frames, "Ends after so many frames")
        ->check(CLI::PositiveNumber.description(""))
        ->type_name("N");
    app.add_option("--snaplen", wishes->options.snaplen, "Keeps so many bytes of a frame; all of them unless given")
        ->check(CLI::Range(std::uint32_t{1}, std::uint32_t{262'144}).description(""))
        ->type_name("N");
    app.add_flag_callback(
        "--no-promiscuous", [wishes] { wishes->options.promiscuous = false; },
        "Only what is meant for this machine, or sent by it");
    return [wishes] { return run(*wishes); };
}

} // namespace netrondo::cli
