// Decodes what is in view on a thread of its own: pages of the packet list, and the frame that is looked into.
#pragma once

#include "Dissection/Decode/IndexedDecoder.h"
#include "Dissection/Decode/TextSink.h"
#include "Dissection/Filter/DisplayFilter.h"
#include "Tasks/FrameStore.h"

#include <QObject>
#include <QString>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace netrondo {

/// A field of the protocol tree as a cell of the packet list.
struct FrameCell {
    QString text;
    QString filter; ///< that the first value stands for; empty when it stands for none
};

/// What the packet list shows of a frame; addresses and numbers become text when a row is painted.
struct FrameRow {
    FrameSummary summary;
    QString info;
    QString comment;               ///< what the file itself remarks on the frame
    std::vector<FrameCell> fields; ///< that were asked for, in their order
    std::int8_t rule = -1;         ///< the first colour rule that fits, or none
    Expert expert = Expert::none;  ///< the first finding the frame is marked with
    bool isReadable = true;        ///< false: `info` says why the frame cannot be shown
};
/// Decodes a row of the packet list, all but its colour rule; `decoded` holds the frame afterwards, where it is
/// readable.
FrameRow readRow(IndexedDecoder& decoder, std::uint32_t frame, const std::vector<std::string>& fields,
                 DecodedFrame& decoded, TextSink& text);

struct FramePage {
    std::vector<FrameRow> rows;
    /// How many frames had been decoded in their order when the page was: rows behind may look different later.
    std::uint32_t followed = 0;
};

/// One frame in every detail, with the bytes it views.
struct FrameDetail {
    StoredFrame stored;
    CaptureFrame capture; ///< a view of `stored`
    DecodedFrame decoded;
    QString comment;            ///< what the file itself remarks on the frame
    std::uint32_t followed = 0; ///< as of a page

    explicit FrameDetail(const CaptureFrame& frame) : stored(frame), capture(stored.view()) { }
};

class FrameRowLoader : public QObject {
    Q_OBJECT
public:
    using Rules = std::vector<DisplayFilter>;

    /// `ordered` is asked whenever something is decoded; it may give null.
    FrameRowLoader(std::shared_ptr<const FrameIndex> index, FrameStore::OrderedDecoder ordered,
                   QObject* parent = nullptr);
    ~FrameRowLoader() override;

    /// Pages that are asked for from now on have their rows coloured by these.
    void setRules(Rules rules);
    /// Rows of pages that are asked for from now on have cells for the fields with these ids.
    void setFields(std::vector<std::string> ids);

    /// Asks for a page, by a number that is the asker's own. The page asked for last comes first, and only the latest
    /// few requests are kept: whoever scrolls on has forgotten the others.
    void request(std::uint64_t page, std::vector<std::uint32_t> frames);
    /// Takes a page that is ready, waiting for it at most so long.
    std::shared_ptr<const FramePage> take(std::uint64_t page, std::chrono::microseconds patience);
    /// Forgets all requests and pages.
    void clear();

    /// Asks for a frame in detail; only the latest request is answered.
    void requestDetail(std::uint32_t frame);

signals:
    void pageReady(quint64 page);
    void detailReady(quint32 frame, const std::shared_ptr<const netrondo::FrameDetail>& detail);
    /// The frame cannot be read.
    void detailFailed(quint32 frame, const QString& sentence);

private:
    void run(const std::stop_token& stop, const std::shared_ptr<const FrameIndex>& index);
    FramePage load(IndexedDecoder& decoder, const std::vector<std::uint32_t>& frames, const Rules& rules,
                   const std::vector<std::string>& fields);
    void loadDetail(IndexedDecoder& decoder, std::uint32_t frame);

    struct Request {
        std::uint64_t page;
        std::vector<std::uint32_t> frames;
    };
    struct Ready {
        std::uint64_t page;
        std::shared_ptr<const FramePage> rows;
    };

    std::mutex lock_;
    std::condition_variable_any wake_;
    std::condition_variable_any done_;
    std::vector<Request> requests_; ///< the last one is served first
    std::vector<Ready> ready_;      ///< the one that has waited longest comes first
    std::optional<std::uint32_t> wantedDetail_;
    std::shared_ptr<const Rules> rules_;
    std::vector<std::string> fields_;
    FrameStore::OrderedDecoder ordered_;
    DecodedFrame scratch_;
    TextSink text_;
    std::jthread worker_; ///< last, so that it ends before what it uses
};

} // namespace netrondo
