// The buffered writer's slow half: handing the buffer on.
#include "Base/TextOutput.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace netrondo {

TextOutput::TextOutput(int descriptor)
    : descriptor_(descriptor), buffer_(std::make_unique_for_overwrite<char[]>(capacity))
{ }

TextOutput::TextOutput(std::string& text) : text_(&text), buffer_(std::make_unique_for_overwrite<char[]>(capacity)) { }

TextOutput::~TextOutput()
{
    flush();
}

void TextOutput::put(std::string_view text)
{
    while (!text.empty()) {
        if (used_ == capacity)
            flush();
        const auto part = std::min(text.size(), capacity - used_);
        std::memcpy(buffer_.get() + used_, text.data(), part);
        used_ += part;
        text.remove_prefix(part);
    }
}

void TextOutput::flush()
{
    if (text_) {
        text_->append(buffer_.get(), used_);
        used_ = 0;
        return;
    }
    std::size_t done = 0;
    while (done < used_ && !error_) {
        const auto written = ::write(descriptor_, buffer_.get() + done, used_ - done);
        if (written >= 0)
            done += static_cast<std::size_t>(written);
        else if (errno != EINTR)
            error_ = errno;
    }
    used_ = 0;
}

} // namespace netrondo
