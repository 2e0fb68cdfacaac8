// `netrondo convert`: copies frames into a pcap or pcapng file.
#include "Capture/CaptureWriter.h"
#include "Capture/CopyCapture.h"
#include "FilterOption.h"
#include "Interruption.h"
#include "Options.h"
#include "Outcome.h"
#include "Progress.h"
#include "Subcommands.h"

#include <cerrno>
#include <memory>
#include <system_error>

namespace netrondo::cli {
namespace {

struct Wishes {
    std::string in, out;
    std::string filter;
};

/// A closed pipe is the end of interest, not a failure.
int failToWrite(const std::string& out, const CaptureError& error)
{
    const bool hasReaderGone = out == "-" && error == CaptureError::system(EPIPE);
    return hasReaderGone ? Exit::done : fail(out == "-" ? "standard output" : out, error);
}

int convert(const Wishes& wishes)
{
    const auto filter = DisplayFilter::compileOptional(wishes.filter);
    if (!filter)
        return fail(filter.error());
    const auto reader = openCapture(wishes.in);
    if (!reader)
        return fail(wishes.in, reader.error());
    const Interruption interruption;
    const auto copied = copyCapture(**reader, wishes.out, choiceOf(*filter, (*reader)->isNanosecond()),
                                    [&] { return !interruption.isWanted(); });
    if (!copied && copied.error().side == CopyFailure::Side::source)
        return fail(wishes.in, copied.error().error);
    if (!copied)
        return failToWrite(wishes.out, copied.error().error);
    return *copied ? Exit::done : Exit::interrupted;
}

} // namespace

Action subcommand::convert(CLI::App& app)
{
    app.footer("OUT is written as pcapng when its name ends in .pcapng, as pcap otherwise. It gets its name when it is "
               "whole; until then,\nand after an error, what bore the name before is untouched.");
    auto wishes = std::make_shared<Wishes>();
    app.add_option("IN", wishes->in, "The capture; - is standard input")->required()->type_name("");
    app.add_option("OUT", wishes->out, "The file to write; - is standard output")
        ->required()
        ->check([](const std::string& out) {
            return std::string(CaptureWriter::formatFor(out)
                                   ? ""
                                   : "compressed captures are not written: write a .pcap and compress that");
        })
        ->type_name("");
    addFilter(app, wishes->filter);
    return [wishes] {
        const int status = convert(*wishes); // by now what was half done is gone
        if (status == Exit::interrupted)
            Interruption::obey();
        return status;
    };
}

} // namespace netrondo::cli
