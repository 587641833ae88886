// Exact whole numbers over cJSON.
//
// cJSON keeps every number as a double, so integers beyond 2^53 lose digits, `valueint`
// saturates at the int32 bounds, and whole values print in exponent form ("1e+18"). Records and
// pass-through bodies carry 64-bit integers that must survive a parse/print round trip
// unchanged, so every parser and formatter of this library goes through the functions below
// instead of reading or creating cJSON numbers directly.
//
// An "exact node" is a cJSON_Raw node whose text is the canonical decimal of an integer
// (-?(0|[1-9][0-9]*), within [-2^63, 2^64-1]). cJSON prints raw text verbatim, so cJSON_Print and
// cJSON_PrintUnformatted write it back digit for digit. Its valuedouble/valueint hold cJSON's own
// approximations, but cJSON_IsNumber() is false for it: read numbers only through IsNumber() and
// the As*() readers, which understand both kinds.
//
// Every whole value within [-2^63, 2^64-1] and outside the int32 range becomes an exact node,
// whatever form the text wrote it in ("4e15", "1200e-2", "9007199254740993.0"): its value is
// taken from the literal's digits, never through a double. Whole values inside the int32 range
// stay plain cJSON numbers (cJSON holds and prints them exactly), as do fractions and values
// beyond 64 bits: cJSON's behaviour for those is unchanged, except where cJSON's double of one
// is itself whole and within 64 bits ("-9223372036854775809" reads as -2^63): that double prints
// as its integer, so a printed document reads back to the same text.
//
// The makers have distinct names (no overloads), so an `unsigned`, `long` or `size_t` argument is
// never silently routed to the wrong width: the caller picks the width.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

#include <cjson/cJSON.h>

namespace fdr {
namespace json {

// Parses a document like cJSON_ParseWithOpts(text, &end, false) (trailing text after the first
// value is ignored; nesting deeper than cJSON's limit fails), then turns every number literal
// whose value is whole, outside the int32 range and within [-2^63, 2^64-1] into an exact node.
// Returns nullptr when cJSON rejects the text or memory runs out; the caller owns the result
// (cJSON_Delete).
cJSON* Parse(const char* text);
// The same over `length` bytes that need not be zero-terminated.
cJSON* Parse(const char* text, size_t length);
inline cJSON* Parse(const std::string& text) {
    return Parse(text.data(), text.size());
}

// Makers: a new detached node, or nullptr when memory runs out.
cJSON* MakeInt32(int32_t value);    // a plain cJSON number
cJSON* MakeInt64(int64_t value);    // plain inside the int32 range, exact outside it
cJSON* MakeUInt64(uint64_t value);  // plain up to INT32_MAX, exact above it
// cJSON_CreateNumber, except that a whole value outside the int32 range and within
// [-2^63, 2^64-1] is exact (prints as an integer, not in exponent form).
cJSON* MakeDouble(double value);

// Adders: attach a new number under `key`. False (and nothing leaked or attached) when memory
// runs out or `object` is null.
bool AddInt32(cJSON* object, const char* key, int32_t value);
bool AddInt64(cJSON* object, const char* key, int64_t value);
bool AddUInt64(cJSON* object, const char* key, uint64_t value);
bool AddDouble(cJSON* object, const char* key, double value);
// Attaches `item` (taking ownership, null allowed) under `key`; deletes it when that fails.
bool AddItem(cJSON* object, const char* key, cJSON* item);

// True for cJSON numbers and exact nodes; false for null and for raw nodes holding anything else.
bool IsNumber(const cJSON* item);
// `object[key]` (cJSON_GetObjectItem: case-insensitive, first match) when it is a number.
const cJSON* GetNumber(const cJSON* object, const char* key);

// Readers; all return 0 for items that are not numbers.
// Exact value; values above INT64_MAX wrap (two's complement). Doubles: NaN -> 0, saturated to
// the int64 range, otherwise truncated toward zero.
int64_t AsInt64(const cJSON* item);
// Exact value; negative values wrap modulo 2^64. Doubles: NaN -> 0, above 2^64-1 -> UINT64_MAX,
// negative ones wrap as AsInt64() of them does.
uint64_t AsUInt64(const cJSON* item);
// The low 32 bits of the integer value (doubles truncated toward zero first; infinities -> 0):
// 4294967295 and -1 both read as -1 (0xFFFFFFFF), 2^32 reads as 0.
int32_t AsInt32(const cJSON* item);
uint32_t AsUInt32(const cJSON* item);
// The nearest double (exact nodes round to nearest).
double AsDouble(const cJSON* item);

// Decimal text of any integer type, locale-free.
template <typename Integer, typename = std::enable_if_t<std::is_integral_v<Integer> &&
                                                        !std::is_same_v<Integer, bool>>>
std::string ToDecimal(Integer value) {
    char digits[24];
    const std::to_chars_result r = std::to_chars(digits, digits + sizeof(digits), value);
    return std::string(digits, r.ptr);
}

}  // namespace json
}  // namespace fdr
