// Text laid out for a screen: headings, wrapped paragraphs and tables whose columns fit.
#pragma once

#include "Base/TextOutput.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace netrondo::cli {

/// How a piece of text is meant; on a screen without colour it looks plain.
enum class Tone { plain, strong, dim, good, fair, poor };

class Page {
public:
    Page(TextOutput& out, std::size_t width, bool colour) : out_(out), width_(width), colour_(colour) { }

    std::size_t width() const { return width_; }
    void put(std::string_view text, Tone tone = Tone::plain);
    void pad(std::size_t columns);
    void endLine() { out_.put('\n'); }
    /// An empty line, a heading, and beside it what qualifies it.
    void heading(std::string_view title, std::string_view remark = {});
    /// Words, broken into lines between the column `indent` and the page's width; the first line is at `indent`
    /// already.
    void paragraph(std::string_view text, std::size_t indent, Tone tone = Tone::plain);

private:
    TextOutput& out_;
    std::size_t width_;
    bool colour_;
};

struct Cell {
    std::string text;
    Tone tone = Tone::plain;
    bool toEnd = false; ///< takes the rest of the line, whatever the columns there
};

struct Column {
    enum class Kind {
        text,     ///< left-aligned
        number,   ///< right-aligned
        flexible, ///< left-aligned, and the one that is cut or grows where the page is narrow or wide
    };
    std::string title;
    Kind kind = Kind::text;
    std::size_t least = 12; ///< what a flexible column is not cut below
};

class Table {
public:
    explicit Table(std::vector<Column> columns) : columns_(std::move(columns)) { }

    void add(std::vector<Cell> row) { rows_.push_back(std::move(row)); }
    /// The columns it takes with its flexible columns cut as far as they may be.
    std::size_t leastWidth() const;
    void print(Page& page) const;

private:
    std::vector<std::size_t> naturalWidths() const;
    static std::size_t totalOf(const std::vector<std::size_t>& widths);
    /// Cuts flexible columns, the first ones first, until all fits into `room` or they are as narrow as they may be.
    void cut(std::vector<std::size_t>& widths, std::size_t room) const;
    void printRow(Page& page, const std::vector<Cell>& row, const std::vector<std::size_t>& widths) const;

    static constexpr std::size_t gap = 2;

    std::vector<Column> columns_;
    std::vector<std::vector<Cell>> rows_;
};

} // namespace netrondo::cli
