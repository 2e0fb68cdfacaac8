// The columns of the JSON are named as the list's are.
#include "Dissection/Decode/FrameWriter.h"

#include "Dissection/Decode/Render.h"

namespace netrondo {

void FrameWriter::write(const DecodedFrame& frame)
{
    if (form_ == Form::json)
        return writeJson(frame);
    text_.clear();
    list_.write(frame, text_);
    out_.put(text_.text());
}

void FrameWriter::writeJson(const DecodedFrame& frame)
{
    const auto& summary = frame.summary;
    const auto written = [&](auto write) {
        text_.clear();
        write();
        return text_.text();
    };
    json_.beginObject();
    json_.field("number", summary.number);
    json_.field("time", static_cast<double>(summary.nanoseconds) / 1e9);
    json_.field("source", written([&] { text_.put(summary.source); }));
    json_.field("destination", written([&] { text_.put(summary.destination); }));
    json_.field("protocol", Render::protocol(summary));
    json_.field("length", summary.length);
    json_.field("info", written([&] { Render::info(frame, text_); }));
    // The tree is most of the line, and comes as text.
    text_.clear();
    text_.put(",\"tree\":");
    Render::json(frame, text_);
    text_.put('}');
    out_.put(text_.text());
    json_.endLine();
}

} // namespace netrondo
