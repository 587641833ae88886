// Expected text with wildcards, as the exchange and control-API case files write it.
#pragma once

#include <string>

namespace fdrtest {

// Whether `text` is `pattern` with every * standing for any run of characters.
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
