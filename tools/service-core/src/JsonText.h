// Strict JSON reading and compact writing, shared by every service of the simulator.
#pragma once

#include <json/json.h>

#include <optional>
#include <string>

namespace fdrsim {

// Parses `text` as one strict JSON document whose root is an object or an array: no comments,
// no trailing commas, nothing after the value. Repeated keys are accepted (the last one wins)
// because the member bodies of the log service repeat "machine_name". On failure returns
// nothing and, when `error` is given, a one-line reason.
std::optional<Json::Value> ParseJson(const std::string& text, std::string* error = nullptr);

// The value as JSON text without white space; non-ASCII text is written as UTF-8.
std::string CompactJson(const Json::Value& value);

// "string", "number", ...: for messages about a value of the wrong kind.
const char* JsonKindName(const Json::Value& value);

}  // namespace fdrsim
