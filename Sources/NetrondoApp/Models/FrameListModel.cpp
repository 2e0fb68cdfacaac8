// Rows come in pages: a page is asked for when one of its rows is looked at, together with the next one in the
// direction of the scroll. The loader nearly always answers within the short wait, so that a row is there when it is
// first painted; where a disk is slow the row stays empty until its page arrives, and the window stays alive.
#include "Models/FrameListModel.h"

#include "Dissection/Decode/Render.h"
#include "Models/CaptureFindings.h"
#include "Models/Severities.h"
#include "Models/Text.h"

#include <QMimeData>
#include <algorithm>

namespace netrondo {
namespace {
constexpr auto patience = std::chrono::milliseconds(4);
constexpr auto askAgainAfter = std::chrono::milliseconds(200);

std::optional<FilterFrom::Cell> cellOf(int column)
{
    using Cell = FilterFrom::Cell;
    switch (column) {
    case FrameListModel::number: return Cell::number;
    case FrameListModel::time: return Cell::time;
    case FrameListModel::source: return Cell::source;
    case FrameListModel::destination: return Cell::destination;
    case FrameListModel::protocol: return Cell::protocol;
    case FrameListModel::length: return Cell::length;
    case FrameListModel::sourcePort: return Cell::sourcePort;
    case FrameListModel::destinationPort: return Cell::destinationPort;
    default: return {};
    }
}

QVariant alignmentOf(int column)
{
    switch (column) {
    case FrameListModel::number:
    case FrameListModel::time:
    case FrameListModel::length:
    case FrameListModel::sourcePort:
    case FrameListModel::destinationPort: return QVariant(Qt::AlignRight | Qt::AlignVCenter);
    default: return QVariant(Qt::AlignLeft | Qt::AlignVCenter);
    }
}
} // namespace

FrameListModel::FrameListModel(QObject* parent) : QAbstractTableModel(parent), rules_(FrameColorRules::saved()) { }

void FrameListModel::setStore(FrameStore* store)
{
    beginResetModel();
    if (store_) {
        store_->disconnect(this);
        store_->notes().disconnect(this);
    }
    if (filter_)
        filter_->disconnect(this);
    store_ = store;
    filter_ = nullptr;
    matches_.reset();
    rows_ = 0;
    forgetPages();
    loader_.reset();
    cells_.index.reset();
    cells_.notes = store_ ? store_->notes().now() : FrameNotes::State();
    cells_.names = showsNames_ && store_ ? store_->hostNames() : FrameStore::HostNames();
    if (store_) {
        connect(store_, &FrameStore::opened, this, &FrameListModel::makeLoader);
        connect(store_, &FrameStore::grew, this, [this] {
            if (!filter_)
                grow(store_->count());
        });
        connect(store_, &FrameStore::followedMore, this, &FrameListModel::refresh);
        connect(&store_->notes(), &FrameNotes::changed, this, [this] {
            cells_.notes = store_->notes().now();
            emit marksChanged();
            emit headerDataChanged(Qt::Horizontal, time, time);
        });
        makeLoader();
        rows_ = store_->count();
    }
    endResetModel();
    emit marksChanged();
}

void FrameListModel::makeLoader()
{
    if (!store_->index() || loader_)
        return;
    cells_.index = store_->index();
    loader_ = std::make_unique<FrameRowLoader>(store_->index(), store_->orderedDecoderSource());
    loader_->setRules(rules_.filters());
    loader_->setFields(fieldIds());
    connect(loader_.get(), &FrameRowLoader::pageReady, this, &FrameListModel::receive);
    connect(loader_.get(), &FrameRowLoader::detailReady, this, &FrameListModel::detailReady);
    connect(loader_.get(), &FrameRowLoader::detailFailed, this, &FrameListModel::detailFailed);
}

void FrameListModel::setFilter(FrameFilterTask* task)
{
    beginResetModel();
    if (filter_)
        filter_->disconnect(this);
    filter_ = task;
    matches_ = task ? task->matches() : nullptr;
    rows_ = task ? task->count() : store_ ? store_->count() : 0;
    forgetPages();
    if (task)
        connect(task, &FrameFilterTask::advanced, this, [this, task] { grow(task->count()); });
    endResetModel();
}

void FrameListModel::grow(std::uint32_t count)
{
    // Qt counts rows in an int; more frames than that are in the file all the same and can be filtered.
    count = std::min<std::uint32_t>(count, std::numeric_limits<int>::max());
    if (count <= rows_)
        return;
    beginInsertRows({}, static_cast<int>(rows_), static_cast<int>(count) - 1);
    rows_ = count;
    endInsertRows();
}

void FrameListModel::forgetPages()
{
    ++generation_;
    pages_.clear();
    awaited_.clear();
    if (loader_)
        loader_->clear();
}

void FrameListModel::setTimeFormat(TimeFormat format)
{
    cells_.timeFormat = format;
    if (rows_ > 0)
        emit dataChanged(index(0, time), index(static_cast<int>(rows_) - 1, time));
    emit headerDataChanged(Qt::Horizontal, time, time);
}

void FrameListModel::setShowsNames(bool shows)
{
    showsNames_ = shows;
    cells_.names = shows && store_ ? store_->hostNames() : FrameStore::HostNames();
    if (rows_ > 0)
        emit dataChanged(index(0, source), index(static_cast<int>(rows_) - 1, destination));
}

void FrameListModel::setColorRules(FrameColorRules rules)
{
    rules_ = std::move(rules);
    if (loader_)
        loader_->setRules(rules_.filters());
    forgetPages();
    if (rows_ > 0)
        emit dataChanged(index(0, 0), index(static_cast<int>(rows_) - 1, columnCount() - 1));
}

std::vector<std::string> FrameListModel::fieldIds() const
{
    std::vector<std::string> ids;
    for (const auto& field : fields_)
        ids.push_back(field.id.toStdString());
    return ids;
}

int FrameListModel::addField(const Field& field)
{
    for (qsizetype i = 0; i < fields_.size(); ++i)
        if (fields_[i].id == field.id)
            return columns + static_cast<int>(i);
    const int column = columnCount();
    beginInsertColumns({}, column, column);
    fields_.append(field);
    fieldsChanged();
    endInsertColumns();
    return column;
}

void FrameListModel::removeField(int column)
{
    beginRemoveColumns({}, column, column);
    fields_.removeAt(column - columns);
    fieldsChanged();
    endRemoveColumns();
}

void FrameListModel::fieldsChanged()
{
    if (loader_)
        loader_->setFields(fieldIds());
    forgetPages();
}

std::uint32_t FrameListModel::frameAt(int row) const
{
    const auto place = static_cast<std::uint32_t>(row);
    return matches_ ? (*matches_)[place] : place;
}

int FrameListModel::rowAtOrBefore(std::uint32_t frame) const
{
    std::uint32_t low = 0, high = rows_; // the first row behind the frame lies in between
    while (low < high) {
        const auto middle = low + (high - low) / 2;
        if (frameAt(static_cast<int>(middle)) <= frame)
            low = middle + 1;
        else
            high = middle;
    }
    return static_cast<int>(low) - 1;
}

std::optional<int> FrameListModel::rowOf(std::uint32_t frame) const
{
    const int row = rowAtOrBefore(frame);
    return row >= 0 && frameAt(row) == frame ? std::optional(row) : std::nullopt;
}

void FrameListModel::request(int page) const
{
    const auto first = static_cast<std::uint32_t>(page) * rowsPerPage;
    if (!loader_ || page < 0 || first >= rows_)
        return;
    std::vector<std::uint32_t> frames;
    for (auto row = first; row < std::min(rows_, first + rowsPerPage); ++row)
        frames.push_back(frameAt(static_cast<int>(row)));
    loader_->request(key(page), std::move(frames));
}

void FrameListModel::keep(int page, std::shared_ptr<const FramePage> rows) const
{
    if (pages_.size() >= maxPages && !pages_.contains(page)) {
        const auto oldest = std::min_element(pages_.begin(), pages_.end(),
                                             [](const auto& a, const auto& b) { return a.usedAt < b.usedAt; });
        pages_.erase(oldest);
    }
    pages_[page] = {std::move(rows), ++clock_};
}

void FrameListModel::requestAhead(int page) const
{
    const int ahead = page + (page >= lastPage_ ? 1 : -1);
    if (!pages_.contains(ahead))
        request(ahead);
}

/// Brings a page into the cache if it comes in time, and tells whether it did.
bool FrameListModel::fetch(int page, std::size_t place) const
{
    if (!loader_)
        return false;
    const auto awaited = awaited_.constFind(page);
    if (awaited != awaited_.constEnd() && !awaited->hasExpired())
        return false; // a row has waited for it already; the others of the page need not
    requestAhead(page);
    request(page); // asked for last, served first
    // A loader that was too late with one page of the screen is not waited for with the next as well.
    const bool isLate = std::ranges::any_of(awaited_, [](const QDeadlineTimer& end) { return !end.hasExpired(); });
    const bool mayWait = awaited == awaited_.constEnd() && !isLate;
    auto rows = loader_->take(key(page), mayWait ? patience : std::chrono::milliseconds(0));
    if (!rows || rows->rows.size() <= place) {
        awaited_.insert(page, QDeadlineTimer(askAgainAfter));
        return false;
    }
    awaited_.remove(page);
    keep(page, std::move(rows));
    return true;
}

const FrameRow* FrameListModel::row(int row) const
{
    const int page = row / rowsPerPage;
    const auto place = static_cast<std::size_t>(row % rowsPerPage);
    auto found = pages_.find(page);
    if (found == pages_.end() || found->rows->rows.size() <= place) { // the last page of a list that grows is short
        if (!fetch(page, place))
            return nullptr;
        found = pages_.find(page);
    } else if (page != lastPage_) {
        requestAhead(page);
    }
    lastPage_ = page;
    found->usedAt = ++clock_;
    return &found->rows->rows[place];
}

/// Pages that were decoded before their frames had been followed are decoded once more; `receive` takes them in.
void FrameListModel::refresh()
{
    const auto followed = store_->followed();
    for (auto page = pages_.begin(); page != pages_.end(); ++page) {
        const auto& rows = page->rows->rows;
        const auto last = rows.empty() ? 0 : rows.back().summary.number;
        const auto awaited = awaited_.constFind(page.key());
        const bool isComing = awaited != awaited_.constEnd() && !awaited->hasExpired();
        if (page->rows->followed < last && followed >= last && !isComing) {
            awaited_.insert(page.key(), QDeadlineTimer(askAgainAfter));
            request(page.key());
        }
    }
}

void FrameListModel::receive(quint64 page)
{
    if (!loader_ || page >> 32 != generation_)
        return;
    auto rows = loader_->take(page, std::chrono::microseconds(0));
    if (!rows) // it was taken while it was waited for
        return;
    const int place = static_cast<int>(page & 0xffffffff);
    const int first = place * rowsPerPage, last = first + static_cast<int>(rows->rows.size()) - 1;
    keep(place, std::move(rows));
    awaited_.remove(place);
    if (last >= first && last < static_cast<int>(rows_))
        emit dataChanged(index(first, 0), index(last, columnCount() - 1));
}

const FrameColorRule* FrameListModel::ruleAt(int row) const
{
    const auto* decoded = isIgnored(row) ? nullptr : this->row(row);
    return decoded && decoded->rule >= 0 ? &rules_.rules()[static_cast<std::size_t>(decoded->rule)] : nullptr;
}

void FrameListModel::setFindings(std::shared_ptr<const CaptureFindings> findings)
{
    findings_ = std::move(findings);
    findingsByKind_.assign(static_cast<std::size_t>(Finding::count), {});
    if (findings_)
        for (const auto& finding : findings_->list())
            findingsByKind_[static_cast<std::size_t>(finding.finding)].push_back(&finding);
    emit marksChanged();
}

/// The finding of this kind that the frame, counted from 1, is evidence of, one that is not muted before those that
/// are; null where it is one of many more.
const ExpertFinding* FrameListModel::findingOn(std::uint32_t frame, Finding finding) const
{
    const ExpertFinding* found = nullptr;
    for (const auto* one : findingsByKind_[static_cast<std::size_t>(finding)])
        if ((!found || found->muted) && std::ranges::binary_search(one->evidence, frame))
            found = one;
    return found;
}

bool FrameListModel::isMuted(int row, Finding finding) const
{
    if (!findings_)
        return false;
    if (const auto* const whole = findingOn(frameAt(row) + 1, finding))
        return whole->muted.has_value();
    const auto* const decoded = this->row(row);
    return decoded && findings_->mutedMarks().have(finding, decoded->summary.source, decoded->summary.destination);
}

std::vector<FrameListModel::Mark> FrameListModel::marksAt(int row) const
{
    std::vector<Mark> marks;
    const auto frame = frameAt(row) + 1;
    if (findings_)
        for (const auto finding : findings_->summary().findingsOf(frame))
            if (!isMuted(row, finding))
                marks.push_back({finding, findingOn(frame, finding)});
    return marks;
}

std::optional<Severity> FrameListModel::severityAt(int row) const
{
    std::optional<Severity> worst;
    if (isIgnored(row))
        return worst;
    for (const auto& [finding, whole] : marksAt(row))
        worst = std::max(worst, std::optional(whole ? whole->severity : kindOf(finding).severity));
    const auto* decoded = this->row(row);
    if (!decoded || decoded->expert == Expert::none)
        return worst;
    const auto known = findingOf(expertId(decoded->expert));
    if (isMuted(row, known))
        return worst;
    // What the bytes alone say has a severity of its own only where the catalogue knows it as well.
    return std::max(worst, std::optional(known == Finding::none ? Severity::warning : kindOf(known).severity));
}

QString FrameListModel::problemText(int row) const
{
    QStringList problems;
    if (isIgnored(row))
        return {};
    const auto* decoded = this->row(row);
    const auto known = decoded ? findingOf(expertId(decoded->expert)) : Finding::none;
    if (decoded && decoded->expert != Expert::none && !isMuted(row, known))
        problems << asQt(expertText(decoded->expert));
    for (const auto& [finding, whole] : marksAt(row)) {
        if (finding == known)
            continue;
        // In full where the frame is evidence; a title that names no host is the same for all.
        const auto& kind = kindOf(finding);
        const auto title = whole                      ? ExpertText::title(*whole)
            : kind.title.find('{') == kind.title.npos ? std::string(kind.title)
                                                      : std::string(kind.id);
        problems << QStringLiteral("%1: %2").arg(severityWord(whole ? whole->severity : kind.severity), asQt(title));
    }
    return problems.join(QStringLiteral("; "));
}

bool FrameListModel::are(Kind kind, const QList<Rows>& rows) const
{
    const auto& set = notes().of(kind);
    for (const auto& [first, last] : rows)
        for (int row = first; row <= last; ++row)
            if (!set.have(frameAt(row)))
                return false;
    return true;
}

void FrameListModel::set(Kind kind, const QList<Rows>& rows, bool isSet)
{
    if (!store_)
        return;
    store_->notes().change(kind, [&](FrameSet& set) {
        for (const auto& [first, last] : rows) {
            if (!matches_ && first <= last)
                set.set(static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(last), isSet);
            for (int row = first; matches_ && row <= last; ++row)
                set.set(frameAt(row), frameAt(row), isSet);
        }
    });
}

void FrameListModel::setAllShown(Kind kind)
{
    set(kind, {{0, static_cast<int>(rows_) - 1}}, true);
}

void FrameListModel::clear(Kind kind)
{
    if (store_)
        store_->notes().change(kind, [](FrameSet& set) { set.clear(); });
}

std::optional<int> FrameListModel::next(Kind kind, int from, int step) const
{
    const auto& set = notes().of(kind);
    for (int row = from + step; row >= 0 && row < static_cast<int>(rows_);) {
        const auto frame = step > 0 ? set.next(frameAt(row)) : set.previous(frameAt(row));
        if (!frame)
            break;
        const int place = rowAtOrBefore(*frame);
        if (place >= 0 && frameAt(place) == *frame)
            return place;
        row = step > 0 ? place + 1 : place; // the frame is not shown: on with the next one that is
    }
    return {};
}

void FrameListModel::requestDetail(std::uint32_t frame)
{
    if (loader_)
        loader_->requestDetail(frame);
}

int FrameListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(rows_);
}

int FrameListModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : columns + static_cast<int>(fields_.size());
}

QString FrameListModel::text(int row, int column) const
{
    if (column == number) // known without decoding, so that a list on a slow disk shows where one is
        return QString::number(std::uint64_t{frameAt(row)} + 1);
    const auto* decoded = this->row(row);
    return decoded ? cells_.text(*decoded, column, frameAt(std::max(0, row - 1))) : QString();
}

QString FrameListModel::filterOf(int row, int column) const
{
    const auto* decoded = this->row(row);
    if (!decoded || !decoded->isReadable || isIgnored(row))
        return {};
    if (const auto field = static_cast<std::size_t>(column - columns); column >= columns)
        return field < decoded->fields.size() ? decoded->fields[field].filter : QString();
    const auto cell = cellOf(column);
    if (!cell)
        return {};
    return QString::fromStdString(FilterFrom::cell(decoded->summary, *cell));
}

QVariant FrameListModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= static_cast<int>(rows_))
        return {};
    const int row = index.row();
    switch (role) {
    case Qt::DisplayRole: return text(row, index.column());
    case Qt::ToolTipRole: {
        const auto problem = problemText(row);
        const auto words = text(row, index.column());
        return problem.isEmpty() ? words : words + QLatin1Char('\n') + problem;
    }
    case Qt::TextAlignmentRole: return alignmentOf(index.column());
    case Qt::AccessibleTextRole: {
        auto words = text(row, index.column());
        if (index.column() == number && isMarked(frameAt(row)))
            words += tr(", marked");
        if (index.column() == number && notes().references.have(frameAt(row)))
            words += tr(", time reference");
        if (const auto problem = data(index, problemRole).toString(); index.column() == info && !problem.isEmpty())
            words += tr(", problem: %1").arg(problem);
        return words;
    }
    case frameRole: return frameAt(row);
    case markedRole: return isMarked(frameAt(row));
    case problemRole: return problemText(row);
    default: return {};
    }
}

