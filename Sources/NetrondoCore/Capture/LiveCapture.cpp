// The capture program's three streams: its standard input, which we close to end it; its standard output, a pcap
// stream; its standard error, a line for everything else.
#include "Capture/LiveCapture.h"

#include "CPcapBridge/CPcapBridge.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <spawn.h>
#include <sys/eventfd.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace netrondo {
namespace {
constexpr auto programName = "netrondo-capture";
constexpr int pipeSize = 1 << 20; ///< bytes of frames that wait between the program and us

std::string systemText(int error)
{
    return std::generic_category().message(error);
}

std::unexpected<CaptureError> failure(std::string sentence)
{
    return std::unexpected(CaptureError::saying(std::move(sentence)));
}

/// Starts a program with these three streams, out of reach of a terminal's Ctrl-C.
int spawn(pid_t& child, const std::filesystem::path& program, std::vector<std::string> words, int input, int output,
          int errors)
{
    std::vector<char*> arguments;
    for (auto& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawnattr_init(&attributes);
    ::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
    const int error = ::posix_spawn(&child, program.c_str(), &actions, &attributes, arguments.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    return error;
}
} // namespace

void LiveCapture::Descriptor::close()
{
    if (number_ >= 0)
        ::close(number_);
    number_ = -1;
}

CaptureResult<LiveCapture::Pipe> LiveCapture::Pipe::make()
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) < 0)
        return failure(fmt::format("No pipe to the capture program: {}.", systemText(errno)));
    return Pipe{Descriptor(ends[0]), Descriptor(ends[1])};
}

std::filesystem::path LiveCapture::programPath()
{
    namespace fs = std::filesystem;
    std::error_code unknown;
    const auto folder = fs::read_symlink("/proc/self/exe", unknown).parent_path();
    auto installed = folder.parent_path() / "libexec" / "netrondo" / programName;
    for (const auto& built : {folder.parent_path() / "NetrondoCapture" / programName,
                              folder.parent_path() / "Sources" / "NetrondoCapture" / programName})
        if (::access(built.c_str(), X_OK) == 0)
            return built;
    return installed;
}

std::string LiveCapture::permissionCommand(const std::filesystem::path& program)
{
    return fmt::format("sudo setcap cap_net_raw+ep '{}'", program.string());
}

bool LiveCapture::isPermitted(const std::string& interface)
{
    const auto capture = start({.interface = interface, .promiscuous = false});
    if (!capture)
        return true; // there is no program: that is another trouble
    std::array<CaptureFrame, 1> none;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!(*capture)->isListening() && !(*capture)->hasEnded() && std::chrono::steady_clock::now() < deadline)
        static_cast<void>((*capture)->nextBatch(none, std::chrono::milliseconds(50)));
    return (*capture)->fault() != Fault::permission;
}

CaptureResult<void> LiveCapture::checkFilter(std::string_view text, std::uint16_t linkNumber)
{
    char error[NR_PCAP_ERROR_SIZE];
    if (nr_pcap_check_filter(std::string(text).c_str(), linkNumber, error) != 0)
        return failure(error);
    return {};
}

CaptureResult<std::unique_ptr<LiveCapture>> LiveCapture::start(Options options)
{
    NR_TRY(auto control, Pipe::make());
    NR_TRY(auto frames, Pipe::make());
    NR_TRY(auto reports, Pipe::make());
    Descriptor wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (wake.number() < 0)
        return failure(fmt::format("The capture cannot be started: {}.", systemText(errno)));
    ::fcntl(frames.read.number(), F_SETPIPE_SZ, pipeSize); // a hint: a smaller pipe does, too

    std::vector<std::string> words = {programName,
                                      "-i",
                                      options.interface,
                                      "-s",
                                      std::to_string(options.snaplen),
                                      "-B",
                                      std::to_string(options.bufferSize)};
    if (!options.filter.empty())
        words.insert(words.end(), {"-f", options.filter});
    if (!options.promiscuous)
        words.emplace_back("-p");
    pid_t program = -1;
    const int error = spawn(program, options.program, std::move(words), control.read.number(), frames.write.number(),
                            reports.write.number());
    if (error != 0)
        return failure(
            fmt::format("The capture program {} does not start: {}.", options.program.string(), systemText(error)));
    return std::unique_ptr<LiveCapture>(new LiveCapture(std::move(options), program, std::move(control),
                                                        std::move(frames), std::move(reports), std::move(wake)));
}

