#include "federateutil/Base64.h"

#include <array>
#include <cstdint>

namespace {

// The one alphabet both directions use.
constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr int kNotInAlphabet = -1;

// char -> index, derived from kAlphabet so the two directions cannot disagree.
constexpr std::array<int8_t, 256> MakeIndexTable() {
    std::array<int8_t, 256> table{};
    for (auto& entry : table) {
        entry = kNotInAlphabet;
    }
    for (int i = 0; i < 64; ++i) {
        table[static_cast<unsigned char>(kAlphabet[i])] = static_cast<int8_t>(i);
    }
    return table;
}
constexpr std::array<int8_t, 256> kIndexOf = MakeIndexTable();

}  // namespace

void b64_encode_v2(const unsigned char* data, unsigned int length, std::string& out) {
    if (length == 0 || data == nullptr) {
        return;
    }
    out.reserve(out.size() + (static_cast<size_t>(length) + 2) / 3 * 4);
    size_t i = 0;
    for (; length - i >= 3; i += 3) {
        const uint32_t group =
            (uint32_t{data[i]} << 16) | (uint32_t{data[i + 1]} << 8) | data[i + 2];
        out += kAlphabet[(group >> 18) & 0x3F];
        out += kAlphabet[(group >> 12) & 0x3F];
        out += kAlphabet[(group >> 6) & 0x3F];
        out += kAlphabet[group & 0x3F];
    }
    const size_t rest = length - i;
    if (rest == 0) {
        return;
    }
    // Pad the last group with zero bytes; its (rest + 1) chars carry all the data bits.
    const uint32_t group = (uint32_t{data[i]} << 16) | (rest == 2 ? uint32_t{data[i + 1]} << 8 : 0);
    out += kAlphabet[(group >> 18) & 0x3F];
    out += kAlphabet[(group >> 12) & 0x3F];
    out += rest == 2 ? kAlphabet[(group >> 6) & 0x3F] : '=';
    out += '=';
}

void b64_decode_v2(const std::string& text, std::string& out) {
    uint32_t group = 0;
    int count = 0;
    for (const char c : text) {
        const int index = kIndexOf[static_cast<unsigned char>(c)];
        if (index == kNotInAlphabet) {
            break;  // "=" or anything foreign ends the data
        }
        group = (group << 6) | static_cast<uint32_t>(index);
        if (++count == 4) {
            out += static_cast<char>((group >> 16) & 0xFF);
            out += static_cast<char>((group >> 8) & 0xFF);
            out += static_cast<char>(group & 0xFF);
            group = 0;
            count = 0;
        }
    }
    // A short last group is filled with index 0 and gives (count - 1) bytes; one char gives none.
    if (count >= 2) {
        group <<= 6 * (4 - count);
        out += static_cast<char>((group >> 16) & 0xFF);
        if (count == 3) {
            out += static_cast<char>((group >> 8) & 0xFF);
        }
    }
}
