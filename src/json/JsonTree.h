// The primitives every answer reader and body writer of the library shares, reading side and
// writing side next to each other. Numbers always go through JsonNumber.h.
#pragma once

#include <cjson/cJSON.h>

#include <cctype>
#include <cstdint>
#include <memory>
#include <string>

#include "json/JsonNumber.h"

namespace fdr::jsontree {

struct TreeDeleter {
    void operator()(cJSON* tree) const { cJSON_Delete(tree); }
};
// A parsed document or a tree being built; released on every path, also when a copy throws.
using Tree = std::unique_ptr<cJSON, TreeDeleter>;

// ---- Reading ----

// Looks members up as cJSON_GetObjectItem does (the first whose name matches
// case-insensitively), but from a cursor that expects them in the order in which the caller asks
// for them (the order the services and our own writers use): each look-up then costs one
// comparison instead of a walk over the members before it. The keys asked of one object are all
// different, so a member the cursor has passed was the first match of another key and cannot be
// the first match of the key asked now. Once the order breaks, every further look-up walks the
// members as cJSON does. A null object (an absent group) holds nothing.
class Members {
  public:
    explicit Members(const cJSON* object)
        : object_(object), next_(object != nullptr ? object->child : nullptr) {}

    const cJSON* Get(const char* key) {
        if (in_order_ && next_ != nullptr && SameKey(next_->string, key)) {
            const cJSON* found = next_;
            next_ = next_->next;
            return found;
        }
        in_order_ = false;
        return cJSON_GetObjectItem(object_, key);
    }

  private:
    // cJSON's comparison: equal under tolower, byte for byte.
    static bool SameKey(const char* name, const char* key) {
        if (name == nullptr) {
            return false;
        }
        // Short keys: an inline comparison beats a call; equal bytes are equal under tolower.
        const auto* a = reinterpret_cast<const unsigned char*>(key);
        const auto* b = reinterpret_cast<const unsigned char*>(name);
        while (*a == *b && *a != '\0') {
            ++a;
            ++b;
        }
        if (*a == *b) {
            return true;
        }
        for (; std::tolower(*a) == std::tolower(*b); ++a, ++b) {
            if (*a == '\0') {
                return true;
            }
        }
        return false;
    }

    const cJSON* object_;
    const cJSON* next_;
    bool in_order_ = true;
};

// The read rules: a key that is missing or of another JSON type leaves the field as it was.
inline void ReadInt32(Members& object, const char* key, int32_t& field) {
    const cJSON* number = object.Get(key);
    if (json::IsNumber(number)) {
        field = json::AsInt32(number);
    }
}

inline void ReadDouble(Members& object, const char* key, double& field) {
    const cJSON* number = object.Get(key);
    if (json::IsNumber(number)) {
        field = json::AsDouble(number);
    }
}

inline void ReadText(Members& object, const char* key, std::string& field) {
    const cJSON* text = object.Get(key);
    if (cJSON_IsString(text) && text->valuestring != nullptr) {
        field = text->valuestring;
    }
}

inline void ReadBool(Members& object, const char* key, bool& field) {
    const cJSON* flag = object.Get(key);
    if (cJSON_IsBool(flag)) {
        field = cJSON_IsTrue(flag);
    }
}

// A group is entered only when it is an object, a list only when it is an array.
inline const cJSON* Group(Members& object, const char* key) {
    const cJSON* group = object.Get(key);
    return cJSON_IsObject(group) ? group : nullptr;
}

inline const cJSON* List(Members& object, const char* key) {
    const cJSON* list = object.Get(key);
    return cJSON_IsArray(list) ? list : nullptr;
}

// ---- Writing ----

// Attaches `item` under `key`, or deletes it. Every key of the library's bodies is a string
// literal, so it is attached without a copy (a federation-wide body holds millions of them). A
// null `item` or `object` (a creation that failed earlier) attaches nothing.
inline bool Attach(cJSON* object, const char* key, cJSON* item) {
    if (item == nullptr) {
        return false;
    }
    if (object == nullptr || !cJSON_AddItemToObjectCS(object, key, item)) {
        cJSON_Delete(item);
        return false;
    }
    return true;
}

inline bool AddInt32(cJSON* object, const char* key, int32_t value) {
    return Attach(object, key, json::MakeInt32(value));
}

inline bool AddUInt64(cJSON* object, const char* key, uint64_t value) {
    return Attach(object, key, json::MakeUInt64(value));
}

inline bool AddDouble(cJSON* object, const char* key, double value) {
    return Attach(object, key, json::MakeDouble(value));
}

inline bool AddBool(cJSON* object, const char* key, bool value) {
    return Attach(object, key, cJSON_CreateBool(value));
}

inline bool AddText(cJSON* object, const char* key, const std::string& value) {
    return Attach(object, key, cJSON_CreateString(value.c_str()));
}

inline cJSON* AddObject(cJSON* parent, const char* key) {
    cJSON* object = cJSON_CreateObject();
    return Attach(parent, key, object) ? object : nullptr;
}

inline cJSON* AddArray(cJSON* parent, const char* key) {
    cJSON* array = cJSON_CreateArray();
    return Attach(parent, key, array) ? array : nullptr;
}

inline cJSON* AppendObject(cJSON* array) {
    cJSON* object = cJSON_CreateObject();
    if (object == nullptr || array == nullptr || !cJSON_AddItemToArray(array, object)) {
        cJSON_Delete(object);
        return nullptr;
    }
    return object;
}

}  // namespace fdr::jsontree
