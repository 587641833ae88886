// Strict JSON reading and compact writing, shared by every service of the simulator, and the
// checks of a body's shape that record what they find as flags rather than rejecting.
#pragma once

#include <json/json.h>

#include <initializer_list>
#include <optional>
#include <string>
#include <utility>

#include "Exchange.h"

namespace fdrsim {

// Parses `text` as one strict JSON document whose root is an object or an array: no comments,
// no trailing commas, nothing after the value. Repeated keys are accepted (the last one wins)
// because the member bodies of the log service repeat "machine_name". On failure returns
// nothing and, when `error` is given, a one-line reason.
std::optional<Json::Value> ParseJson(const std::string& text, std::string* error = nullptr);

// The value as JSON text without white space; non-ASCII text is written as UTF-8.
std::string CompactJson(const Json::Value& value);

// A JSON object of the given members (written in key order, as jsoncpp keeps them).
Json::Value JsonObject(std::initializer_list<std::pair<const char*, Json::Value>> members);

// A JSON array of `items`, each written by `write` (an empty one is still an array).
template <typename Items, typename Write>
Json::Value JsonArray(const Items& items, Write write) {
    Json::Value array(Json::arrayValue);
    for (const auto& item : items) {
        array.append(write(item));
    }
    return array;
}

// "string", "number", ...: for messages about a value of the wrong kind.
const char* JsonKindName(const Json::Value& value);

enum class JsonKind { String, Number, Boolean, Array, Object };

// The member `key` of `object` when it is of the wanted kind; otherwise records a problem
// naming `where` (the member's parent, "" for the root) and returns null.
const Json::Value* ExpectMember(const Json::Value& object, const char* key, JsonKind kind,
                                const std::string& where, Flags& flags);

// Records a problem unless `value` is of the wanted kind; returns whether it is.
bool ExpectKind(const Json::Value& value, JsonKind kind, const std::string& where, Flags& flags);

// "autonomy_list[2]".
std::string Indexed(const std::string& where, Json::ArrayIndex index);

// Parses the body as a JSON object; records "not JSON: <reason>" or "not a JSON object" as a
// problem and returns null when it is neither.
std::optional<Json::Value> ExpectJsonObject(const std::string& body, Flags& flags);

}  // namespace fdrsim
