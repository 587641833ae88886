// JSON output: trees built with the library's own helpers, so that keys keep their order and
// 64-bit numbers stay exact, printed compact or indented.
#pragma once

#include <cjson/cJSON.h>

#include <optional>
#include <string>

#include "json/JsonTree.h"

namespace fedutil {

using JsonTree = fdr::jsontree::Tree;
using fdr::jsontree::AddText;

// Attaches `tree` under `key` (which must outlive `object`) or into `array`.
inline void Add(cJSON* object, const char* key, JsonTree tree) {
    fdr::jsontree::Attach(object, key, tree.release());
}
inline void Append(cJSON* array, JsonTree item) {
    if (cJSON_AddItemToArray(array, item.get())) {
        item.release();
    }
}

// One line, no spaces.
std::string CompactJson(const cJSON* tree);
// Objects one member a line, two spaces a level; arrays of a few plain values stay on one line.
std::string PrettyJson(const cJSON* tree);
// PrettyJson of `text` when it is JSON.
std::optional<std::string> PrettyJsonText(const std::string& text);

}  // namespace fedutil
