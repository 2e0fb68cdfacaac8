// `netrondo frames`: the frames of a capture as the file holds them.
#include "FrameLines.h"
#include "Options.h"
#include "Subcommands.h"

#include <memory>

namespace netrondo::cli {
namespace {

/// Lower-case hexadecimal into `text`, whose memory is used again.
void writeHex(Bytes bytes, std::string& text)
{
    constexpr char digits[] = "0123456789abcdef";
    text.resize(bytes.size() * 2);
    auto* out = text.data();
    for (const auto byte : bytes) {
        *out++ = digits[byte >> 4];
        *out++ = digits[byte & 15];
    }
}

void writeFrame(JsonWriter& json, const CaptureFrame& frame, std::string& data)
{
    writeHex(frame.data, data);
    json.beginObject();
    json.field("interfaceID", frame.interfaceID);
    json.field("timestampSeconds", frame.timestampSeconds);
    json.field("timestampFraction", frame.timestampFraction);
    json.field("capturedLength", frame.capturedLength);
    json.field("originalLength", frame.originalLength);
    json.field("linkType", caseName(frame.linkType));
    json.field("data", std::string_view(data));
    json.endObject();
}

} // namespace

Action subcommand::frames(CLI::App& app)
{
    app.footer("A line is {\"interfaceID\":…,\"timestampSeconds\":…,\"timestampFraction\":…,\"capturedLength\":…,\n"
               "\"originalLength\":…,\"linkType\":…,\"data\":…}, the data in hexadecimal digits.");
    auto file = std::make_shared<std::string>();
    addFile(app, *file);
    return [file] {
        std::string data;
        return printFrameLines(*file,
                               [&](JsonWriter& json, const CaptureFrame& frame) { writeFrame(json, frame, data); });
    };
}

} // namespace netrondo::cli
