#include "ShapeChecks.h"

#include "JsonText.h"

namespace fdrsim {

static bool IsKind(const Json::Value& value, JsonKind kind) {
    switch (kind) {
        case JsonKind::String:
            return value.isString();
        case JsonKind::Number:
            return value.isNumeric();
        case JsonKind::Boolean:
            return value.isBool();
        case JsonKind::Array:
            return value.isArray();
        case JsonKind::Object:
            return value.isObject();
    }
    return false;
}

static const char* KindName(JsonKind kind) {
    switch (kind) {
        case JsonKind::String:
            return "string";
        case JsonKind::Number:
            return "number";
        case JsonKind::Boolean:
            return "boolean";
        case JsonKind::Array:
            return "array";
        case JsonKind::Object:
            return "object";
    }
    return "value";
}

static std::string Prefix(const std::string& where) {
    return where.empty() ? std::string() : where + ": ";
}

const Json::Value* ExpectMember(const Json::Value& object, const char* key, JsonKind kind,
                                const std::string& where, Flags& flags) {
    if (!object.isObject() || !object.isMember(key)) {
        AddProblem(flags, Prefix(where) + "\"" + key + "\" is missing");
        return nullptr;
    }
    const Json::Value& member = object[key];
    if (!IsKind(member, kind)) {
        AddProblem(flags, Prefix(where) + "\"" + key + "\" is a " + JsonKindName(member) +
                              ", expected a " + KindName(kind));
        return nullptr;
    }
    return &member;
}

bool ExpectKind(const Json::Value& value, JsonKind kind, const std::string& where, Flags& flags) {
    if (IsKind(value, kind)) {
        return true;
    }
    AddProblem(flags,
               Prefix(where) + "is a " + JsonKindName(value) + ", expected a " + KindName(kind));
    return false;
}

std::string Indexed(const std::string& where, Json::ArrayIndex index) {
    return where + "[" + std::to_string(index) + "]";
}

std::optional<Json::Value> ExpectJsonObject(const std::string& body, Flags& flags) {
    std::string error;
    auto value = ParseJson(body, &error);
    if (!value) {
        AddProblem(flags, body.empty() ? "empty body, expected JSON" : "not JSON: " + error);
        return std::nullopt;
    }
    if (!value->isObject()) {
        AddProblem(flags, std::string("the body is a JSON ") + JsonKindName(*value) +
                              ", expected an object");
        return std::nullopt;
    }
    return value;
}

}  // namespace fdrsim
