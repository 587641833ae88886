// Reading input files: their text, their JSON, and typed members with messages that say where
// in the file a value is wrong.
#pragma once

#include <json/json.h>

#include <cstdint>
#include <string>
#include <type_traits>

namespace fedutil {

// The whole content of `path`; "-" is standard input. Throws InputError naming the file.
std::string ReadInputText(const std::string& path);

// Parses `text` as one JSON value; `source` names it in messages ("members.json:3:14: ...").
// Throws InputError.
Json::Value ParseJsonInput(const std::string& text, const std::string& source);

// ReadInputText, then ParseJsonInput.
Json::Value ReadJsonFile(const std::string& path);

// Compact JSON text of `value`, numbers exact.
std::string CompactJsonText(const Json::Value& value);

// The typed members of one JSON object. Every reader leaves its output alone when the key is
// absent (or null) and throws InputError when the key holds another type:
// "members.json: autonomy_list[1].group_list: expected an array".
class JsonFields {
  public:
    // `where` is the object's place in the document ("" for the root).
    JsonFields(const Json::Value& object, std::string source, std::string where);

    bool Has(const char* key) const;
    // The member of any type; null when absent.
    const Json::Value* Get(const char* key) const;
    // Reads a string, bool, int32_t, uint64_t or double member into `out`; false when absent.
    template <typename T>
    bool Read(const char* key, T& out) const {
        const Json::Value* member = Get(key);
        if (member == nullptr) {
            return false;
        }
        if constexpr (std::is_same_v<T, std::string>) {
            Expect(member->isString(), key, "a string");
            out = member->asString();
        } else if constexpr (std::is_same_v<T, bool>) {
            Expect(member->isBool(), key, "true or false");
            out = member->asBool();
        } else if constexpr (std::is_same_v<T, int32_t>) {
            Expect(member->isInt(), key, "a whole number within the 32-bit range");
            out = member->asInt();
        } else if constexpr (std::is_same_v<T, uint64_t>) {
            Expect(member->isUInt64(), key, "a whole number from 0 to 18446744073709551615");
            out = member->asUInt64();
        } else {
            static_assert(std::is_same_v<T, double>);
            Expect(member->isNumeric() && !member->isBool(), key, "a number");
            out = member->asDouble();
        }
        return true;
    }
    // The member when it is an array / an object; null when absent.
    const Json::Value* Array(const char* key) const;
    const Json::Value* Object(const char* key) const;

    // "autonomy_list[1]" for the element `index` of the member `key`.
    std::string Place(const char* key) const;
    std::string Place(const char* key, Json::ArrayIndex index) const;
    const std::string& Source() const { return source_; }

    [[noreturn]] void Fail(const std::string& place, const std::string& problem) const;

  private:
    // Fails with "expected <expected>" at `key` unless `right`.
    void Expect(bool right, const char* key, const char* expected) const;

    const Json::Value& object_;
    std::string source_;
    std::string where_;
};

// The value as an object to read members from, or InputError when it is not an object.
JsonFields ObjectAt(const Json::Value& value, const std::string& source, const std::string& where);

}  // namespace fedutil
