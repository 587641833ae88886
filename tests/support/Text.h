// Text as the tests compare it: lines, replacements, and expectations with wildcards.
#pragma once

#include <sstream>
#include <string>
#include <vector>

namespace fdrtest {

// The lines of `text`, without their line ends (a last line end opens no further line).
inline std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

// `text` with every `from` replaced by `to`, left to right.
inline std::string ReplaceAll(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = 0; !from.empty() && (at = text.find(from, at)) != std::string::npos;) {
        text.replace(at, from.size(), to);
        at += to.size();
    }
    return text;
}

// Whether `text` is `pattern` with every * standing for any run of characters (the exchange and
// control-API scripts write their expectations so).
inline bool GlobMatches(const std::string& pattern, const std::string& text) {
    size_t p = 0, t = 0, star = std::string::npos, resume = 0;
    while (t < text.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            resume = t;
        } else if (p < pattern.size() && pattern[p] == text[t]) {
            ++p, ++t;
        } else if (star != std::string::npos) {
            p = star + 1;
            t = ++resume;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string::npos;
}

}  // namespace fdrtest
