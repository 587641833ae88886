// JSON trees for fedutil's output, built with the library's own cJSON helpers so that keys keep
// their order and 64-bit numbers stay exact, and printed with two-space indentation.
#pragma once

#include <cjson/cJSON.h>

#include <memory>
#include <optional>
#include <string>

namespace fedutil {

struct JsonTreeDeleter {
    void operator()(cJSON* tree) const { cJSON_Delete(tree); }
};
using JsonTree = std::unique_ptr<cJSON, JsonTreeDeleter>;

// A new object; std::bad_alloc when memory runs out.
JsonTree NewObject();
JsonTree NewArray();
// Adders that take ownership of `item` (std::bad_alloc when memory runs out).
void Add(cJSON* object, const char* key, cJSON* item);
void Add(cJSON* object, const char* key, JsonTree item);
void AddText(cJSON* object, const char* key, const std::string& text);
void Append(cJSON* array, JsonTree item);

// `text` parsed (numbers exact), or null when it is not JSON.
JsonTree ParseJsonTree(const std::string& text);

// One line, no spaces.
std::string CompactJson(const cJSON* tree);
// Objects one member a line, two spaces a level; arrays of a few plain values stay on one line.
std::string PrettyJson(const cJSON* tree);
// PrettyJson of `text` when it is JSON.
std::optional<std::string> PrettyJsonText(const std::string& text);

}  // namespace fedutil
