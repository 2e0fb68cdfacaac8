// The cells of the packet list as text, on whatever thread somebody wants them.
#include "Dissection/Decode/Render.h"
#include "Models/FrameListModel.h"
#include "Models/FrameTimes.h"
#include "Models/Text.h"

namespace netrondo {
namespace {
constexpr qsizetype mostRemarked = 200; ///< in a row; the tree has all of it

QString seconds(std::int64_t nanoseconds)
{
    TextSink out;
    Render::time(nanoseconds, out);
    return asQt(out.text());
}
} // namespace

QString FrameListModel::Cells::addressText(const Address& address) const
{
    if (names) {
        if (auto name = names(address); !name.isEmpty())
            return name;
    }
    char text[Address::maxText];
    return QString::fromLatin1(text, static_cast<qsizetype>(address.write(text)));
}

QString FrameListModel::Cells::timeText(const FrameSummary& summary, std::uint32_t above) const
{
    const auto frame = static_cast<std::uint32_t>(summary.number - 1);
    const auto timeOfDay = FrameTimes::shifted(index->nanoseconds(frame), notes.shift);
    switch (timeFormat) {
    case TimeFormat::sinceFirst: {
        if (notes.references.have(frame))
            return tr("Reference");
        const auto reference = notes.references.previous(frame);
        return seconds(reference ? index->nanoseconds(frame) - index->nanoseconds(*reference) : summary.nanoseconds);
    }
    case TimeFormat::sincePrevious: // the one above it in the list, whatever a filter leaves out
        return seconds(index->nanoseconds(frame) - index->nanoseconds(above));
    case TimeFormat::timeOfDay: return FrameTimes::clock(timeOfDay, QStringLiteral("HH:mm:ss"));
    case TimeFormat::dateAndTime: return FrameTimes::clock(timeOfDay, QStringLiteral("yyyy-MM-dd HH:mm:ss"));
    }
    return {};
}

QString FrameListModel::Cells::remark(const FrameRow& row) const
{
    const auto frame = static_cast<std::uint32_t>(row.summary.number - 1);
    const QStringList both = {notes.notes.value(frame), row.comment};
    return both.join(QLatin1Char(' ')).simplified().left(mostRemarked);
}

QString FrameListModel::Cells::text(const FrameRow& row, int column, std::uint32_t above) const
{
    const auto& summary = row.summary;
    if (column == number)
        return QString::number(summary.number);
    if (!row.isReadable)
        return column == info ? row.info : QString();
    if (column == info) {
        const auto said = notes.ignored.have(static_cast<std::uint32_t>(summary.number - 1)) ? tr("Ignored") : row.info;
        const auto remarked = remark(row);
        return remarked.isEmpty() ? said : tr("Note: %1 — %2").arg(remarked, said);
    }
    if (column != time && notes.ignored.have(static_cast<std::uint32_t>(summary.number - 1)))
        return {};
    const bool hasPorts = summary.transport != Transport::none;
    switch (column) {
    case time: return timeText(summary, above);
    case source: return addressText(summary.source);
    case destination: return addressText(summary.destination);
    case protocol: return asQt(Render::protocol(summary));
    case length: return QString::number(summary.length);
    case sourcePort: return hasPorts ? QString::number(summary.sourcePort) : QString();
    case destinationPort: return hasPorts ? QString::number(summary.destinationPort) : QString();
    default: {
        const auto field = static_cast<std::size_t>(column - columns);
        return column >= columns && field < row.fields.size() ? row.fields[field].text : QString();
    }
    }
}

} // namespace netrondo
