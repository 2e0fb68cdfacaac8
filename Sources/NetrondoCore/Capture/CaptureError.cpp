// The sentences for what can go wrong with a capture file.
#include "Capture/CaptureError.h"

#include <system_error>

namespace netrondo {

CaptureError CaptureError::system(int errorNumber)
{
    return {Kind::system, std::generic_category().message(errorNumber)};
}

std::string CaptureError::errorDescription() const
{
    switch (kind) {
    case Kind::invalidHeader: return "Invalid capture header: " + payload;
    case Kind::io: return "I/O error: " + payload;
    case Kind::fileTooSmall: return "File is too small to be a capture.";
    case Kind::unsupportedFormat:
        return "Unsupported capture format. Netrondo opens PCAP, PCAPNG, gzip-compressed captures, and Sniffer Pro "
               ".cap/.caz.";
    case Kind::truncatedFrame: return "Truncated frame in capture.";
    case Kind::system:
    case Kind::other: return payload;
    }
    fatal("a capture error without a sentence", __FILE__, __LINE__);
}

} // namespace netrondo
