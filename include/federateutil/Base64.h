// Base64 (standard alphabet, "=" padding, no line breaks).
#pragma once

#include <string>

#include "federateutil/Export.h"

// Appends the encoding of `length` bytes of `data` to `out` (does not clear `out`).
FEDERATEUTIL_API void b64_encode_v2(const unsigned char* data, unsigned int length,
                                    std::string& out);
// Appends the decoded bytes of `text` to `out`, stopping at the first "=" or character outside
// the alphabet (does not clear `out`).
FEDERATEUTIL_API void b64_decode_v2(const std::string& text, std::string& out);

// Field-table JSON formatter; this library exports only its base64 helper.
class FEDERATEUTIL_API CGenericJsonFormatter {
  public:
    // Replaces `out` with the encoding of `data` (OpenSSL's base64 filter, one line).
    static void MakeBase64String(const std::string& data, std::string& out);
};

// Field-table JSON parser; this library exports only its base64 helper.
class FEDERATEUTIL_API CGenericJsonParser {
  public:
    // Replaces `out` with the decoding of `text`, or with "" when the decoded length is not the
    // one the input's length and padding promise. The result ends at the first zero byte.
    // `text` must not be empty.
    static void DecodeFromBase64String(const std::string& text, std::string& out);
};
