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

TEST(Base64, EncodesWithPadding) {
    struct Case {
        std::string data;
        const char* text;
    };
    const Case kCases[] = {
        {"", ""},
        {"a", "YQ=="},
        {"ab", "YWI="},
        {"abc", "YWJj"},
        {"abcd", "YWJjZA=="},
        {std::string("\xFB\xEF\xFF", 3), "++//"},
        {std::string("\0\0", 2), "AAA="},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(Encode(c.data), c.text);
        EXPECT_EQ(OpensslEncode(c.data), c.text);
    }
}

TEST(Base64, DecodesUpToFirstForeignChar) {
    struct Case {
        std::string text;
        std::string data;
    };
    const Case kCases[] = {
        {"YWJj", "abc"},
        {"YQ==", "a"},
        {"YWI=", "ab"},
        {"YWI", "ab"},
        {"YW Jj", "a"},
        {"YW=Jj", "a"},
        {"YWJjZ", "abc"},  // a lone last char gives nothing
        {"Y", ""},
        {"", ""},
        {"YWJj\nYWJj", "abc"},
        {"-_YQ", ""},  // the URL-safe alphabet is foreign
        {std::string("YWJj\0YQ==", 9), "abc"},
        {"AAA=", std::string("\0\0", 2)},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(Decode(c.text), c.data);
    }
}

TEST(Base64, Appends) {
    std::string out = "x";
    const unsigned char abc[] = {'a', 'b', 'c'};
    b64_encode_v2(abc, 3, out);
    b64_encode_v2(abc, 3, out);
    b64_encode_v2(abc, 0, out);
    EXPECT_EQ(out, "xYWJjYWJj");
    out = "x";
    b64_decode_v2("YWJj", out);
    b64_decode_v2("YWJj", out);
    EXPECT_EQ(out, "xabcabc");
}

TEST(Base64, AllEncodersAndDecodersAgreeOnEveryByte) {
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
                // The OpenSSL decoder yields a C string: it ends at the first zero byte.
                ASSERT_EQ(OpensslDecode(text), data.substr(0, data.find('\0')))
                    << length << "/" << start;
            }
        }
    }
}

TEST(Base64, OpensslDecoderRejectsWhatDoesNotAddUp) {
    struct Case {
        std::string text;
        std::string data;
    };
    const Case kCases[] = {
        {"YWJj", "abc"},
        {"YQ==", "a"},
        {"YQBi", "a"},       // "a\0b": ends at the zero byte
        {"YWJj\nYWJj", ""},  // a line break does not decode without the line mode
        {"YWJjYQ", ""},      // unpadded: shorter than promised
        {"YW Jj", ""},
        {std::string("YWJj\0YQ==", 9), "abc"},  // the text ends at its first zero byte
        {"", ""},
        {"=", ""},
        {"==", ""},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(OpensslDecode(c.text), c.data);
    }
}

TEST(Base64, OpensslEncoderWritesOneLine) {
    const std::string text = OpensslEncode(std::string(100, '\x5A'));
    EXPECT_EQ(text.size(), 136u);
    EXPECT_EQ(text.find('\n'), std::string::npos);
    EXPECT_EQ(OpensslEncode(std::string(100000, '\x01')).size(), 133336u);
}

}  // namespace
