#include "Fedutil.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <limits>
#include <memory>
#include <sstream>

namespace fedutil {

namespace {

std::string Describe(const std::string& source, const std::string& place,
                     const std::string& problem) {
    return source + ": " + (place.empty() ? "" : place + ": ") + problem;
}

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

Json::Value ReadJsonFile(const std::string& path) {
    return ParseJsonInput(ReadInputText(path), path == "-" ? "standard input" : path);
}

std::string CompactJsonText(const Json::Value& value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

JsonFields::JsonFields(const Json::Value& object, std::string source, std::string where)
    : object_(object), source_(std::move(source)), where_(std::move(where)) {}

const Json::Value* JsonFields::Get(const char* key) const {
    const Json::Value* member = object_.find(key, key + std::strlen(key));
    return member == nullptr || member->isNull() ? nullptr : member;
}

std::string JsonFields::Place(const char* key) const {
    return where_.empty() ? key : where_ + "." + key;
}

std::string JsonFields::Place(const char* key, Json::ArrayIndex index) const {
    return Place(key) + "[" + std::to_string(index) + "]";
}

void JsonFields::Fail(const std::string& place, const std::string& problem) const {
    throw InputError(Describe(source_, place, problem));
}

void JsonFields::Expect(bool right, const char* key, const char* expected) const {
    if (!right) {
        Fail(Place(key), std::string("expected ") + expected);
    }
}

const Json::Value* JsonFields::Array(const char* key) const {
    const Json::Value* member = Get(key);
    Expect(member == nullptr || member->isArray(), key, "an array");
    return member;
}

const Json::Value* JsonFields::Object(const char* key) const {
    const Json::Value* member = Get(key);
    Expect(member == nullptr || member->isObject(), key, "an object");
    return member;
}

JsonFields ObjectAt(const Json::Value& value, const std::string& source, const std::string& where) {
    if (!value.isObject()) {
        throw InputError(Describe(source, where, "expected an object"));
    }
    return JsonFields(value, source, where);
}

}  // namespace fedutil
