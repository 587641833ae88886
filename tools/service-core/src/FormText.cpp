#include "FormText.h"

namespace fdrsim {

namespace {

int HexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

}  // namespace

std::string PercentDecode(const std::string& text, bool plus_is_space) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (plus_is_space && text[i] == '+') {
            out += ' ';
        } else if (text[i] == '%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 &&
                   HexValue(text[i + 2]) >= 0) {
            out += static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2]));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

FormFields ParseForm(const std::string& text) {
    FormFields fields;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find('&', start);
        if (end == std::string::npos) {
            end = text.size();
        }
        const std::string part = text.substr(start, end - start);
        if (!part.empty()) {
            const size_t eq = part.find('=');
            fields.emplace_back(
                PercentDecode(part.substr(0, eq), true),
                eq == std::string::npos ? "" : PercentDecode(part.substr(eq + 1), true));
        }
        start = end + 1;
    }
    return fields;
}

FormFields DecodeQuery(const std::string& target) {
    const size_t mark = target.find('?');
    return mark == std::string::npos ? FormFields{} : ParseForm(target.substr(mark + 1));
}

}  // namespace fdrsim
