#include "federateutil/Base64.h"

#include <string>

#include <gtest/gtest.h>

namespace {

std::string Encode(const std::string& data) {
    std::string out;
    b64_encode_v2(reinterpret_cast<const unsigned char*>(data.data()),
                  static_cast<unsigned int>(data.size()), out);
    return out;
}

std::string Decode(const std::string& text) {
    std::string out;
    b64_decode_v2(text, out);
    return out;
}

std::string OpensslEncode(const std::string& data) {
    std::string out = "stale";
    CGenericJsonFormatter::MakeBase64String(data, out);
    return out;
}

std::string OpensslDecode(const std::string& text) {
    std::string out = "stale";
    CGenericJsonParser::DecodeFromBase64String(text, out);
    return out;
}

// Both encoders write the standard padded alphabet on one line (no 64-char breaks) and agree on
// every byte; b64_decode_v2 reads it all back, the OpenSSL decoder up to the first zero byte.
TEST(Base64, AllEncodersAndDecodersAgreeOnEveryByte) {
    for (auto* encode : {&Encode, &OpensslEncode}) {
        EXPECT_EQ(encode("abcd") + encode("ab") + encode(std::string("\xFB\xEF\xFF", 3)),
                  "YWJjZA==YWI=++//");
    }
    EXPECT_EQ(OpensslEncode(std::string(100000, '\x01')).size(), 133336u);
    for (unsigned length = 0; length <= 64; ++length) {
        for (unsigned start = 0; start < 256; ++start) {
            std::string data(length, '\0');
            for (unsigned i = 0; i < length; ++i) {
                data[i] = static_cast<char>((start + i * 37) & 0xFF);
            }
            const std::string text = Encode(data);
            ASSERT_EQ(text, OpensslEncode(data)) << length << "/" << start;
            ASSERT_EQ(text.size(), (length + 2) / 3 * 4);
            ASSERT_EQ(Decode(text), data) << length << "/" << start;
            if (length > 0) {
                ASSERT_EQ(OpensslDecode(text), data.substr(0, data.find('\0')))
                    << length << "/" << start;
            }
        }
    }
}

TEST(Base64, DecodersStopWhereEachOneDoes) {
    struct Case {
        std::string text;
        std::string data;     // b64_decode_v2: up to the first foreign char
        const char* openssl;  // all or nothing, ending at the first zero byte; null: not checked
    };
    const std::string nul_inside("YWJj\0YQ==", 9);
    // clang-format off
    const Case kCases[] = {
        {"YWI", "ab", nullptr},
        {"YWJjYQ", "abca", ""},  // unpadded: shorter than promised
        {"YW Jj", "a", ""},
        {"YW=Jj", "a", nullptr},
        {"YWJjZ", "abc", nullptr},  // a lone last char gives nothing
        {"Y", "", nullptr},
        {"", "", ""},
        {"YWJj\nYWJj", "abc", ""},  // a line break does not decode without the line mode
        {"-_YQ", "", nullptr},  // the URL-safe alphabet is foreign
        {nul_inside, "abc", "abc"},
        {"AAA=", std::string("\0\0", 2), nullptr},
        {"YQBi", std::string("a\0b", 3), "a"},
        {"=", "", ""},
        {"==", "", ""},
    };
    // clang-format on
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(Decode(c.text), c.data);
        if (c.openssl != nullptr) {
            EXPECT_EQ(OpensslDecode(c.text), c.openssl);
        }
    }
}

TEST(Base64, Appends) {
    std::string out = "x";
    const unsigned char abc[] = {'a', 'b', 'c'};
    b64_encode_v2(abc, 3, out);
    b64_encode_v2(abc, 3, out);
    b64_encode_v2(abc, 0, out);
    b64_encode_v2(nullptr, 3, out);  // no data: nothing read, nothing added
    EXPECT_EQ(out, "xYWJjYWJj");
    out = "x";
    b64_decode_v2("YWJj", out);
    b64_decode_v2("YWJj", out);
    EXPECT_EQ(out, "xabcabc");
}

}  // namespace
