// Reading a decimal number from text, as the command line and the control API's queries take it.
#pragma once

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace fdrsim {

// Digits only, at most `max_digits` of them, within [low, high].
inline bool ReadWholeNumber(const std::string& text, size_t max_digits, uint64_t low, uint64_t high,
                            uint64_t& out) {
    if (text.empty() || text.size() > max_digits ||
        text.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    errno = 0;
    out = std::strtoull(text.c_str(), nullptr, 10);
    return errno == 0 && out >= low && out <= high;
}

}  // namespace fdrsim
