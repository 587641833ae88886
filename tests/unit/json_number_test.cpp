#include "json/JsonNumber.h"

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace fdr {
namespace json {
namespace {

struct Doc {
    explicit Doc(cJSON* root) : root(root) {}
    ~Doc() { cJSON_Delete(root); }
    cJSON* root;
};

std::string Print(const cJSON* item, bool formatted = false) {
    char* text = formatted ? cJSON_Print(item) : cJSON_PrintUnformatted(item);
    std::string result = text != nullptr ? text : "<print failed>";
    cJSON_free(text);
    return result;
}

std::string CjsonPrint(const std::string& text) {
    Doc doc(cJSON_Parse(text.c_str()));
    return doc.root != nullptr ? Print(doc.root) : "<parse failed>";
}

struct NumberCase {
    const char* literal;
    const char* printed;  // null: what cJSON alone prints
    bool exact;
    int64_t as_int64;
    uint64_t as_uint64;
    int32_t as_int32;
};

constexpr int64_t kInt64Min = std::numeric_limits<int64_t>::min();
constexpr int64_t kInt64Max = std::numeric_limits<int64_t>::max();
constexpr uint64_t kUInt64Max = std::numeric_limits<uint64_t>::max();

const NumberCase kNumberCases[] = {
    {"0", nullptr, false, 0, 0, 0},
    {"1", nullptr, false, 1, 1, 1},
    {"-1", nullptr, false, -1, kUInt64Max, -1},
    {"2147483647", nullptr, false, 2147483647, 2147483647, 2147483647},
    {"-2147483648", nullptr, false, -2147483648LL, 0xFFFFFFFF80000000ULL, INT32_MIN},
    {"2147483648", "2147483648", true, 2147483648LL, 2147483648ULL, INT32_MIN},
    {"-2147483649", "-2147483649", true, -2147483649LL, 0xFFFFFFFF7FFFFFFFULL, INT32_MAX},
    {"4294967295", "4294967295", true, 4294967295LL, 4294967295ULL, -1},
    {"4294967296", "4294967296", true, 4294967296LL, 4294967296ULL, 0},
    {"9007199254740993", "9007199254740993", true, 9007199254740993LL, 9007199254740993ULL, 1},
    {"9223372036854775807", "9223372036854775807", true, kInt64Max, 9223372036854775807ULL, -1},
    {"-9223372036854775808", "-9223372036854775808", true, kInt64Min, 9223372036854775808ULL, 0},
    {"18446744073709551615", "18446744073709551615", true, -1, kUInt64Max, -1},
    // Whole values in any written form: the digits decide, never a double.
    {"9007199254740993.0", "9007199254740993", true, 9007199254740993LL, 9007199254740993ULL, 1},
    {"1e18", "1000000000000000000", true, 1000000000000000000LL, 1000000000000000000ULL,
     -1486618624},
    {"4e15", "4000000000000000", true, 4000000000000000LL, 4000000000000000ULL, -1827012608},
    {"1.5e3", "1500", false, 1500, 1500, 1500},
    {"1200e-2", "12", false, 12, 12, 12},
    {"12.000", "12", false, 12, 12, 12},
    {"1.8446744073709551615E19", "18446744073709551615", true, -1, kUInt64Max, -1},
    {"-92233720368547758.08e2", "-9223372036854775808", true, kInt64Min, 9223372036854775808ULL, 0},
    {"0.000000000000000000000004294967296e33", "4294967296", true, 4294967296LL, 4294967296ULL, 0},
    {"42949672960000e-4", "4294967296", true, 4294967296LL, 4294967296ULL, 0},
    {"1e10", "10000000000", true, 10000000000LL, 10000000000ULL, 1410065408},
    {"-0.0e7", nullptr, false, 0, 0, 0},
    // Beyond 64 bits and fractions stay cJSON doubles, unless the double is whole and within
    // 64 bits: then it prints as that integer and reads back to itself.
    {"18446744073709551616", nullptr, false, kInt64Max, kUInt64Max, 0},
    {"1.8446744073709551616e19", nullptr, false, kInt64Max, kUInt64Max, 0},
    {"-9223372036854775809", "-9223372036854775808", true, kInt64Min, 9223372036854775808ULL, 0},
    {"9007199254740993.5", "9007199254740994", true, 9007199254740994LL, 9007199254740994ULL, 2},
    {"4294967296.000000001", "4294967296", true, 4294967296LL, 4294967296ULL, 0},
    {"0.1", nullptr, false, 0, 0, 0},
    {"-2.5", nullptr, false, -2, static_cast<uint64_t>(-2), -2},
    {"1e300", nullptr, false, kInt64Max, kUInt64Max, 0},
    {"1e-300", nullptr, false, 0, 0, 0},
    {"-0", nullptr, false, 0, 0, 0},
};

TEST(JsonNumberParse, ReadsAndPrintsEveryRangeExactly) {
    for (const NumberCase& c : kNumberCases) {
        SCOPED_TRACE(c.literal);
        const std::string inner = c.literal;
        const std::string printed = c.printed != nullptr ? c.printed : "";
        const std::string wrappers[][2] = {
            {"", ""}, {"[", "]"}, {"{\"v\":", "}"}, {"[[1,{\"v\":[", "]}]]"}};
        for (const auto& wrapper : wrappers) {
            const std::string text = wrapper[0] + inner + wrapper[1];
            SCOPED_TRACE(text);
            Doc doc(Parse(text.c_str()));
            ASSERT_NE(doc.root, nullptr);
            EXPECT_EQ(Print(doc.root),
                      c.printed != nullptr ? wrapper[0] + printed + wrapper[1] : CjsonPrint(text));
        }
        Doc doc(Parse(c.literal));
        ASSERT_NE(doc.root, nullptr);
        EXPECT_EQ(cJSON_IsRaw(doc.root) != 0, c.exact);
        EXPECT_TRUE(IsNumber(doc.root));
        EXPECT_EQ(AsInt64(doc.root), c.as_int64);
        EXPECT_EQ(AsUInt64(doc.root), c.as_uint64);
        EXPECT_EQ(AsInt32(doc.root), c.as_int32);
        EXPECT_EQ(AsUInt32(doc.root), static_cast<uint32_t>(c.as_int32));
        EXPECT_EQ(AsDouble(doc.root), std::strtod(c.literal, nullptr));
        if (c.exact) {
            // Naive readers see cJSON's approximation.
            EXPECT_EQ(doc.root->valuedouble, std::strtod(c.literal, nullptr));
            EXPECT_EQ(doc.root->valueint, c.literal[0] == '-' ? INT32_MIN : INT32_MAX);
        }
    }
}

// Whole documents: number-like strings and keys neither convert nor shift the later numbers,
// duplicate keys both stay, trailing text is ignored as cJSON ignores it; the formatted printer
// writes the same digits.
TEST(JsonNumberParse, KeepsDocumentsAsCjsonReadsThem) {
    struct Case {
        const char* text;
        const char* printed = nullptr;  // null: the text itself
    };
    const Case kCases[] = {
        {"{\"s\":\"123456789012345678\",\"n\":18446744073709551615}"},
        {"{\"12345678901\":1,\"x\":12345678901}"},
        {"[\"a\\\"b 99999999999 \\\"\",12345678901234,\"\\\\\",-12345678901234]"},
        {"[\"\\\\\\\"\",4294967295,\"x\\\"y\",4294967296]"},
        {"{\"a\":1,\"a\":12345678901,\"A\":-22222222222}"},
        {"{\"a\":[1,{\"b\":[4294967296,2.5,-4294967296,{}]}],\"c\":{\"d\":{\"e\":"
         "9223372036854775807}},\"f\":[]}"},
        {"[true,false,null,-9223372036854775808,0,-0,1.5,18446744073709551615]"},
        {"{\"health\":18446744073709551615,\"err_code\":4294967295,\"t\":\"1e5\"}"},
        // An exponent beyond any whole number's reach stays beyond it.
        {"[18446744073709551615,4294967296e-1001]", "[18446744073709551615,0]"},
        {"18446744073709551615 trailing", "18446744073709551615"},
        {"18446744073709551615-1", "18446744073709551615"},
        {"  [1] 99999999999", "[1]"},
        {"[1]\"x\" 4294967296", "[1]"},
        {"123 4294967296", "123"},
        {"[\n  18446744073709551615,\n  true\n]\n", "[18446744073709551615,true]"},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.text);
        const std::string printed = c.printed != nullptr ? c.printed : c.text;
        Doc doc(Parse(c.text));
        ASSERT_NE(doc.root, nullptr);
        EXPECT_EQ(Print(doc.root), printed);
        Doc again(Parse(Print(doc.root, true)));
        ASSERT_NE(again.root, nullptr);
        EXPECT_EQ(Print(again.root), printed);
    }
    // The length-taking form stops where it is told to.
    const std::string buffer = "[4294967296]4294967297";
    Doc doc(Parse(buffer.data(), 12));
    ASSERT_NE(doc.root, nullptr);
    EXPECT_EQ(Print(doc.root), "[4294967296]");
    for (const char* bad : {"", "[", "[18446744073709551615,]", "{\"a\" 1}", "-"}) {
        EXPECT_EQ(Parse(bad), nullptr) << bad;
    }
    EXPECT_EQ(Parse(nullptr), nullptr);

    // Lookup is cJSON's: case-insensitive, first match; a string is no number.
    Doc found(Parse("{\"s\":\"123456789012345678\",\"Code\":4294967295,\"code\":7}"));
    EXPECT_STREQ(cJSON_GetObjectItem(found.root, "s")->valuestring, "123456789012345678");
    EXPECT_EQ(GetNumber(found.root, "s"), nullptr);
    EXPECT_EQ(AsUInt32(GetNumber(found.root, "CODE")), 0xFFFFFFFFu);
    EXPECT_EQ(GetNumber(found.root, "missing"), nullptr);
}

TEST(JsonNumberMake, PrintsExactlyAndReadsBack) {
    struct Case {
        cJSON* item;
        const char* printed;
        bool exact;
    };
    // clang-format off
    const Case kCases[] = {
        {MakeUInt64(kUInt64Max), "18446744073709551615", true},
        {MakeUInt64(2147483648ULL), "2147483648", true}, {MakeUInt64(2147483647), "2147483647", false},
        {MakeInt64(kInt64Min), "-9223372036854775808", true},
        {MakeInt64(kInt64Max), "9223372036854775807", true},
        {MakeInt64(-2147483649LL), "-2147483649", true}, {MakeInt64(-1), "-1", false},
        {MakeInt32(INT32_MIN), "-2147483648", false}, {MakeDouble(0.1), "0.1", false},
        {MakeDouble(1e300), "1e+300", false},
        // A whole double prints as an integer, not in exponent form.
        {MakeDouble(9007199254740992.0), "9007199254740992", true},
        {MakeDouble(1e18), "1000000000000000000", true},
        {MakeDouble(-9223372036854775808.0), "-9223372036854775808", true},
        {MakeDouble(18446744073709549568.0), "18446744073709549568", true},
        {MakeDouble(2147483648.0), "2147483648", true}, {MakeDouble(1500.0), "1500", false},
        {MakeDouble(18446744073709551616.0), "1.8446744073709552e+19", false},
        {MakeDouble(4294967296.5), "4294967296.5", false},
    };
    // clang-format on
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.printed);
        Doc doc(c.item);
        ASSERT_NE(doc.root, nullptr);
        EXPECT_EQ(Print(doc.root), c.printed);
        EXPECT_EQ(cJSON_IsRaw(doc.root) != 0, c.exact);
        EXPECT_TRUE(IsNumber(doc.root));
        Doc parsed(Parse(c.printed));
        ASSERT_NE(parsed.root, nullptr);
        EXPECT_EQ(AsUInt64(parsed.root), AsUInt64(doc.root));
        EXPECT_EQ(AsDouble(parsed.root), AsDouble(doc.root));
    }

    Doc object(cJSON_CreateObject());
    ASSERT_TRUE(AddUInt64(object.root, "status", kUInt64Max));
    ASSERT_TRUE(AddInt64(object.root, "min", kInt64Min));
    ASSERT_TRUE(AddInt32(object.root, "err_code", -1));
    ASSERT_TRUE(AddDouble(object.root, "ratio", 0.5));
    EXPECT_EQ(Print(object.root),
              "{\"status\":18446744073709551615,\"min\":-9223372036854775808,\"err_code\":-1,"
              "\"ratio\":0.5}");
    EXPECT_FALSE(AddUInt64(nullptr, "k", kUInt64Max));  // the made node is freed, not leaked
    EXPECT_FALSE(AddItem(object.root, "k", nullptr));

    EXPECT_EQ(ToDecimal(kInt64Min), "-9223372036854775808");
    EXPECT_EQ(ToDecimal(kUInt64Max), "18446744073709551615");
    EXPECT_EQ(ToDecimal(0u), "0");
}

