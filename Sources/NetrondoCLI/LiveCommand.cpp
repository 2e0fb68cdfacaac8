// The loop is the recording's; what is here is what a person sees of it.
#include "LiveCommand.h"

#include "Analysis/PairAggregator.h"
#include "Base/Units.h"
#include "Interruption.h"
#include "LiveLines.h"
#include "Outcome.h"
#include "Progress.h"
#include "Subcommands.h"
#include "TextWidth.h"

#include <cerrno>
#include <chrono>
#include <fmt/format.h>
#include <unistd.h>

namespace netrondo::cli {
namespace {

using namespace units;
/// How soon an interruption and a pause in the traffic show.
constexpr std::chrono::milliseconds attention{250};
constexpr std::chrono::seconds summaryInterval{1};

/// The analysis so far, as a line every second.
class LiveSummary {
public:
    LiveSummary() : aggregator_(AnalysisMode::l3IP, ExpertPreferences{}), out_(STDOUT_FILENO), lines_(out_, {}) { }

    void ingest(std::span<const CaptureFrame> frames) { aggregator_.ingest(frames); }
    /// False once nobody reads the lines any more.
    bool print()
    {
        lines_.print(aggregator_.result());
        out_.flush();
        return out_.error() == 0;
    }
    bool printWhenDue()
    {
        if (Clock::now() < due_)
            return true;
        due_ = Clock::now() + summaryInterval;
        return print();
    }
    int finish() { return cli::finish(out_); }

private:
    using Clock = std::chrono::steady_clock;

    PairAggregator aggregator_;
    TextOutput out_;
    LiveLines lines_;
    Clock::time_point due_ = Clock::now() + summaryInterval;
};

/// "1,234 frames captured, 5 dropped by the kernel": what of the traffic the capture holds.
void printAccount(const LiveRecording::Status& status)
{
    auto text = counted(status.frames, "frame", "frames");
    if (status.counts.dropped > 0)
        text += fmt::format(", {} dropped for want of room", grouped(status.counts.dropped));
    if (status.counts.interfaceDropped > 0)
        text += fmt::format(", {} lost by the interface", grouped(status.counts.interfaceDropped));
    fmt::print(stderr, "{}\n", text);
}

/// A reader of standard output that has gone is a good end.
int failure(const LiveRecording::Failure& failure)
{
    if (failure.where == "-" && failure.error == CaptureError::system(EPIPE))
        return Exit::done;
    return fail(failure.where == "-" ? "standard output" : failure.where, failure.error);
}

} // namespace

void addOutput(CLI::App& app, std::string& file)
{
    app.add_option("-w,--write", file, "The file to write, pcapng or pcap by its name; - is standard output")
        ->check([](const std::string& name) {
            return std::string(CaptureWriter::formatFor(name)
                                   ? ""
                                   : "compressed captures are not written: write a .pcap and compress that");
        })
        ->type_name("FILE");
}

int runLive(const std::shared_ptr<LiveSource>& source, const LiveWishes& wishes)
{
    std::optional<LiveRecording::Output> output;
    std::optional<LiveSummary> summary;
    LiveRecording::Receiver receiver;
    if (wishes.file.empty()) {
        summary.emplace();
        receiver = [&](const CaptureReading&, std::span<const CaptureFrame> frames) { summary->ingest(frames); };
    } else {
        output = {wishes.file, wishes.ring};
    }

    LiveRecording recording(source, wishes.name, std::move(output), wishes.limits, receiver);
    const Interruption interruption;
    Result<void, LiveRecording::Failure> result;
    {
        Progress progress;
        result = recording.run(attention, [&] {
            const bool isRead = !summary || summary->printWhenDue();
            if (!summary)
                progress.show(recording.status().frames, {});
            return isRead && !interruption.isWanted();
        });
    }
    if (summary && recording.status().frames > 0)
        summary->print();
    if (recording.status().isConnected)
        printAccount(recording.status());
    if (!result)
        return failure(result.error());
    return summary ? summary->finish() : Exit::done;
}

} // namespace netrondo::cli