QVariant FrameListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation == Qt::Horizontal && role == Qt::TextAlignmentRole)
        return alignmentOf(section); // a heading stands over what it heads
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case number: return tr("No.");
    case time:
        switch (cells_.timeFormat) {
        case TimeFormat::sinceFirst: return tr("Time (s)");
        case TimeFormat::sincePrevious: return tr("Since previous (s)");
        case TimeFormat::timeOfDay:
        case TimeFormat::dateAndTime: return notes().shift == 0 ? tr("Time of day") : tr("Time of day, shifted");
        }
        return {};
    case source: return tr("Source");
    case destination: return tr("Destination");
    case protocol: return tr("Protocol");
    case length: return tr("Length");
    case sourcePort: return tr("Source port");
    case destinationPort: return tr("Destination port");
    case info: return tr("Info");
    default: return section < columnCount() ? fields_[section - columns].title : QVariant();
    }
}

Qt::ItemFlags FrameListModel::flags(const QModelIndex& index) const
{
    return index.isValid() ? Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDragEnabled | Qt::ItemNeverHasChildren
                           : Qt::NoItemFlags;
}

QStringList FrameListModel::mimeTypes() const
{
    return {QStringLiteral("text/plain")};
}

QMimeData* FrameListModel::mimeData(const QModelIndexList& indexes) const
{
    // What is dragged is the cell under the pointer: the view passes it first.
    if (indexes.isEmpty())
        return nullptr;
    const auto filter = filterOf(indexes.first().row(), indexes.first().column());
    if (filter.isEmpty())
        return nullptr;
    auto* data = new QMimeData;
    data->setText(filter);
    return data;
}

} // namespace netrondo
