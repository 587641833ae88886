#include "json/JsonNumber.h"

#include <climits>
#include <cmath>
#include <cstring>

namespace fdr {
namespace json {
namespace {

constexpr uint64_t kInt32Magnitude = uint64_t{1} << 31;  // |INT32_MIN|
constexpr uint64_t kInt64Magnitude = uint64_t{1} << 63;  // |INT64_MIN|
// Sign plus 20 digits (2^64-1 has 20).
constexpr size_t kMaxExactText = 21;

// An integer in [-2^63, 2^64-1] as sign and magnitude.
struct Integer {
    bool negative = false;
    uint64_t magnitude = 0;

    bool InInt32() const {
        return negative ? magnitude <= kInt32Magnitude : magnitude < kInt32Magnitude;
    }
    uint64_t Bits() const { return negative ? 0 - magnitude : magnitude; }
    // Appends a decimal digit to the magnitude; false when it would leave 64 bits.
    bool AppendDigit(uint64_t digit) {
        if (magnitude > (UINT64_MAX - digit) / 10) {
            return false;
        }
        magnitude = magnitude * 10 + digit;
        return true;
    }
    // Within [-2^63, 2^64-1].
    bool InRange() const { return !negative || magnitude <= kInt64Magnitude; }
    double ToDouble() const {
        const double d = static_cast<double>(magnitude);
        return negative ? -d : d;
    }
};

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Decodes [begin, end) when it is a canonical integer literal within [-2^63, 2^64-1].
bool DecodeCanonical(const char* begin, const char* end, Integer* out) {
    Integer value;
    const char* p = begin;
    if (p < end && *p == '-') {
        value.negative = true;
        ++p;
    }
    if (p == end || (*p == '0' && end - p > 1)) {
        return false;
    }
    for (; p < end; ++p) {
        if (!IsDigit(*p) || !value.AppendDigit(static_cast<uint64_t>(*p - '0'))) {
            return false;
        }
    }
    if (!value.InRange()) {
        return false;
    }
    *out = value;
    return true;
}

// The integer an exact node holds; false for any other item.
bool ExactValue(const cJSON* item, Integer* out) {
    if (!cJSON_IsRaw(item) || item->valuestring == nullptr) {
        return false;
    }
    const char* text = item->valuestring;
    size_t length = 0;
    while (text[length] != '\0') {
        if (++length > kMaxExactText) {
            return false;
        }
    }
    return DecodeCanonical(text, text + length, out);
}

// An exact node for `value`, printed as its canonical decimal.
cJSON* MakeExact(const Integer& value) {
    char text[kMaxExactText + 1];
    char* p = text;
    if (value.negative) {
        *p++ = '-';
    }
    p = std::to_chars(p, text + kMaxExactText, value.magnitude).ptr;
    *p = '\0';
    cJSON* node = cJSON_CreateRaw(text);
    if (node == nullptr) {
        return nullptr;
    }
    // What cJSON itself would have stored, for readers that look at the fields directly.
    node->valuedouble = value.ToDouble();
    node->valueint =
        value.InInt32() ? static_cast<int>(value.Bits()) : (value.negative ? INT_MIN : INT_MAX);
    return node;
}

// Longest number literal worth decoding: cJSON reads at most 63 chars of a number, so a longer
// token never is one number node of a document it accepted.
constexpr size_t kMaxLiteral = 63;

// Decodes [begin, end) when it is a number literal of strtod's decimal form (sign, digits with
// an optional point, optional exponent) whose value is whole and within [-2^63, 2^64-1]: "12",
// "12.0", "1.2e1" and "1200e-2" all give 12. The value comes from the digits alone, never
// through a double, so 9007199254740993.0 stays 9007199254740993.
bool DecodeWhole(const char* begin, const char* end, Integer* out) {
    if (end - begin > static_cast<std::ptrdiff_t>(kMaxLiteral)) {
        return false;
    }
    Integer value;
    const char* p = begin;
    if (p < end && (*p == '-' || *p == '+')) {
        value.negative = *p == '-';
        ++p;
    }
    // The significant digits without the point, and how far the point moves them.
    char digits[kMaxLiteral];
    size_t count = 0;
    long exponent = 0;
    bool any_digit = false;
    for (; p < end && IsDigit(*p); ++p) {
        any_digit = true;
        if (count > 0 || *p != '0') {
            digits[count++] = *p;
        }
    }
    if (p < end && *p == '.') {
        for (++p; p < end && IsDigit(*p); ++p) {
            any_digit = true;
            if (count > 0 || *p != '0') {
                digits[count++] = *p;
            }
            --exponent;
        }
    }
    if (!any_digit) {
        return false;
    }
    if (p < end && (*p == 'e' || *p == 'E')) {
        ++p;
        bool negative_exponent = false;
        if (p < end && (*p == '-' || *p == '+')) {
            negative_exponent = *p == '-';
            ++p;
        }
        if (p == end) {
            return false;
        }
        long written = 0;
        for (; p < end && IsDigit(*p); ++p) {
            written = written * 10 + (*p - '0');
            if (written > 1000) {
                written = 1000;  // far beyond any 20-digit integer either way
            }
        }
        exponent += negative_exponent ? -written : written;
    }
    if (p != end) {
        return false;
    }
    // Digits below the point must all be zeros.
    for (; exponent < 0 && count > 0; ++exponent, --count) {
        if (digits[count - 1] != '0') {
            return false;
        }
    }
    if (count == 0) {
        *out = Integer{};  // zero, whatever the sign or the exponent
        return true;
    }
    if (exponent < 0 || count + static_cast<size_t>(exponent) > 20) {
        return false;
    }
    for (size_t i = 0; i < count + static_cast<size_t>(exponent); ++i) {
        if (!value.AppendDigit(i < count ? static_cast<uint64_t>(digits[i] - '0') : 0)) {
            return false;
        }
    }
    if (!value.InRange()) {
        return false;
    }
    *out = value;
    return true;
}

// Yields the number tokens of a text cJSON parsed, in document order, skipping strings the way
// cJSON does (a backslash escapes the next char). Inside a document cJSON accepted, a number
// token starts at '-' or a digit and runs over the chars cJSON collects for a number; the root
// number may stop earlier (strtod stopped there), which the caller's `end` accounts for.
class NumberTokens {
  public:
    NumberTokens(const char* begin, const char* end) : p_(begin), end_(end) {}

