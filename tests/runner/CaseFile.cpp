#include "runner/CaseFile.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace fdrcase {

namespace {

std::runtime_error Malformed(int line, const std::string& why) {
    return std::runtime_error("line " + std::to_string(line) + ": " + why);
}

// "<name a=1 b>" -> name and attributes; the rest of the line after '>' goes to `rest`.
Section OpenTag(const std::string& line, int number, std::string& rest) {
    const size_t close = line.find('>');
    if (line.size() < 2 || line[0] != '<' || close == std::string::npos) {
        throw Malformed(number, "expected a section tag: " + line);
    }
    Section section;
    section.line = number;
    std::istringstream words(line.substr(1, close - 1));
    words >> section.name;
    for (std::string word; words >> word;) {
        const size_t eq = word.find('=');
        section.attributes[word.substr(0, eq)] = eq == std::string::npos ? "" : word.substr(eq + 1);
    }
    rest = line.substr(close + 1);
    return section;
}

}  // namespace

std::vector<Section> ReadCaseFile(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) {
        throw std::runtime_error("cannot read " + file);
    }
    std::vector<Section> sections;
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        if (line.empty() || line[0] == '#') {
            continue;
        }
        std::string rest;
        Section section = OpenTag(line, number, rest);
        const std::string end = "</" + section.name + ">";
        if (!rest.empty()) {  // one-line section
            if (rest.size() < end.size() ||
                rest.compare(rest.size() - end.size(), end.size(), end)) {
                throw Malformed(number, "missing " + end);
            }
            section.text = rest.substr(0, rest.size() - end.size());
            sections.push_back(std::move(section));
            continue;
        }
        std::string text;
        bool closed = false;
        for (bool first = true; std::getline(in, line); first = false) {
            ++number;
            if (line == end) {
                closed = true;
                break;
            }
            text += (first ? "" : "\n") + line;
        }
        if (!closed) {
            throw Malformed(section.line, "missing " + end);
        }
        section.text = std::move(text);
        sections.push_back(std::move(section));
    }
    return sections;
}

}  // namespace fdrcase
