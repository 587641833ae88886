#include "runner/CaseFile.h"

#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "support/Text.h"

namespace fdrcase {
namespace {

std::runtime_error Malformed(int line, const std::string& why) {
    return std::runtime_error("line " + std::to_string(line) + ": " + why);
}

// A line as the diff shows it: a carriage return made visible.
std::string Shown(const std::string& line) {
    return fdrtest::ReplaceAll(line, "\r", "^M");
}

}  // namespace

// `<name a=1 b>` opens a section on a line of its own and `</name>` closes it; the text between
// is kept byte for byte, without the final line end. `<name>text</name>` is a one-line section.
// Lines outside sections that start with '#' are comments.
std::vector<Section> ReadCaseFile(const std::string& file, const std::set<std::string>& known) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        throw std::runtime_error("cannot read " + file);
    }
    std::vector<Section> sections;
    std::vector<std::string> comments;
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        if (line.empty() || line[0] == '#') {
            comments.push_back(line);
            continue;
        }
        const size_t close = line.find('>');
        if (line[0] != '<' || close == std::string::npos) {
            throw Malformed(number, "expected a section tag: " + line);
        }
        Section s;
        s.line = number;
        s.comments.swap(comments);
        std::istringstream words(line.substr(1, close - 1));
        words >> s.name;
        if (!known.count(s.name)) {
            throw Malformed(number, "no section " + s.name);
        }
        for (std::string word; words >> word;) {
            const size_t eq = word.find('=');
            s.attributes[word.substr(0, eq)] = eq == std::string::npos ? "" : word.substr(eq + 1);
        }
        const std::string rest = line.substr(close + 1), end = "</" + s.name + ">";
        bool closed = !rest.empty() && rest.size() >= end.size() &&
                      rest.compare(rest.size() - end.size(), end.size(), end) == 0;
        if (closed) {
            s.text = rest.substr(0, rest.size() - end.size());
            s.one_line = true;
        }
        for (bool first = true; rest.empty() && !closed && std::getline(in, line); first = false) {
            ++number;
            closed = line == end;
            s.text += closed ? "" : (first ? "" : "\n") + line;
        }
        if (!closed) {
            throw Malformed(s.line, "missing " + end);
        }
        sections.push_back(std::move(s));
    }
    return sections;
}

void WriteCaseFile(const std::string& file, const std::vector<Section>& sections) {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    for (const auto& s : sections) {
        for (const auto& comment : s.comments) {
            out << comment << "\n";
        }
        out << "<" << s.name;
        for (const auto& [key, value] : s.attributes) {
            out << " " << key << (value.empty() ? "" : "=" + value);
        }
        const bool one_line = s.one_line && s.text.find('\n') == std::string::npos;
        out << ">" << (one_line ? "" : "\n") << s.text << (one_line || s.text.empty() ? "" : "\n")
            << "</" << s.name << ">\n";
    }
}

std::string WholeLines(const Section& section) {
    return section.text.empty() || section.Has("noeol") ? section.text : section.text + "\n";
}

void SetWholeLines(Section& section, const std::string& lines) {
    const bool eol = lines.empty() || lines.back() == '\n';
    section.text = eol && !lines.empty() ? lines.substr(0, lines.size() - 1) : lines;
    if (eol) {
        section.attributes.erase("noeol");
    } else {
        section.attributes["noeol"] = "";
    }
}

// Common leading lines kept, the rest shown as removed (expected) and added (actual).
bool Compare(const std::string& what, const std::string& expected, const std::string& actual) {
    if (expected == actual) {
        return true;
    }
    const auto want = fdrtest::Lines(expected), got = fdrtest::Lines(actual);
    std::cout << "--- expected " << what << "\n+++ actual " << what << "\n";
    size_t same = 0;
    while (same < want.size() && same < got.size() && want[same] == got[same]) {
        std::cout << " " << Shown(want[same++]) << "\n";
    }
    for (size_t i = same; i < want.size(); ++i)
        std::cout << "-" << Shown(want[i]) << "\n";
    for (size_t i = same; i < got.size(); ++i)
        std::cout << "+" << Shown(got[i]) << "\n";
    if (want == got) {
        std::cout << "(line ends differ)\n";
    }
    return false;
}

}  // namespace fdrcase
