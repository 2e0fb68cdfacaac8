// Live capture on an interface. The capture itself runs in a small program of its own, the only one that holds the
// privilege for it; its frames come over a pipe.
#pragma once

#include "Capture/CaptureReports.h"
#include "Capture/CaptureStream.h"
#include "Capture/LiveSource.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <utility>

namespace netrondo {

class LiveCapture final : public LiveSource {
public:
    struct Options {
        std::string interface;
        std::string filter = {};                       ///< libpcap's language; empty: every frame
        std::uint32_t snaplen = 262'144;               ///< bytes kept of a frame, from 1 to 262,144
        bool promiscuous = true;                       ///< also frames that are meant for others
        std::uint32_t bufferSize = 16 << 20;           ///< bytes the kernel keeps until we come for them
        std::filesystem::path program = programPath(); ///< the capture program
    };

    /// Starts the capture program. What the program itself finds wrong (no such interface, no permission, a filter that
    /// is none) is the error of a later `nextBatch`, as it takes its time.
    static CaptureResult<std::unique_ptr<LiveCapture>> start(Options options);
    /// Ends the capture program.
    ~LiveCapture() override;

    CaptureResult<std::size_t> nextBatch(std::span<CaptureFrame> frames, std::chrono::milliseconds patience) override;
    bool hasEnded() const override { return hasEnded_; }
    const CaptureReading* reading() const override { return frames_.reading(); }
    CaptureCounts counts() const override { return reports_.counts(); }
    void stop() override;

    /// Why the capture failed, for whoever offers help with it.
    using Fault = CaptureFault;
    Fault fault() const { return fault_; }
    /// The interface is being listened on.
    bool isListening() const { return reports_.isListening(); }
    int descriptor() const { return frames_.descriptor(); } ///< to wait on: readable when there may be frames
    pid_t programId() const { return program_; }            ///< of the capture program; -1 when it has ended

    /// The capture program as installed or as built, by where this program lies.
    static std::filesystem::path programPath();
    /// The command that gives the capture program its privilege, once, for a shell.
    static std::string permissionCommand(const std::filesystem::path& program = programPath());
    /// Whether the capture program holds its privilege, found out by trying; takes a moment.
    static bool isPermitted(const std::string& interface);
    /// Whether libpcap takes the text for a filter on frames of this link type; its message otherwise. Names in the
    /// text are looked up, so that this can take seconds: not for the window's thread.
    static CaptureResult<void> checkFilter(std::string_view text, std::uint16_t linkNumber = 1);

private:
    /// A descriptor that closes itself.
    class Descriptor {
    public:
        explicit Descriptor(int number = -1) : number_(number) { }
        ~Descriptor() { close(); }
        Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) { }
        Descriptor& operator=(Descriptor&& other) noexcept
        {
            std::swap(number_, other.number_);
            return *this;
        }
        void close();
        int number() const { return number_; }
        int release() { return std::exchange(number_, -1); }

    private:
        int number_;
    };
    struct Pipe {
        Descriptor read, write;
        static CaptureResult<Pipe> make();
    };

    LiveCapture(Options options, pid_t program, Pipe control, Pipe frames, Pipe reports, Descriptor wake);

    void takeReports();
    CaptureResult<std::size_t> finish();
    std::string sentence(std::string_view detail) const;

    Options options_;
    pid_t program_;
    Descriptor control_; ///< the program ends when this is closed
    Descriptor reportPipe_;
    Descriptor wake_; ///< readable once `stop` was called
    CaptureStream frames_;
    CaptureReports reports_;
    Fault fault_ = Fault::none;
    std::string detail_; ///< what there is to say about it
    bool hasEnded_ = false;
    bool isStopping_ = false;
};

} // namespace netrondo
