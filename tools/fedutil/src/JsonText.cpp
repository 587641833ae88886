#include "JsonText.h"

#include <cstdio>

#include "json/JsonNumber.h"

namespace fedutil {

namespace {

struct PrintedDeleter {
    void operator()(char* text) const { cJSON_free(text); }
};

bool IsContainer(const cJSON* item) {
    return cJSON_IsObject(item) || cJSON_IsArray(item);
}

// Arrays of a few plain values read best on one line: [true, false], [720, 1280].
bool FitsOnOneLine(const cJSON* array) {
    size_t width = 0;
    for (const cJSON* child = array->child; child != nullptr; child = child->next) {
        if (IsContainer(child)) {
            return false;
        }
        width += CompactJson(child).size() + 2;
    }
    return width <= 72;
}

std::string QuotedKey(const char* key) {
    JsonTree text(cJSON_CreateString(key != nullptr ? key : ""));
    return CompactJson(text.get());
}

void WritePretty(const cJSON* item, int depth, std::string& out) {
    if (!IsContainer(item)) {
        out += CompactJson(item);
        return;
    }
    const bool object = cJSON_IsObject(item);
    if (item->child == nullptr) {
        out += object ? "{}" : "[]";
        return;
    }
    if (!object && FitsOnOneLine(item)) {
        out += '[';
        for (const cJSON* child = item->child; child != nullptr; child = child->next) {
            out += CompactJson(child);
            out += child->next != nullptr ? ", " : "";
        }
        out += ']';
        return;
    }
    out += object ? "{\n" : "[\n";
    for (const cJSON* child = item->child; child != nullptr; child = child->next) {
        out.append(static_cast<size_t>(depth + 1) * 2, ' ');
        if (object) {
            out += QuotedKey(child->string);
            out += ": ";
        }
        WritePretty(child, depth + 1, out);
        out += child->next != nullptr ? ",\n" : "\n";
    }
    out.append(static_cast<size_t>(depth) * 2, ' ');
    out += object ? '}' : ']';
}

}  // namespace

std::string CompactJson(const cJSON* tree) {
    std::unique_ptr<char, PrintedDeleter> text(cJSON_PrintUnformatted(tree));
    return text ? text.get() : "";
}

std::string PrettyJson(const cJSON* tree) {
    std::string out;
    WritePretty(tree, 0, out);
    return out;
}

std::optional<std::string> PrettyJsonText(const std::string& text) {
    JsonTree tree(fdr::json::Parse(text));
    if (!tree) {
        return std::nullopt;
    }
    return PrettyJson(tree.get());
}

}  // namespace fedutil
