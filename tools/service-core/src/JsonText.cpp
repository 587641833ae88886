#include "JsonText.h"

#include <memory>

namespace fdrsim {

std::optional<Json::Value> ParseJson(const std::string& text, std::string* error) {
    // One per thread: a jsoncpp reader keeps parse state and the services parse concurrently.
    thread_local const std::unique_ptr<Json::CharReader> reader = [] {
        Json::CharReaderBuilder builder;
        Json::CharReaderBuilder::strictMode(&builder.settings_);
        builder.settings_["rejectDupKeys"] = false;
        return std::unique_ptr<Json::CharReader>(builder.newCharReader());
    }();
    Json::Value value;
    std::string reason;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &reason)) {
        if (error != nullptr) {
            // jsoncpp's message spans lines ("* Line 1, Column 9\n  Syntax error: ...").
            for (char& c : reason) {
                if (c == '\n') {
                    c = ' ';
                }
            }
            auto start = reason.find_first_not_of("* ");
            auto end = reason.find_last_not_of(' ');
            *error =
                start == std::string::npos ? "not JSON" : reason.substr(start, end - start + 1);
        }
        return std::nullopt;
    }
    return value;
}

std::string CompactJson(const Json::Value& value) {
    static const Json::StreamWriterBuilder builder = [] {
        Json::StreamWriterBuilder b;
        b["indentation"] = "";
        b["emitUTF8"] = true;
        // 15 significant digits print 0.1 as 0.1 rather than 0.10000000000000001.
        b["precision"] = 15;
        return b;
    }();
    return Json::writeString(builder, value);
}

const char* JsonKindName(const Json::Value& value) {
    // In the order of Json::ValueType.
    static const char* const kNames[] = {"null",   "number",  "number", "number",
                                         "string", "boolean", "array",  "object"};
    return kNames[value.type()];
}

}  // namespace fdrsim
