// Case files, the one format of the suite's data-driven tests (tests/cases/README.md): sections
// with attributes and byte-exact text; and the expected-against-actual diff both runners print.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

namespace fdrcase {

struct Section {
    std::string name;
    std::map<std::string, std::string> attributes;  // a bare attribute has the value ""
    std::string text;                               // without the last line end
    int line = 0;
    bool one_line = false;              // written as <name>text</name>
    std::vector<std::string> comments;  // the comment and blank lines before it, kept on rewrite
    bool Has(const char* key) const { return attributes.count(key) != 0; }
    const std::string& operator[](const char* key) const { return attributes.at(key); }
};

// Every section of the file, in order; a section not named in `known` is an error, as a misspelt
// expectation would otherwise pass unseen.
std::vector<Section> ReadCaseFile(const std::string& file, const std::set<std::string>& known);
void WriteCaseFile(const std::string& file, const std::vector<Section>& sections);

// A section that holds whole lines (a program's output, a file) ends in a line end unless it is
// empty or marked `noeol`.
std::string WholeLines(const Section& section);
void SetWholeLines(Section& section, const std::string& lines);

// Prints "--- expected WHAT" / "+++ actual WHAT" and the lines that differ; true when equal.
bool Compare(const std::string& what, const std::string& expected, const std::string& actual);

}  // namespace fdrcase
