// The thread sleeps until somebody looks at something.
#include "Tasks/FrameRowLoader.h"

#include "Dissection/Decode/Render.h"
#include "Dissection/Filter/FilterFrom.h"
#include "Models/Text.h"

#include <algorithm>

namespace netrondo {
namespace {
constexpr std::size_t maxRequests = 8;
constexpr std::size_t maxReady = 16;
constexpr int mostValues = 8; ///< of one field in one cell

/// All values that the frame has for the field, as the tree says them.
FrameCell cellOf(const DecodedFrame& decoded, std::string_view id, TextSink& text)
{
    FrameCell cell;
    const auto nodes = decoded.tree.nodes();
    for (std::uint32_t node = 0, values = 0; node < nodes.size() && values < mostValues; ++node) {
        const auto& field = *nodes[node].field;
        if (field.id != id)
            continue;
        text.clear();
        Render::row(decoded, node, text); // "IPv4 TTL: 64"; "IPv4, 10.0.0.1 → 10.0.0.2" for a layer
        auto value = text.text();
        value.remove_prefix(std::min(value.size(), field.summary.size() + 2));
        if (values++ == 0)
            cell.filter = QString::fromStdString(FilterFrom::node(decoded, node));
        else
            cell.text += QStringLiteral(", ");
        cell.text += value.empty() ? QStringLiteral("yes") : asQt(value);
    }
    return cell;
}
} // namespace

FrameRow readRow(IndexedDecoder& decoder, std::uint32_t frame, const std::vector<std::string>& fields,
                 DecodedFrame& decoded, TextSink& text)
{
    FrameRow row;
    const auto capture = decoder.fetch(frame);
    if (!capture) {
        row.summary.number = std::uint64_t{frame} + 1;
        row.info = QString::fromStdString(capture.error().errorDescription());
        row.isReadable = false;
        return row;
    }
    decoder.decode(*capture, frame, decoded);
    row.summary = decoded.summary;
    text.clear();
    Render::info(decoded, text);
    row.info = asQt(text.text());
    row.comment = QString::fromStdString(decoder.comment(*capture));
    for (const auto& id : fields)
        row.fields.push_back(cellOf(decoded, id, text));
    const auto nodes = decoded.tree.nodes();
    const auto marked = std::ranges::find_if(nodes, [](const Node& node) { return node.expert != Expert::none; });
    if (marked != nodes.end())
        row.expert = marked->expert;
    return row;
}

FrameRowLoader::FrameRowLoader(std::shared_ptr<const FrameIndex> index, FrameStore::OrderedDecoder ordered,
                               QObject* parent)
    : QObject(parent), rules_(std::make_shared<const Rules>()), ordered_(std::move(ordered))
{
    worker_ = std::jthread([this, index = std::move(index)](const std::stop_token& stop) { run(stop, index); });
}

FrameRowLoader::~FrameRowLoader() = default;

void FrameRowLoader::setRules(Rules rules)
{
    const std::lock_guard guard(lock_);
    rules_ = std::make_shared<const Rules>(std::move(rules));
}

void FrameRowLoader::setFields(std::vector<std::string> ids)
{
    const std::lock_guard guard(lock_);
    fields_ = std::move(ids);
}

void FrameRowLoader::request(std::uint64_t page, std::vector<std::uint32_t> frames)
{
    const std::lock_guard guard(lock_);
    std::erase_if(requests_, [&](const Request& request) { return request.page == page; });
    if (requests_.size() == maxRequests)
        requests_.erase(requests_.begin());
    requests_.push_back({page, std::move(frames)});
    wake_.notify_one();
}

std::shared_ptr<const FramePage> FrameRowLoader::take(std::uint64_t page, std::chrono::microseconds patience)
{
    std::unique_lock guard(lock_);
    auto found = ready_.end();
    done_.wait_for(guard, patience, [&] {
        found = std::ranges::find(ready_, page, &Ready::page);
        return found != ready_.end();
    });
    if (found == ready_.end())
        return {};
    auto rows = std::move(found->rows);
    ready_.erase(found);
    return rows;
}

void FrameRowLoader::clear()
{
    const std::lock_guard guard(lock_);
    requests_.clear();
    ready_.clear();
}

void FrameRowLoader::requestDetail(std::uint32_t frame)
{
    const std::lock_guard guard(lock_);
    wantedDetail_ = frame;
    wake_.notify_one();
}

void FrameRowLoader::run(const std::stop_token& stop, const std::shared_ptr<const FrameIndex>& index)
{
    auto decoder = IndexedDecoder::open(index);
    if (!decoder)
        return; // the file vanished between two calls: the rows stay empty
    std::unique_lock guard(lock_);
    while (wake_.wait(guard, stop, [&] { return wantedDetail_ || !requests_.empty(); })) {
        if (wantedDetail_) {
            const auto frame = *std::exchange(wantedDetail_, std::nullopt);
            guard.unlock();
            loadDetail(*decoder, frame);
            guard.lock();
            continue;
        }
        const auto request = std::move(requests_.back());
        requests_.pop_back();
        const auto rules = rules_;
        const auto fields = fields_;
        guard.unlock();
        auto page = std::make_shared<const FramePage>(load(*decoder, request.frames, *rules, fields));
        guard.lock();
        std::erase_if(ready_, [&](const Ready& ready) { return ready.page == request.page; });
        if (ready_.size() == maxReady) // nobody took it in all that time: it went out of view
            ready_.erase(ready_.begin());
        ready_.push_back({request.page, std::move(page)});
        done_.notify_all();
        emit pageReady(request.page); // queued into the window's thread
    }
}

FramePage FrameRowLoader::load(IndexedDecoder& decoder, const std::vector<std::uint32_t>& frames, const Rules& rules,
                               const std::vector<std::string>& fields)
{
    FramePage page;
    page.rows.reserve(frames.size());
    auto [ordered, followed] = ordered_();
    decoder.useContextsOf(std::move(ordered));
    page.followed = followed;
    for (const auto frame : frames) {
        auto& row = page.rows.emplace_back(readRow(decoder, frame, fields, scratch_, text_));
        if (!row.isReadable)
            continue;
        const auto rule =
            std::ranges::find_if(rules, [&](const DisplayFilter& filter) { return filter.matches(scratch_); });
        if (rule != rules.end())
            row.rule = static_cast<std::int8_t>(rule - rules.begin());
    }
    return page;
}

void FrameRowLoader::loadDetail(IndexedDecoder& decoder, std::uint32_t frame)
{
    const auto capture = decoder.fetch(frame);
    if (!capture)
        return emit detailFailed(frame, QString::fromStdString(capture.error().errorDescription()));
    auto detail = std::make_shared<FrameDetail>(*capture);
    auto [ordered, followed] = ordered_();
    decoder.useContextsOf(std::move(ordered));
    detail->followed = followed;
    detail->comment = QString::fromStdString(decoder.comment(*capture));
    decoder.decode(detail->capture, frame, detail->decoded);
    emit detailReady(frame, detail);
}

} // namespace netrondo
