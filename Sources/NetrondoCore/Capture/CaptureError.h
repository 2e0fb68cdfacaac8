// What can go wrong with a capture file, and the sentence the user reads.
#pragma once

#include "Base/Result.h"

#include <string>

namespace netrondo {

struct CaptureError {
    enum class Kind {
        invalidHeader, ///< the payload says what is wrong with it
        io,            ///< the payload says what failed
        fileTooSmall,
        unsupportedFormat,
        truncatedFrame,
        system, ///< the operating system refused; the payload is its own text ("No such file or directory")
        other,  ///< the payload is the whole sentence
    };

    Kind kind;
    std::string payload;

    static CaptureError invalidHeader(std::string payload) { return {Kind::invalidHeader, std::move(payload)}; }
    static CaptureError io(std::string payload) { return {Kind::io, std::move(payload)}; }
    static CaptureError fileTooSmall() { return {Kind::fileTooSmall, {}}; }
    static CaptureError unsupportedFormat() { return {Kind::unsupportedFormat, {}}; }
    static CaptureError truncatedFrame() { return {Kind::truncatedFrame, {}}; }
    static CaptureError system(int errorNumber);
    static CaptureError saying(std::string sentence) { return {Kind::other, std::move(sentence)}; }

    /// The sentence for the user, without the file's name.
    std::string errorDescription() const;

    friend bool operator==(const CaptureError&, const CaptureError&) = default;
};

template <typename T> using CaptureResult = Result<T, CaptureError>;

} // namespace netrondo