/// Keeps our ends of the pipes; the program's close as the pipes go.
LiveCapture::LiveCapture(Options options, pid_t program, Pipe control, Pipe frames, Pipe reports, Descriptor wake)
    : options_(std::move(options))
    , program_(program)
    , control_(std::move(control.write))
    , reportPipe_(std::move(reports.read))
    , wake_(std::move(wake))
    , frames_(frames.read.release())
{
    ::fcntl(reportPipe_.number(), F_SETFL, ::fcntl(reportPipe_.number(), F_GETFL) | O_NONBLOCK);
}

LiveCapture::~LiveCapture()
{
    if (program_ < 0)
        return;
    ::kill(program_, SIGKILL); // it has nothing to put in order
    while (::waitpid(program_, nullptr, 0) < 0 && errno == EINTR) { }
}

void LiveCapture::stop()
{
    const std::uint64_t once = 1;
    static_cast<void>(::write(wake_.number(), &once, sizeof once));
}

CaptureResult<std::size_t> LiveCapture::nextBatch(std::span<CaptureFrame> frames, std::chrono::milliseconds patience)
{
    if (hasEnded_ || frames.empty())
        return 0;
    std::array<pollfd, 3> waiting = {pollfd{frames_.descriptor(), POLLIN, 0}, pollfd{reportPipe_.number(), POLLIN, 0},
                                     pollfd{wake_.number(), POLLIN, 0}};
    if (isStopping_)
        waiting[2].fd = -1;
    // A batch ends where the window of the stream does: more may be there than the pipe can tell.
    auto count = frames_.nextBatch(frames);
    if (count && *count == 0 && !frames_.hasEnded()) {
        ::poll(waiting.data(), waiting.size(), static_cast<int>(patience.count()));
        takeReports();
        count = frames_.nextBatch(frames);
    } else {
        ::poll(&waiting[2], 1, 0);
        takeReports();
    }
    if (waiting[2].revents != 0) {
        isStopping_ = true;
        control_.close();
    }
    if (!count) {
        hasEnded_ = true;
        fault_ = Fault::program;
        return failure(sentence(count.error().errorDescription()));
    }
    return *count == 0 && frames_.hasEnded() ? finish() : count;
}

/// What the program has said so far.
void LiveCapture::takeReports()
{
    std::array<char, 1024> piece;
    for (ssize_t got; (got = ::read(reportPipe_.number(), piece.data(), piece.size())) > 0;)
        reports_.take({piece.data(), static_cast<std::size_t>(got)});
    if (reports_.fault() == Fault::none)
        return;
    fault_ = reports_.fault();
    detail_ = reports_.detail();
}

/// The end of the frames is the end of the program: it says why, or its exit status does.
CaptureResult<std::size_t> LiveCapture::finish()
{
    hasEnded_ = true;
    int status = 0;
    while (::waitpid(program_, &status, 0) < 0 && errno == EINTR) { }
    program_ = -1;
    takeReports();
    if (fault_ == Fault::none && WIFSIGNALED(status)) {
        fault_ = Fault::program;
        detail_ =
            fmt::format("the capture program was ended by signal {}; a new capture starts it again", WTERMSIG(status));
    } else if (fault_ == Fault::none && WEXITSTATUS(status) != 0) {
        fault_ = Fault::program;
        detail_ = fmt::format("the capture program ended with status {}", WEXITSTATUS(status));
    }
    if (fault_ == Fault::none)
        return 0;
    return failure(sentence(detail_));
}

/// What happened, where, and what helps.
std::string LiveCapture::sentence(std::string_view detail) const
{
    const auto& name = options_.interface;
    switch (fault_) {
    case Fault::permission:
        return fmt::format("No permission to capture on {}. The capture program gets it, once, by: {}", name,
                           permissionCommand(options_.program));
    case Fault::interface:
        return isListening()
            ? fmt::format("The interface {} has vanished; netrondo interfaces lists those there are.", name)
            : fmt::format("There is no interface {}; netrondo interfaces lists those there are.", name);
    case Fault::interfaceDown:
        return isListening()
            ? fmt::format("The interface {0} went down; this brings it up: sudo ip link set {0} up", name)
            : fmt::format("The interface {0} is down; this brings it up: sudo ip link set {0} up", name);
    case Fault::filter: return fmt::format("The capture filter is none: {}", detail);
    case Fault::none:
    case Fault::program:
    case Fault::other: break;
    }
    return fmt::format("The capture on {} failed: {}", name, detail);
}

} // namespace netrondo
