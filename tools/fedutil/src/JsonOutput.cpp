#include "JsonOutput.h"

#include <new>

#include "json/JsonNumber.h"

namespace fedutil {

namespace {

struct PrintedDeleter {
    void operator()(char* text) const { cJSON_free(text); }
};

cJSON* Checked(cJSON* item) {
    if (item == nullptr) {
        throw std::bad_alloc();
    }
    return item;
}

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
    JsonTree text(Checked(cJSON_CreateString(key != nullptr ? key : "")));
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

JsonTree NewObject() {
    return JsonTree(Checked(cJSON_CreateObject()));
}

JsonTree NewArray() {
    return JsonTree(Checked(cJSON_CreateArray()));
}

void Add(cJSON* object, const char* key, cJSON* item) {
    if (!fdr::json::AddItem(object, key, Checked(item))) {
        throw std::bad_alloc();
    }
}

void Add(cJSON* object, const char* key, JsonTree item) {
    Add(object, key, item.release());
}

void AddText(cJSON* object, const char* key, const std::string& text) {
    Add(object, key, cJSON_CreateString(text.c_str()));
}

void Append(cJSON* array, JsonTree item) {
    if (!cJSON_AddItemToArray(array, item.get())) {
        throw std::bad_alloc();
    }
    item.release();
}

JsonTree ParseJsonTree(const std::string& text) {
    return JsonTree(fdr::json::Parse(text));
}

std::string CompactJson(const cJSON* tree) {
    std::unique_ptr<char, PrintedDeleter> text(cJSON_PrintUnformatted(tree));
    if (!text) {
        throw std::bad_alloc();
    }
    return text.get();
}

std::string PrettyJson(const cJSON* tree) {
    std::string out;
    WritePretty(tree, 0, out);
    return out;
}

std::optional<std::string> PrettyJsonText(const std::string& text) {
    JsonTree tree = ParseJsonTree(text);
    if (!tree) {
        return std::nullopt;
    }
    return PrettyJson(tree.get());
}

}  // namespace fedutil
