// Aligned text tables for the terminal, coloured only when the output is a terminal.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace fedutil {

enum class Tone { Plain, Good, Bad, Warn, Dim, Strong };

class Style {
  public:
    explicit Style(bool colour) : colour_(colour) {}
    // Colour when `fd` is a terminal, NO_COLOR is unset and TERM is not "dumb".
    static Style ForDescriptor(int fd);

    bool Colour() const { return colour_; }
    std::string Paint(const std::string& text, Tone tone) const;

  private:
    bool colour_;
};

// Width on a terminal: UTF-8 code points, one column each.
size_t DisplayWidth(const std::string& text);
// `text` cut to `width` columns, ending in "…" when it was longer.
std::string Ellipsize(const std::string& text, size_t width);

struct Cell {
    Cell(std::string text = std::string(), Tone tone = Tone::Plain)
        : text(std::move(text)), tone(tone) {}
    Cell(const char* text, Tone tone = Tone::Plain) : text(text), tone(tone) {}
    std::string text;
    Tone tone;
};

class TextTable {
  public:
    explicit TextTable(std::vector<std::string> headers);

    void AlignRight(size_t column);
    // Cells wider than `width` are cut with "…".
    void LimitWidth(size_t column, size_t width);
    void AddRow(std::vector<Cell> row);
    bool Empty() const { return rows_.empty(); }

    // Header in bold, then the rows; columns two spaces apart; the last column is not padded.
    void Print(std::ostream& out, const Style& style, const std::string& indent = "  ") const;

  private:
    std::vector<std::string> headers_;
    std::vector<bool> right_;
    std::vector<size_t> limits_;
    std::vector<std::vector<Cell>> rows_;
};

}  // namespace fedutil
