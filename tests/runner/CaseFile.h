// A case file read into its sections: `<name attr=value ...>` opens a section on a line of its
// own and `</name>` closes it; what lies between is kept byte for byte (without the final line
// end). A section may also sit on one line: `<result>0</result>`. Lines outside sections that
// start with '#' are comments.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace fdrcase {

struct Section {
    std::string name;
    std::map<std::string, std::string> attributes;  // a bare attribute has the value ""
    std::string text;
    int line = 0;
};

// The sections in file order; a malformed file throws std::runtime_error naming the line.
std::vector<Section> ReadCaseFile(const std::string& file);

}  // namespace fdrcase
