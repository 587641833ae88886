// Checks of a JSON body's shape that record what they find as flags rather than rejecting.
#pragma once

#include <json/json.h>

#include <optional>
#include <string>

#include "Exchange.h"

namespace fdrsim {

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
