// Aligned text for the terminal, coloured only on a terminal.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace fedutil {

enum class Tone { Plain, Good, Bad, Warn, Dim, Strong };

class Style {
  public:
    explicit Style(bool colour) : colour_(colour) {}
    // Colour when `fd` is a terminal, NO_COLOR is unset and TERM is not "dumb".
    static Style ForDescriptor(int fd);

    std::string Paint(const std::string& text, Tone tone) const;

  private:
    bool colour_;
};

// Width on a terminal: UTF-8 code points, one column each.
size_t DisplayWidth(const std::string& text);
// `text` cut to `width` columns, ending in "…" when it was longer.
std::string Ellipsize(const std::string& text, size_t width);
// "1 member", "3 members".
std::string Plural(size_t count, const char* one, const char* many);

struct Cell {
    Cell(std::string text = std::string(), Tone tone = Tone::Plain)
        : text(std::move(text)), tone(tone) {}
    Cell(const char* text, Tone tone = Tone::Plain) : text(text), tone(tone) {}
    std::string text;
    Tone tone;
};

class TextTable {
  public:
    // The columns `right` are aligned right; cells wider than their column's `limits` (0 for
    // none) are cut with "…".
    explicit TextTable(std::vector<std::string> headers, std::vector<bool> right = {},
                       std::vector<size_t> limits = {});
    void AddRow(std::vector<Cell> row);
    bool Empty() const { return rows_.empty(); }

    // Header in bold, then the rows; columns two spaces apart; the last column is not padded.
    void Print(std::ostream& out, const Style& style) const;

  private:
    std::vector<std::string> headers_;
    std::vector<bool> right_;
    std::vector<size_t> limits_;
    std::vector<std::vector<Cell>> rows_;
};

// One table row, indented by two spaces: the cells padded to `widths` (on the left where
// `right`), two spaces apart, the last one not padded, no trailing blanks.
std::string TableLine(const Style& style, const std::vector<Cell>& cells,
                      const std::vector<size_t>& widths, const std::vector<bool>& right);

}  // namespace fedutil
