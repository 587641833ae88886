#include "Fedutil.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>

namespace fedutil {

namespace {

// jsoncpp reports "* Line 3, Column 14\n  Missing ',' or '}' in object declaration\n..."; only
// the first error is worth showing, as "FILE:3:14: Missing ...".
std::string FirstParseError(const std::string& errors, const std::string& source) {
    int line = 0;
    int column = 0;
    int consumed = 0;
    if (std::sscanf(errors.c_str(), "* Line %d, Column %d%n", &line, &column, &consumed) != 2) {
        return source + ": not valid JSON";
    }
    const size_t start = errors.find_first_not_of(" \n", static_cast<size_t>(consumed));
    const std::string message =
        start == std::string::npos ? "" : errors.substr(start, errors.find('\n', start) - start);
    return source + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + message;
}

}  // namespace

std::string ReadInputText(const std::string& path) {
    std::ostringstream text;
    if (path == "-") {
        text << std::cin.rdbuf();
        if (std::cin.bad()) {
            throw InputError("cannot read standard input");
        }
        return text.str();
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw InputError("cannot read " + path + ": " + std::strerror(errno));
    }
    text << in.rdbuf();
    if (in.bad()) {
        throw InputError("cannot read " + path + ": " + std::strerror(errno));
    }
    return text.str();
}

Json::Value ParseJsonInput(const std::string& text, const std::string& source) {
    // Strict: a trailing comma or a duplicate key in a hand-edited file is a mistake to point
    // out, not to guess about.
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    if (text.find_first_not_of(" \t\r\n") == std::string::npos) {
        throw InputError(source + ": empty, expected JSON");
    }
    if (!reader->parse(text.data(), text.data() + text.size(), &root, &errors)) {
        throw InputError(FirstParseError(errors, source));
    }
    return root;
}

}  // namespace fedutil
