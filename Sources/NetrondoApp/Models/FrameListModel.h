// The packet list as Qt's views see it: rows are decoded when they come in view, and nothing is kept for the others.
#pragma once

#include "Analysis/Expert/ExpertCatalog.h"
#include "Dissection/Filter/FilterFrom.h"
#include "Models/FrameColorRules.h"
#include "Tasks/FrameFilterTask.h"
#include "Tasks/FrameRowLoader.h"
#include "Tasks/FrameStore.h"

#include <QAbstractTableModel>
#include <QDeadlineTimer>
#include <QHash>
#include <memory>
#include <optional>
#include <vector>

namespace netrondo {

class CaptureFindings;
struct ExpertFinding;

class FrameListModel : public QAbstractTableModel {
    Q_OBJECT
public:
    enum Column : int {
        number,
        time,
        source,
        destination,
        protocol,
        length,
        sourcePort,
        destinationPort,
        info,
        columns
    };
    enum class TimeFormat { sinceFirst, sincePrevious, timeOfDay, dateAndTime };
    enum Role {
        frameRole = Qt::UserRole, ///< the frame, counted from 0
        markedRole,
        problemRole, ///< what the frame is marked with, in words, or empty
    };

    /// Writes cells as the list shows them at one moment; a value, for any thread.
    struct Cells {
        std::shared_ptr<const FrameIndex> index;
        TimeFormat timeFormat = TimeFormat::sinceFirst;
        FrameStore::HostNames names; ///< null: hosts are shown by their addresses
        FrameNotes::State notes;

        /// `above` is the frame of the row before; of the first row it is its own.
        QString text(const FrameRow& row, int column, std::uint32_t above) const;
        /// What somebody has noted on the frame and what the file remarks, in one line; empty for nothing.
        QString remark(const FrameRow& row) const;

    private:
        QString timeText(const FrameSummary& summary, std::uint32_t above) const;
        QString addressText(const Address& address) const;
    };

    /// A field of the protocol tree that has a column of its own, behind the others.
    struct Field {
        QString id, title;
        friend bool operator==(const Field&, const Field&) = default;
    };

    explicit FrameListModel(QObject* parent = nullptr);

    /// Shows the frames of a store, which lives as long as the model shows it; null for none.
    void setStore(FrameStore* store);
    FrameStore* store() const { return store_; }
    /// Shows only what the task finds, or everything again. The task lives as long as the model shows its matches.
    void setFilter(FrameFilterTask* task);

    void setTimeFormat(TimeFormat format);
    TimeFormat timeFormat() const { return cells_.timeFormat; }
    const Cells& cells() const { return cells_; }
    void setShowsNames(bool shows);
    bool showsNames() const { return showsNames_; }
    void setColorRules(FrameColorRules rules);
    const FrameColorRules& colorRules() const { return rules_; }

    const QList<Field>& fields() const { return fields_; }
    std::vector<std::string> fieldIds() const;
    /// Gives the field a column, if it has none yet, and tells which.
    int addField(const Field& field);
    void removeField(int column);

    /// Marks the frames that have findings which are not muted; null for none.
    void setFindings(std::shared_ptr<const CaptureFindings> findings);
    /// How bad the worst is that the row's frame is marked with, by the findings or by its own bytes.
    std::optional<Severity> severityAt(int row) const;

    /// The frame that a row shows, counted from 0.
    std::uint32_t frameAt(int row) const;
    /// The row that shows the frame, or nothing when it is not among them (yet).
    std::optional<int> rowOf(std::uint32_t frame) const;
    /// The row of the last frame that is not behind this one, -1 when there is none.
    int rowAtOrBefore(std::uint32_t frame) const;
    /// What is decoded of the row now; null while it is still on its way.
    const FrameRow* row(int row) const;
    /// The colour rule of the row, or null.
    const FrameColorRule* ruleAt(int row) const;
    std::shared_ptr<const FrameMatches> matches() const { return matches_; }

    using Kind = FrameNotes::Kind;
    /// From one row to another, both included.
    using Rows = std::pair<int, int>;

    const FrameNotes::State& notes() const { return cells_.notes; }
    bool isMarked(std::uint32_t frame) const { return notes().marked.have(frame); }
    bool isIgnored(int row) const { return notes().ignored.have(frameAt(row)); }
    /// Whether all of the rows are marked, or ignored, or references.
    bool are(Kind kind, const QList<Rows>& rows) const;
    void set(Kind kind, const QList<Rows>& rows, bool isSet);
    void setAllShown(Kind kind);
    void clear(Kind kind);
    /// The next such row behind this one (`step` 1) or before it (-1).
    std::optional<int> next(Kind kind, int from, int step) const;

    /// A frame in detail, answered by `detailReady` or `detailFailed`.
    void requestDetail(std::uint32_t frame);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    QStringList mimeTypes() const override;

    /// The cell as text.
    QString text(int row, int column) const;
    /// The filter that a cell stands for; empty when it stands for none, or is not decoded yet.
    QString filterOf(int row, int column) const;

signals:
    void detailReady(quint32 frame, const std::shared_ptr<const netrondo::FrameDetail>& detail);
    void detailFailed(quint32 frame, const QString& sentence);
    /// What frames are marked with by the findings, or what a person has noted.
    void marksChanged();

private:
    static constexpr int rowsPerPage = 64;
    static constexpr int maxPages = 64;

    struct CachedPage {
        std::shared_ptr<const FramePage> rows;
        std::uint64_t usedAt = 0;
    };

    void makeLoader();
    void forgetPages();
    void fieldsChanged();
    void grow(std::uint32_t count);
    void receive(quint64 page);
    void refresh();
    void request(int page) const;
    void requestAhead(int page) const;
    bool fetch(int page, std::size_t place) const;
    void keep(int page, std::shared_ptr<const FramePage> rows) const;
    std::uint64_t key(int page) const { return generation_ << 32 | static_cast<std::uint32_t>(page); }
    QString problemText(int row) const;
    /// What a row is marked with by the findings.
    struct Mark {
        Finding finding;
        const ExpertFinding* whole; ///< that the frame is evidence of; null where it is one of many more
    };
    std::vector<Mark> marksAt(int row) const;
    bool isMuted(int row, Finding finding) const;
    const ExpertFinding* findingOn(std::uint32_t frame, Finding finding) const;

    FrameStore* store_ = nullptr;
    FrameFilterTask* filter_ = nullptr;
    std::shared_ptr<const FrameMatches> matches_;
    std::unique_ptr<FrameRowLoader> loader_;
    std::uint32_t rows_ = 0;
    std::shared_ptr<const CaptureFindings> findings_;
    std::vector<std::vector<const ExpertFinding*>> findingsByKind_; ///< there are a thousand of a kind at most
    Cells cells_;
    QList<Field> fields_;
    bool showsNames_ = false;
    FrameColorRules rules_;

    // What the views look at, filled as they look.
    std::uint64_t generation_ = 0; ///< pages asked for before it changed are not what is shown
    mutable QHash<int, CachedPage> pages_;
    mutable std::uint64_t clock_ = 0;
    mutable int lastPage_ = 0;                   ///< where the view last looked, for the direction it moves in
    mutable QHash<int, QDeadlineTimer> awaited_; ///< pages that did not come in time, and when to ask for them again
};

} // namespace netrondo
