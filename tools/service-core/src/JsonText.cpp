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

Json::Value JsonObject(std::initializer_list<std::pair<const char*, Json::Value>> members) {
    Json::Value object(Json::objectValue);
    for (const auto& [key, value] : members) {
        object[key] = value;
    }
    return object;
}

const char* JsonKindName(const Json::Value& value) {
    // In the order of Json::ValueType.
    static const char* const kNames[] = {"null",   "number",  "number", "number",
                                         "string", "boolean", "array",  "object"};
    return kNames[value.type()];
}

namespace {

struct KindTest {
    const char* name;
    bool (Json::Value::*is)() const;
};
// In the order of JsonKind.
constexpr KindTest kKinds[] = {{"string", &Json::Value::isString},
                               {"number", &Json::Value::isNumeric},
                               {"boolean", &Json::Value::isBool},
                               {"array", &Json::Value::isArray},
                               {"object", &Json::Value::isObject}};

bool Problem(Flags& flags, const std::string& where, const std::string& text) {
    AddProblem(flags, (where.empty() ? "" : where + ": ") + text);
    return false;
}

std::string Mismatch(const Json::Value& value, JsonKind kind) {
    return std::string("is a ") + JsonKindName(value) + ", expected a " +
           kKinds[static_cast<int>(kind)].name;
}

bool Is(const Json::Value& value, JsonKind kind) {
    const KindTest& test = kKinds[static_cast<int>(kind)];
    return (value.*test.is)();
}

}  // namespace

const Json::Value* ExpectMember(const Json::Value& object, const char* key, JsonKind kind,
                                const std::string& where, Flags& flags) {
    const std::string quoted = std::string("\"") + key + "\" ";
    if (!object.isObject() || !object.isMember(key)) {
        Problem(flags, where, quoted + "is missing");
        return nullptr;
    }
    const Json::Value& member = object[key];
    if (!Is(member, kind)) {
        Problem(flags, where, quoted + Mismatch(member, kind));
        return nullptr;
    }
    return &member;
}

bool ExpectKind(const Json::Value& value, JsonKind kind, const std::string& where, Flags& flags) {
    return Is(value, kind) || Problem(flags, where, Mismatch(value, kind));
}

std::string Indexed(const std::string& where, Json::ArrayIndex index) {
    return where + "[" + std::to_string(index) + "]";
}

std::optional<Json::Value> ExpectJsonObject(const std::string& body, Flags& flags) {
    std::string error;
    auto value = ParseJson(body, &error);
    if (!value) {
        Problem(flags, "", body.empty() ? "empty body, expected JSON" : "not JSON: " + error);
    } else if (!value->isObject()) {
        Problem(flags, "",
                std::string("the body is a JSON ") + JsonKindName(*value) + ", expected an object");
        value.reset();
    }
    return value;
}

}  // namespace fdrsim