    bool Next(const char** token_begin, const char** token_end) {
        while (p_ < end_) {
            const char c = *p_;
            if (c == '"') {
                SkipString();
            } else if (c == '-' || IsDigit(c)) {
                *token_begin = p_;
                while (p_ < end_ && IsNumberChar(*p_)) {
                    ++p_;
                }
                *token_end = p_;
                return true;
            } else {
                ++p_;
            }
        }
        return false;
    }

  private:
    static bool IsNumberChar(char c) {
        return IsDigit(c) || c == '+' || c == '-' || c == 'e' || c == 'E' || c == '.';
    }

    void SkipString() {
        ++p_;
        while (p_ < end_ && *p_ != '"') {
            if (*p_ == '\\' && end_ - p_ > 1) {
                ++p_;
            }
            ++p_;
        }
        if (p_ < end_) {
            ++p_;
        }
    }

    const char* p_;
    const char* end_;
};

// A whole double outside the int32 range and within [-2^63, 2^64) would print in exponent form,
// losing digits: true, with its exact value, for such a double.
bool WholeDoubleNeedingExact(double value, Integer* out) {
    if (std::trunc(value) != value || (value >= -2147483648.0 && value <= 2147483647.0) ||
        !(value >= -9223372036854775808.0 && value < 18446744073709551616.0)) {
        return false;
    }
    out->negative = value < 0;
    out->magnitude = static_cast<uint64_t>(out->negative ? -value : value);
    return true;
}

// The literals worth converting; int32 ones are held and printed exactly by cJSON already.
bool NeedsExact(const char* begin, const char* end, Integer* value) {
    // Anything outside the int32 range takes at least three chars ("3e9").
    return end - begin >= 3 && DecodeWhole(begin, end, value) && !value->InInt32();
}

// True when a number of the tree lies outside the int32 range. Only then can a literal need an
// exact node (the double of a literal outside the range is outside it too), so documents without
// one skip the scan of their text. Walking the nodes costs far less than scanning the text,
// which for a channel list is mostly long strings.
bool HasLargeNumber(const cJSON* top) {
    // The type tests of cJSON.h, inline: this runs over every node of every answer.
    const auto type = [](const cJSON* item) { return item->type & 0xFF; };
    const auto large = [&type](const cJSON* item) {
        return type(item) == cJSON_Number &&
               !(item->valuedouble >= -2147483648.0 && item->valuedouble <= 2147483647.0);
    };
    const auto container = [&type](const cJSON* item) {
        return type(item) == cJSON_Array || type(item) == cJSON_Object;
    };
    if (!container(top)) {
        return large(top);
    }
    // cJSON rejects deeper documents, so this bounds the walk without recursion.
    const cJSON* parents[CJSON_NESTING_LIMIT + 1];
    size_t depth = 0;
    parents[depth++] = top;
    const cJSON* item = top->child;
    while (true) {
        if (item == nullptr) {
            const cJSON* finished = parents[--depth];
            if (depth == 0) {
                return false;
            }
            item = finished->next;
            continue;
        }
        if (container(item) && item->child != nullptr) {
            if (depth == sizeof(parents) / sizeof(parents[0])) {
                return true;  // let the exact walk decide
            }
            parents[depth++] = item;
            item = item->child;
            continue;
        }
        if (large(item)) {
            return true;
        }
        item = item->next;
    }
}

// Replaces the number node `item` (under `parent`, or the root when `parent` is null) by an exact
// node when its literal needs one. Returns the node now in its place, or null on failure (the
// tree is then unchanged and still owned by the caller).
cJSON* ConvertNumber(cJSON** root, cJSON* parent, cJSON* item, NumberTokens* tokens) {
    const char* token_begin = nullptr;
    const char* token_end = nullptr;
    if (!tokens->Next(&token_begin, &token_end)) {
        return nullptr;  // more number nodes than tokens: cJSON and this scan disagree
    }
    Integer value;
    if (NeedsExact(token_begin, token_end, &value)) {
        // cJSON's strtod and the int-to-double conversion both round the same whole value to
        // nearest, so a token that belongs to this node must give the very same double.
        if (item->valuedouble != value.ToDouble()) {
            return nullptr;
        }
    } else if (!WholeDoubleNeedingExact(item->valuedouble, &value)) {
        return item;
    }
    // Otherwise a fraction or a value beyond 64 bits that cJSON rounded to a whole double within
    // them: it prints as that double's integer, as a made double does, so that the printed body
    // reads back to itself.
    cJSON* exact = MakeExact(value);
    if (exact == nullptr) {
        return nullptr;
    }
    if (parent == nullptr) {
        cJSON_Delete(item);
        *root = exact;
        return exact;
    }
    // cJSON_ReplaceItemViaPointer keeps no key: move the old one over instead of copying it.
    exact->string = item->string;
    exact->type |= item->type & cJSON_StringIsConst;
    item->string = nullptr;
    item->type &= ~cJSON_StringIsConst;
    cJSON_ReplaceItemViaPointer(parent, item, exact);  // deletes `item`
    return exact;
}

// Walks the tree in pre-order beside the number tokens of [begin, end). False on failure.
bool ConvertBigIntegers(cJSON** root, const char* begin, const char* end) {
    NumberTokens tokens(begin, end);
    cJSON* const top = *root;
    if (!cJSON_IsArray(top) && !cJSON_IsObject(top)) {
        return !cJSON_IsNumber(top) || ConvertNumber(root, nullptr, top, &tokens) != nullptr;
    }
    // cJSON rejects deeper documents, so this bounds the walk without recursion.
    cJSON* parents[CJSON_NESTING_LIMIT + 1];
    size_t depth = 0;
    parents[depth++] = top;
    cJSON* item = top->child;
    while (true) {
        if (item == nullptr) {
            cJSON* finished = parents[--depth];
            if (depth == 0) {
                return true;
            }
            item = finished->next;
            continue;
        }
        if ((cJSON_IsArray(item) || cJSON_IsObject(item)) && item->child != nullptr) {
            if (depth == sizeof(parents) / sizeof(parents[0])) {
                return false;
            }
            parents[depth++] = item;
            item = item->child;
            continue;
        }
        if (cJSON_IsNumber(item)) {
            item = ConvertNumber(root, parents[depth - 1], item, &tokens);
            if (item == nullptr) {
                return false;
            }
        }
        item = item->next;
    }
}

}  // namespace

cJSON* Parse(const char* text, size_t length) {
    if (text == nullptr) {
        return nullptr;
    }
    const char* end = nullptr;
    cJSON* root = cJSON_ParseWithLengthOpts(text, length, &end, false);
    if (root == nullptr) {
        return nullptr;
    }
    if (end == nullptr || end < text || end > text + length) {
        end = text + length;
    }
    if (HasLargeNumber(root) && !ConvertBigIntegers(&root, text, end)) {
        // Out of memory: the same outcome as cJSON failing to allocate while parsing.
        cJSON_Delete(root);
        return nullptr;
    }
    return root;
}

cJSON* Parse(const char* text) {
    // cJSON counts the terminator in the length it parses over; so do we.
    return text == nullptr ? nullptr : Parse(text, std::strlen(text) + 1);
}

cJSON* MakeInt32(int32_t value) {
    return cJSON_CreateNumber(value);
}

cJSON* MakeInt64(int64_t value) {
    if (value >= INT32_MIN && value <= INT32_MAX) {
        return cJSON_CreateNumber(static_cast<double>(value));
    }
    Integer exact;
    exact.negative = value < 0;
    exact.magnitude =
        exact.negative ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    return MakeExact(exact);
}

cJSON* MakeUInt64(uint64_t value) {
    if (value <= INT32_MAX) {
        return cJSON_CreateNumber(static_cast<double>(value));
    }
    Integer exact;
    exact.magnitude = value;
    return MakeExact(exact);
}

cJSON* MakeDouble(double value) {
    Integer exact;
    return WholeDoubleNeedingExact(value, &exact) ? MakeExact(exact) : cJSON_CreateNumber(value);
}

bool AddItem(cJSON* object, const char* key, cJSON* item) {
    if (item == nullptr) {
        return false;
    }
    if (object == nullptr || key == nullptr || !cJSON_AddItemToObject(object, key, item)) {
        cJSON_Delete(item);
        return false;
    }
    return true;
}

bool AddInt32(cJSON* object, const char* key, int32_t value) {
    return AddItem(object, key, MakeInt32(value));
}

bool AddInt64(cJSON* object, const char* key, int64_t value) {
    return AddItem(object, key, MakeInt64(value));
}

bool AddUInt64(cJSON* object, const char* key, uint64_t value) {
    return AddItem(object, key, MakeUInt64(value));
}

bool AddDouble(cJSON* object, const char* key, double value) {
    return AddItem(object, key, MakeDouble(value));
}

bool IsNumber(const cJSON* item) {
    Integer value;
    return cJSON_IsNumber(item) || ExactValue(item, &value);
}

const cJSON* GetNumber(const cJSON* object, const char* key) {
    const cJSON* item = cJSON_GetObjectItem(object, key);
    return IsNumber(item) ? item : nullptr;
}

int64_t AsInt64(const cJSON* item) {
    Integer value;
    if (ExactValue(item, &value)) {
        return static_cast<int64_t>(value.Bits());
    }
    if (!cJSON_IsNumber(item)) {
        return 0;
    }
    const double d = item->valuedouble;
    if (std::isnan(d)) {
        return 0;
    }
    // 2^63 is exact as a double; INT64_MAX is not.
    if (d >= 9223372036854775808.0) {
        return INT64_MAX;
    }
    if (d <= -9223372036854775808.0) {
        return INT64_MIN;
    }
    return static_cast<int64_t>(d);
}

uint64_t AsUInt64(const cJSON* item) {
    Integer value;
    if (ExactValue(item, &value)) {
        return value.Bits();
    }
    if (!cJSON_IsNumber(item)) {
        return 0;
    }
    const double d = item->valuedouble;
    if (std::isnan(d)) {
        return 0;
    }
    if (d >= 18446744073709551616.0) {
        return UINT64_MAX;
    }
    if (d <= -1.0) {
        return static_cast<uint64_t>(AsInt64(item));
    }
    return d > 0 ? static_cast<uint64_t>(d) : 0;
}

uint32_t AsUInt32(const cJSON* item) {
    Integer value;
    if (ExactValue(item, &value)) {
        return static_cast<uint32_t>(value.Bits());
    }
    if (!cJSON_IsNumber(item) || !std::isfinite(item->valuedouble)) {
        return 0;
    }
    const double d = item->valuedouble;
    // Inside the int64 range the conversion truncates toward zero exactly and the low 32 bits
    // follow by two's complement: the same value as the exact fmod below, for a fraction of its
    // cost (every 32-bit field read goes through here).
    if (d > -9223372036854775808.0 && d < 9223372036854775808.0) {
        return static_cast<uint32_t>(static_cast<uint64_t>(static_cast<int64_t>(d)));
    }
    // fmod is exact, so this is the low 32 bits of the truncated value whatever its size.
    double low = std::fmod(std::trunc(d), 4294967296.0);
    if (low < 0) {
        low += 4294967296.0;
    }
    return static_cast<uint32_t>(low);
}

int32_t AsInt32(const cJSON* item) {
    return static_cast<int32_t>(AsUInt32(item));
}

double AsDouble(const cJSON* item) {
    Integer value;
    if (ExactValue(item, &value)) {
        return value.ToDouble();
    }
    return cJSON_IsNumber(item) ? item->valuedouble : 0.0;
}

}  // namespace json
}  // namespace fdr
