#include "ShapeChecks.h"

#include "JsonText.h"

namespace fdrsim {

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

}  // namespace

const Json::Value* ExpectMember(const Json::Value& object, const char* key, JsonKind kind,
                                const std::string& where, Flags& flags) {
    const std::string quoted = std::string("\"") + key + "\" ";
    if (!object.isObject() || !object.isMember(key)) {
        Problem(flags, where, quoted + "is missing");
        return nullptr;
    }
    const Json::Value& member = object[key];
    if (!(member.*kKinds[static_cast<int>(kind)].is)()) {
        Problem(flags, where, quoted + Mismatch(member, kind));
        return nullptr;
    }
    return &member;
}

bool ExpectKind(const Json::Value& value, JsonKind kind, const std::string& where, Flags& flags) {
    return (value.*kKinds[static_cast<int>(kind)].is)() ||
           Problem(flags, where, Mismatch(value, kind));
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