TEST(JsonNumberRead, AcceptsOnlyCanonicalRawIntegers) {
    struct Case {
        const char* raw;
        bool is_number;
        int64_t value;
    };
    // clang-format off
    const Case kCases[] = {
        {"123", true, 123}, {"-9223372036854775808", true, kInt64Min},
        {"18446744073709551616", false, 0}, {"-9223372036854775809", false, 0}, {"007", false, 0},
        {"1.5", false, 0}, {"1e5", false, 0}, {"abc", false, 0}, {"", false, 0}, {"-", false, 0},
        {"{\"a\":1}", false, 0}, {"123456789012345678901234567890", false, 0},
    };
    // clang-format on
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.raw);
        Doc doc(cJSON_CreateRaw(c.raw));
        ASSERT_NE(doc.root, nullptr);
        EXPECT_EQ(IsNumber(doc.root), c.is_number);
        EXPECT_EQ(AsInt64(doc.root), c.value);
    }
    Doc str(cJSON_CreateString("5"));
    Doc null(cJSON_CreateNull());
    for (const cJSON* item : {str.root, null.root, static_cast<cJSON*>(nullptr)}) {
        EXPECT_FALSE(IsNumber(item));
        EXPECT_EQ(AsInt64(item), 0);
        EXPECT_EQ(AsUInt64(item), 0u);
        EXPECT_EQ(AsInt32(item), 0);
        EXPECT_EQ(AsDouble(item), 0.0);
    }
}

TEST(JsonNumberRead, TakesLowBitsOfDoubles) {
    struct Case {
        double value;
        int32_t as_int32;
        int64_t as_int64;
    };
    const double inf = std::numeric_limits<double>::infinity();
    // clang-format off
    const Case kCases[] = {
        {4294967295.0, -1, 4294967295LL}, {-1.9, -1, -1}, {4294967296.5, 0, 4294967296LL},
        {-4294967297.0, -1, -4294967297LL}, {std::nan(""), 0, 0}, {inf, 0, kInt64Max},
        {-inf, 0, kInt64Min}, {1e20, 1661992960, kInt64Max},
        // Whole and within 64 bits: exact, so it reads as the integer 2^63 does.
        {9223372036854775808.0, 0, kInt64Min},
    };
    // clang-format on
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.value);
        Doc doc(MakeDouble(c.value));
        EXPECT_EQ(AsInt32(doc.root), c.as_int32);
        EXPECT_EQ(AsInt64(doc.root), c.as_int64);
    }
}

}  // namespace
}  // namespace json
}  // namespace fdr
