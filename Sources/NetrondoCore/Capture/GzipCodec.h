// gzip (RFC 1952): recognising it, inflating a file into another, and inflating only the beginning.
#pragma once

#include "Base/Bytes.h"
#include "Capture/CaptureError.h"
#include "Capture/FileHandle.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string_view>
#include <vector>

namespace netrondo::GzipCodec {

/// True for bytes that begin as every gzip member does; false for fewer than 2.
bool is(Bytes prefix);

/// Inflates the first member of the gzip file `from` into the new file `to`; what follows the member is ignored. A
/// stream that is cut yields what it holds up to the cut. After a failure there is no `to`.
CaptureResult<void> decompress(const std::filesystem::path& from, const std::filesystem::path& to);
/// The same between open files; `place` says where the output lies, for the error when it cannot be written. Tells
/// whether another member follows. `goesOn` is asked now and then, and ends it by saying no: an error of the system's
/// for what was cancelled.
CaptureResult<bool> decompress(FileHandle& from, int to, std::string_view place,
                               const std::function<bool()>& goesOn = {});

/// The error for output that cannot be created or written at `place`, with the operating system's reason.
CaptureError cannotInflateInto(std::string_view place, int errorNumber);

/// The first `maxBytes` inflated bytes of the gzip file `from`; fewer when it ends before.
CaptureResult<std::vector<std::uint8_t>> inflatePrefix(const std::filesystem::path& from, std::int64_t maxBytes);

} // namespace netrondo::GzipCodec
