// Lays out by columns of the terminal, not by bytes, and paints with the eight colours every terminal has.
#include "Page.h"

#include "TextWidth.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace netrondo::cli {
namespace {
std::string_view paint(Tone tone)
{
    constexpr std::array<std::string_view, 6> codes = {"", "\033[1m", "\033[2m", "\033[32m", "\033[33m", "\033[31m"};
    return codes[static_cast<std::size_t>(tone)];
}
} // namespace

void Page::put(std::string_view text, Tone tone)
{
    const bool painted = colour_ && tone != Tone::plain && !text.empty();
    if (painted)
        out_.put(paint(tone));
    out_.put(text);
    if (painted)
        out_.put("\033[0m");
}

void Page::pad(std::size_t columns)
{
    for (; columns > 0; --columns)
        out_.put(' ');
}

void Page::heading(std::string_view title, std::string_view remark)
{
    endLine();
    put(title, Tone::strong);
    if (!remark.empty()) {
        pad(2);
        put(fitted(remark, width_ - std::min(width_, textWidth(title) + 2)), Tone::dim);
    }
    endLine();
}

void Page::paragraph(std::string_view text, std::size_t indent, Tone tone)
{
    std::string line;
    const auto room = width_ - std::min(indent, width_ - 1);
    const auto flush = [&](bool more) {
        put(line, tone);
        endLine();
        if (more)
            pad(indent);
        line.clear();
    };
    while (!text.empty()) {
        const auto end = std::min(text.find(' '), text.size());
        const auto word = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (!line.empty() && textWidth(line) + 1 + textWidth(word) > room)
            flush(true);
        if (!line.empty())
            line += ' ';
        line += word;
    }
    flush(false);
}

std::vector<std::size_t> Table::naturalWidths() const
{
    std::vector<std::size_t> widths;
    for (const auto& column : columns_)
        widths.push_back(textWidth(column.title));
    for (const auto& row : rows_)
        for (std::size_t i = 0; i < row.size() && !row[i].toEnd; ++i)
            widths[i] = std::max(widths[i], textWidth(row[i].text));
    return widths;
}

std::size_t Table::totalOf(const std::vector<std::size_t>& widths)
{
    return std::accumulate(widths.begin(), widths.end(), std::size_t{0}) + gap * (widths.size() - 1);
}

void Table::cut(std::vector<std::size_t>& widths, std::size_t room) const
{
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        const auto total = totalOf(widths);
        if (columns_[i].kind == Column::Kind::flexible && total > room)
            widths[i] -= std::min(total - room, widths[i] - std::min(widths[i], columns_[i].least));
    }
}

std::size_t Table::leastWidth() const
{
    auto widths = naturalWidths();
    cut(widths, 0);
    return totalOf(widths);
}

void Table::print(Page& page) const
{
    auto widths = naturalWidths();
    cut(widths, page.width());
    std::vector<Cell> titles;
    for (const auto& column : columns_)
        titles.push_back({column.title, Tone::dim});
    printRow(page, titles, widths);
    for (const auto& row : rows_)
        printRow(page, row, widths);
}

void Table::printRow(Page& page, const std::vector<Cell>& row, const std::vector<std::size_t>& widths) const
{
    std::size_t at = 0, owed = 0; // blanks are owed until something follows them: no line ends in blanks
    for (std::size_t i = 0; i < row.size(); ++i) {
        const auto left = page.width() - std::min(page.width(), at);
        const auto width = row[i].toEnd ? left : std::min(widths[i], left);
        const auto text = fitted(row[i].text, width);
        const auto used = textWidth(text);
        const auto blanks = row[i].toEnd ? 0 : width - std::min(width, used);
        const auto before = columns_[i].kind == Column::Kind::number && !row[i].toEnd ? blanks : 0;
        if (!text.empty()) {
            page.pad(owed + before);
            owed = 0;
            page.put(text, row[i].tone);
            owed = blanks - before + gap;
        } else {
            owed += blanks + gap;
        }
        at += width + gap;
    }
    page.endLine();
}

} // namespace netrondo::cli
