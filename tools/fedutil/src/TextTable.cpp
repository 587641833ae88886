#include "TextTable.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace fedutil {

Style Style::ForDescriptor(int fd) {
    const char* no_colour = std::getenv("NO_COLOR");
    const char* term = std::getenv("TERM");
    const bool dumb = term == nullptr || std::strcmp(term, "dumb") == 0;
    return Style(isatty(fd) == 1 && (no_colour == nullptr || *no_colour == '\0') && !dumb);
}

std::string Style::Paint(const std::string& text, Tone tone) const {
    if (!colour_ || tone == Tone::Plain || text.empty()) {
        return text;
    }
    const char* code = "";
    switch (tone) {
        case Tone::Good:
            code = "\033[32m";
            break;
        case Tone::Bad:
            code = "\033[1;31m";
            break;
        case Tone::Warn:
            code = "\033[33m";
            break;
        case Tone::Dim:
            code = "\033[2m";
            break;
        case Tone::Strong:
            code = "\033[1m";
            break;
        case Tone::Plain:
            break;
    }
    return code + text + "\033[0m";
}

std::string Plural(size_t count, const char* one, const char* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

size_t DisplayWidth(const std::string& text) {
    size_t width = 0;
    for (unsigned char c : text) {
        width += (c & 0xC0) != 0x80 ? 1 : 0;
    }
    return width;
}

std::string Ellipsize(const std::string& text, size_t width) {
    if (DisplayWidth(text) <= width || width == 0) {
        return text;
    }
    std::string out;
    size_t columns = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if ((c & 0xC0) != 0x80 && ++columns == width) {
            break;
        }
        out += text[i];
    }
    return out + "…";
}

TextTable::TextTable(std::vector<std::string> headers, std::vector<bool> right,
                     std::vector<size_t> limits)
    : headers_(std::move(headers)), right_(std::move(right)), limits_(std::move(limits)) {
    right_.resize(headers_.size(), false);
    limits_.resize(headers_.size(), 0);
}

void TextTable::AddRow(std::vector<Cell> row) {
    row.resize(headers_.size());
    for (size_t i = 0; i < row.size(); ++i) {
        if (limits_[i] != 0) {
            row[i].text = Ellipsize(row[i].text, limits_[i]);
        }
    }
    rows_.push_back(std::move(row));
}

void TextTable::Print(std::ostream& out, const Style& style) const {
    std::vector<size_t> widths(headers_.size(), 0);
    for (size_t i = 0; i < headers_.size(); ++i) {
        widths[i] = DisplayWidth(headers_[i]);
        for (const auto& row : rows_) {
            widths[i] = std::max(widths[i], DisplayWidth(row[i].text));
        }
    }
    std::vector<Cell> header;
    for (const auto& title : headers_) {
        header.emplace_back(title, Tone::Strong);
    }
    out << TableLine(style, header, widths, right_) << '\n';
    for (const auto& row : rows_) {
        out << TableLine(style, row, widths, right_) << '\n';
    }
}

std::string TableLine(const Style& style, const std::vector<Cell>& cells,
                      const std::vector<size_t>& widths, const std::vector<bool>& right) {
    std::string text = "  ";
    for (size_t i = 0; i < cells.size(); ++i) {
        const bool last = i + 1 == cells.size();
        const size_t length = DisplayWidth(cells[i].text);
        const size_t pad = widths[i] > length ? widths[i] - length : 0;
        if (right[i]) {
            text.append(pad, ' ');
        }
        text += style.Paint(cells[i].text, cells[i].tone);
        if (!right[i] && !last) {
            text.append(pad, ' ');
        }
        if (!last) {
            text += "  ";
        }
    }
    while (!text.empty() && text.back() == ' ') {
        text.pop_back();
    }
    return text;
}

}  // namespace fedutil
