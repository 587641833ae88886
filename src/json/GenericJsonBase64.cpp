#include <climits>
#include <cstdlib>
#include <cstring>

#include <openssl/bio.h>
#include <openssl/buffer.h>
#include <openssl/evp.h>

#include "federateutil/Base64.h"

namespace {

// Frees a whole BIO chain on every path.
struct BioChain {
    BIO* head = nullptr;
    ~BioChain() { BIO_free_all(head); }
};

}  // namespace

// On any OpenSSL failure `out` is left as it was, as the decoder does.
void CGenericJsonFormatter::MakeBase64String(const std::string& data, std::string& out) {
    BIO* filter = BIO_new(BIO_f_base64());
    BIO* sink = BIO_new(BIO_s_mem());
    if (filter == nullptr || sink == nullptr) {
        BIO_free(filter);
        BIO_free(sink);
        return;
    }
    BIO_set_flags(filter, BIO_FLAGS_BASE64_NO_NL);
    BioChain chain;
    chain.head = BIO_push(filter, sink);

    // BIO_write takes an int length: feed larger inputs in pieces.
    const char* p = data.data();
    size_t left = data.size();
    while (left > 0) {
        const int piece = left > INT_MAX ? INT_MAX : static_cast<int>(left);
        const int written = BIO_write(chain.head, p, piece);
        if (written <= 0) {
            return;
        }
        p += written;
        left -= static_cast<size_t>(written);
    }
    if (BIO_flush(chain.head) != 1) {
        return;
    }
    BUF_MEM* encoded = nullptr;
    BIO_get_mem_ptr(sink, &encoded);
    if (encoded == nullptr) {
        return;
    }
    out.assign(encoded->data, encoded->length);
}

void CGenericJsonParser::DecodeFromBase64String(const std::string& text, std::string& out) {
    const size_t n = std::strlen(text.c_str());
    int padding = 0;
    if (n >= 2 && text[n - 1] == '=' && text[n - 2] == '=') {
        padding = 2;
    } else if (n >= 1 && text[n - 1] == '=') {
        padding = 1;
    }
    // The length the input promises, as a 32-bit signed count; beyond that nothing can match.
    const long long promised = static_cast<long long>(n) * 3 / 4 - padding;
    if (n > INT_MAX || static_cast<long long>(n) * 3 > INT_MAX || promised < 0) {
        out.clear();
        return;
    }
    const int expected = static_cast<int>(promised);

    char* buffer = static_cast<char*>(std::malloc(static_cast<size_t>(expected) + 1));
    if (buffer == nullptr) {
        return;
    }
    buffer[expected] = '\0';
    BIO* source = BIO_new_mem_buf(text.c_str(), static_cast<int>(n));
    BIO* filter = BIO_new(BIO_f_base64());
    if (source == nullptr || filter == nullptr) {
        BIO_free(source);
        BIO_free(filter);
        std::free(buffer);
        return;
    }
    BIO_set_flags(filter, BIO_FLAGS_BASE64_NO_NL);
    BioChain chain;
    chain.head = BIO_push(filter, source);

    // Reading one byte past `expected` is enough to tell a longer decoding from an exact one,
    // and keeps every read inside the buffer.
    const int capacity = expected + 1;
    int total = 0;
    while (total < capacity) {
        const int got = BIO_read(chain.head, buffer + total, capacity - total);
        if (got <= 0) {
            break;
        }
        total += got;
    }
    if (total == expected) {
        buffer[expected] = '\0';
        out.assign(buffer);  // deliberately a C string: it ends at the first zero byte
    } else {
        out.clear();
    }
    std::free(buffer);
}
