// The fuzzers' entries: each takes arbitrary bytes as one input of the library (an answer of a
// local service, the host's JSON, a base64 text), runs them through the code that reads such
// input and checks what must hold for every input. A crash or sanitizer report is a finding; so
// is a non-empty verdict. Shared by the libFuzzer targets (FuzzerMain.cpp) and the replay of the
// kept inputs in tests/unit/fuzz_regression_test.cpp, so a reproducer runs the very same code.
#pragma once

#include <cjson/cJSON.h>
#include <json/json.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "federateutil/Base64.h"
#include "json/CFdrUtilParser.h"
#include "json/DravoDataJsonFormatter.h"
#include "json/JsonNumber.h"
#include "json/PrivilegeJsonParser.h"

namespace fdrfuzz {

// What went wrong, or empty.
using Verdict = std::string;
using EntryFunction = Verdict (*)(const uint8_t* data, size_t size);

// Ends the entry with `verdict` when `condition` holds.
#define FDR_FAIL_IF(condition, verdict) \
    if (condition)                      \
    return verdict

namespace detail {

struct Deleter {
    void operator()(cJSON* document) const { cJSON_Delete(document); }
    void operator()(char* text) const { cJSON_free(text); }
};
using Document = std::unique_ptr<cJSON, Deleter>;
using Printed = std::unique_ptr<char, Deleter>;

inline std::string Text(const Printed& printed) {
    return printed ? printed.get() : "nothing";
}

// What a parser is handed: the operations pass the answer's c_str(), so it ends at the first
// zero byte.
inline std::string Answer(const uint8_t* data, size_t size) {
    return std::string(reinterpret_cast<const char*>(data), size).c_str();
}

// Plain cJSON's tree of a zero-terminated answer: the oracle for the library's readers.
inline Document Oracle(const std::string& answer) {
    return Document(cJSON_ParseWithOpts(answer.c_str(), nullptr, false));
}

// The oracle's `key` member, when the answer is a JSON object with one.
inline const cJSON* MemberOf(const Document& oracle, const char* key) {
    return oracle != nullptr ? cJSON_GetObjectItem(oracle.get(), key) : nullptr;
}

// The readers' result codes, as the host sees them.
constexpr unsigned kAnswerNotJson = 0xD3020100, kTokenError = 0xD3020200,
                   kTokenNotJson = 0xD3020201, kSettingError = 0xD3020300,
                   kSettingNotJson = 0xD3020301, kChannelListError = 0xD3020400;

// Marks outputs that a rejected answer must leave as they were.
constexpr char kUntouched[] = "untouched";

// What every reader promises: an answer it cannot use gives `rejected` and leaves the outputs as
// they were; a usable one gives 0 or `error` (any code, when `error` is 0).
inline Verdict Promise(bool usable, unsigned code, unsigned rejected, bool untouched,
                       unsigned error = 0) {
    if (!usable) {
        return code == rejected && untouched ? "" : "an answer it cannot use was read";
    }
    return error == 0 || code == 0 || code == error
               ? ""
               : "a usable answer gave code " + std::to_string(code);
}

// The number of object elements under `list`: the records a list answer yields.
inline size_t ObjectChildren(const cJSON* list) {
    size_t count = 0;
    for (const cJSON* child = list != nullptr ? list->child : nullptr; child; child = child->next) {
        count += cJSON_IsObject(child) ? 1 : 0;
    }
    return count;
}

// Both readers of a number node: its canonical decimal as an int64 (negative) or a uint64.
inline std::string ReadBack(const cJSON* node, bool negative) {
    return negative ? fdr::json::ToDecimal(fdr::json::AsInt64(node))
                    : fdr::json::ToDecimal(fdr::json::AsUInt64(node));
}

// Compares the exact-number tree `ours` with plain cJSON's tree `theirs` of the same text: the
// same shape and keys, exact (raw) nodes only where cJSON has a whole number outside the int32
// range, and every number readable through every reader with the value cJSON read. Counts the
// exact nodes.
inline Verdict CompareTrees(const cJSON* ours, const cJSON* theirs, size_t* exact_nodes) {
    for (; ours != nullptr || theirs != nullptr; ours = ours->next, theirs = theirs->next) {
        FDR_FAIL_IF(ours == nullptr || theirs == nullptr, "the trees differ in length");
        if ((ours->string == nullptr) != (theirs->string == nullptr) ||
            (ours->string != nullptr && std::strcmp(ours->string, theirs->string) != 0)) {
            return "a key differs";
        }
        if (!cJSON_IsNumber(theirs)) {
            FDR_FAIL_IF(cJSON_IsRaw(ours) || ours->type != theirs->type, "a node changed type");
            FDR_FAIL_IF(cJSON_IsString(ours) && std::strcmp(ours->valuestring, theirs->valuestring),
                        "a string differs");
            const Verdict inner = CompareTrees(ours->child, theirs->child, exact_nodes);
            FDR_FAIL_IF(!inner.empty(), inner);
            continue;
        }
        FDR_FAIL_IF(!fdr::json::IsNumber(ours), "a number is no number after Parse");
        const double value = theirs->valuedouble;
        // Every reader, for UBSan's conversion checks.
        const int64_t as_int64 = fdr::json::AsInt64(ours);
        const uint64_t as_uint64 = fdr::json::AsUInt64(ours);
        const uint32_t as_uint32 = fdr::json::AsUInt32(ours);
        FDR_FAIL_IF(fdr::json::AsInt32(ours) != static_cast<int32_t>(as_uint32),
                    "AsInt32 is not the low 32 bits");
        FDR_FAIL_IF(fdr::json::AsDouble(ours) != value, "AsDouble differs from cJSON's value");
        if (cJSON_IsRaw(ours)) {
            ++*exact_nodes;
            const bool negative = ours->valuestring[0] == '-';
            FDR_FAIL_IF(ReadBack(ours, negative) != ours->valuestring,
                        "an exact node does not read back as its own digits");
            FDR_FAIL_IF(negative ? as_int64 >= INT32_MIN : as_uint64 <= INT32_MAX,
                        "an exact node holds an int32 value");
            FDR_FAIL_IF(static_cast<uint32_t>(as_uint64) != as_uint32,
                        "AsUInt32 of an exact node is not the low 32 bits");
        } else if (std::fabs(value) < 9007199254740992.0 && value == std::trunc(value) &&
                   as_int64 != static_cast<int64_t>(value)) {
            return "AsInt64 of a whole number differs from cJSON's value";
        }
    }
    return {};
}

// The formatted or unformatted print of `document`, and that the print reads back through
// fdr::json::Parse and prints again to the same text (no digit or member lost). One exception:
// a double just beyond 64 bits that cJSON prints as a whole value within them (-2^63 - 1 prints
// as "-9.2233720368547758e+18") reads back as that exact integer; the text is stable after that.
inline Verdict PrintRoundTrip(const cJSON* document, bool formatted, std::string* text) {
    const auto print = [formatted](const cJSON* item) {
        return Printed(formatted ? cJSON_Print(item) : cJSON_PrintUnformatted(item));
    };
    const Printed printed = print(document);
    FDR_FAIL_IF(!printed, "the document does not print");
    std::string previous = printed.get();
    for (int round = 0; round < 2; ++round) {
        const Document again(fdr::json::Parse(previous.c_str()));
        const Printed reprinted = again ? print(again.get()) : nullptr;
        FDR_FAIL_IF(!reprinted, "the printed text does not parse or print again");
        if (previous == reprinted.get()) {
            *text = printed.get();
            return {};
        }
        previous = reprinted.get();
    }
    return "the printed text changes on every round trip";
}

// The makers with an arbitrary 64-bit pattern: each reads back, and prints and parses back, as
// the value it was made from. Any double, NaN and infinities included, keeps the readers defined.
inline Verdict CheckMakers(uint64_t bits) {
    const auto signed_bits = static_cast<int64_t>(bits);
    const auto low = static_cast<int32_t>(bits);
    const std::pair<Document, std::string> made[] = {
        {Document(fdr::json::MakeUInt64(bits)), fdr::json::ToDecimal(bits)},
        {Document(fdr::json::MakeInt64(signed_bits)), fdr::json::ToDecimal(signed_bits)},
        {Document(fdr::json::MakeInt32(low)), fdr::json::ToDecimal(low)}};
    for (const auto& [node, decimal] : made) {
        const Printed printed(cJSON_PrintUnformatted(node.get()));
        FDR_FAIL_IF(!printed || decimal != printed.get(),
                    "a made integer prints as " + Text(printed) + ", not " + decimal);
        const Document parsed(fdr::json::Parse(printed.get()));
        const cJSON* reads[] = {node.get(), parsed.get()};
        for (const cJSON* read : reads) {
            FDR_FAIL_IF(ReadBack(read, decimal[0] == '-') != decimal,
                        "a made integer " + decimal + " reads back otherwise");
        }
    }
    double d = 0;
    std::memcpy(&d, &bits, sizeof d);
    const Document number(fdr::json::MakeDouble(d));
    (void)fdr::json::AsInt64(number.get());
    (void)fdr::json::AsUInt64(number.get());
    (void)fdr::json::AsInt32(number.get());
    (void)fdr::json::AsUInt32(number.get());
    return {};
}

// `decimal` (an integer's canonical decimal) written in another form that keeps its value: the
// point moved left by `shift` places and made good by an exponent, `zeros` more zeros after the
// point or (with `scaled`) before an exponent that takes them back: "1.2e1", "1200e-2".
inline std::string WrittenForm(const std::string& decimal, unsigned shift, unsigned zeros,
                               bool scaled, bool upper, bool plus) {
    const bool negative = decimal[0] == '-';
    std::string digits = decimal.substr(negative ? 1 : 0);
    long exponent = static_cast<long>(shift);
    if (scaled) {
        digits.append(zeros, '0');
        exponent -= static_cast<long>(zeros);
    }
    std::string mantissa = digits;
    if (shift >= digits.size()) {
        mantissa = "0." + std::string(shift - digits.size(), '0') + digits;
    } else if (shift > 0) {
        mantissa.insert(digits.size() - shift, ".");
    }
    if (!scaled && zeros > 0) {
        mantissa += (shift == 0 ? "." : "") + std::string(zeros, '0');
    }
    std::string text = (negative ? "-" : "") + mantissa;
    if (exponent != 0) {
        text += std::string(upper ? "E" : "e") + (exponent > 0 ? (plus ? "+" : "") : "-") +
                std::to_string(std::labs(exponent));
    }
    return text;
}

// Any whole value up to 64 bits, in any written form, parses to a number that prints as its
// exact integer, alone or inside a document; a whole double made into a number prints so too.
inline Verdict CheckWholeForms(uint64_t bits, uint8_t form) {
    const auto signed_bits = static_cast<int64_t>(bits);
    const unsigned shift = form % 23;  // with 20 digits, still within cJSON's 63-char literals
    const unsigned zeros = (form / 23) % 8;
    for (const std::string& decimal :
         {fdr::json::ToDecimal(bits), fdr::json::ToDecimal(signed_bits),
          fdr::json::ToDecimal(static_cast<int32_t>(bits))}) {
        const std::string written =
            WrittenForm(decimal, shift, zeros, form & 0x40, form & 0x20, form & 0x80);
        for (const std::string& text : {written, "[" + written + ",1]"}) {
            const Document parsed(fdr::json::Parse(text));
            const Printed printed(parsed ? cJSON_PrintUnformatted(parsed.get()) : nullptr);
            const std::string expected = text[0] == '[' ? "[" + decimal + ",1]" : decimal;
            FDR_FAIL_IF(!printed || expected != printed.get(),
                        text + " prints as " + Text(printed) + ", not " + expected);
        }
    }
    for (const double whole : {static_cast<double>(bits), static_cast<double>(signed_bits)}) {
        if (whole >= 18446744073709551616.0) {
            continue;  // beyond 64 bits: cJSON's own printing
        }
        const std::string decimal = whole < 0 ? fdr::json::ToDecimal(static_cast<int64_t>(whole))
                                              : fdr::json::ToDecimal(static_cast<uint64_t>(whole));
        const Document made(fdr::json::MakeDouble(whole));
        const Printed printed(cJSON_PrintUnformatted(made.get()));
        FDR_FAIL_IF(!printed || decimal != printed.get(),
                    "the whole double " + decimal + " prints as " + Text(printed));
    }
    return {};
}

// A channel list answer whose one channel carries `data` as its "data" text.
inline std::string ChannelListAround(const std::string& data) {
    const Document answer(cJSON_CreateObject());
    cJSON* channel = cJSON_CreateObject();
    cJSON_AddItemToArray(cJSON_AddArrayToObject(answer.get(), "channel_list"), channel);
    cJSON_AddStringToObject(channel, "guid", "c1");
    cJSON_AddStringToObject(channel, "data", data.c_str());
    return Text(Printed(cJSON_PrintUnformatted(answer.get())));
}

}  // namespace detail

// "/fdr/Service": a JSON answer is read (0 or the setting error), any other leaves the GUID.
inline Verdict ServiceSetting(const uint8_t* data, size_t size) {
    const std::string answer = detail::Answer(data, size);
    std::string guid = detail::kUntouched;
    const unsigned code = CFdrUtilParser::ParseFederateSetting(answer.c_str(), guid);
    return detail::Promise(detail::Oracle(answer) != nullptr, code, detail::kSettingNotJson,
                           guid == detail::kUntouched, detail::kSettingError);
}

// The error triple after a write: only a JSON answer with "autonomy_list" is read.
inline Verdict ErrorAnswer(const uint8_t* data, size_t size) {
    const std::string answer = detail::Answer(data, size);
    std::string err_str = detail::kUntouched;
    const unsigned code = CFdrUtilParser::ParseFdrErrorCode(answer.c_str(), err_str);
    return detail::Promise(detail::MemberOf(detail::Oracle(answer), "autonomy_list") != nullptr,
                           code, detail::kAnswerNotJson, err_str == detail::kUntouched);
}

// "/fdr/Autonomies": one record per object element of "autonomy_list", appended.
inline Verdict MemberList(const uint8_t* data, size_t size) {
    using Record = DravoAgentData::AutonomyList::AutonomyListObj;
    const std::string answer = detail::Answer(data, size);
    const auto first = std::make_shared<Record>();
    std::vector<std::shared_ptr<Record>> list = {first};
    const unsigned code = CFdrUtilParser::ParseAutonomyList(answer.c_str(), list);
    FDR_FAIL_IF(list.empty() || list.front() != first,
                "the records already in the list were not kept");
    const detail::Document oracle = detail::Oracle(answer);
    const cJSON* members = detail::MemberOf(oracle, "autonomy_list");
    FDR_FAIL_IF(members != nullptr && list.size() != 1 + detail::ObjectChildren(members),
                "not one record per object in the list");
    return detail::Promise(members != nullptr, code, detail::kAnswerNotJson, list.size() == 1);
}

// "/fdr/CmsChannel": the input as the whole answer, and as the "data" text of a one-channel
// answer, so that the nested channel reader sees arbitrary text too.
inline Verdict ChannelList(const uint8_t* data, size_t size) {
    using Channel = DravoAgentData::ChannelInformation::ChannelObj;
    const std::string answer = detail::Answer(data, size);
    const auto first = std::make_shared<Channel>();
    std::vector<std::shared_ptr<Channel>> list = {first};
    const unsigned code = CFdrUtilParser::ParseChannelList(answer.c_str(), list);
    FDR_FAIL_IF(list.empty() || list.front() != first,
                "the channels already in the list were not kept");
    const detail::Document oracle = detail::Oracle(answer);
    const cJSON* channels = detail::MemberOf(oracle, "channel_list");
    FDR_FAIL_IF(list.size() > 1 + detail::ObjectChildren(channels),
                "more channels than objects in the list");
    const Verdict whole =
        detail::Promise(channels != nullptr, code, detail::kChannelListError, list.size() == 1);
    FDR_FAIL_IF(!whole.empty(), whole);
    // Without "err_code", the one channel is read exactly when its "data" is JSON, and the
    // service's "retrieve" is never taken from it.
    std::vector<std::shared_ptr<Channel>> one;
    const unsigned wrapped =
        CFdrUtilParser::ParseChannelList(detail::ChannelListAround(answer).c_str(), one);
    if (oracle == nullptr) {
        return wrapped == detail::kChannelListError && one.empty()
                   ? ""
                   : "a channel whose \"data\" is no JSON was read";
    }
    return wrapped == 0 && one.size() == 1 && one.front()->retrieve == -1
               ? ""
               : "a channel's \"data\" was read wrongly";
}

// The token answer: text that is no JSON leaves both tokens.
inline Verdict TokenAnswer(const uint8_t* data, size_t size) {
    const std::string answer = detail::Answer(data, size);
    std::string access = detail::kUntouched;
    std::string refresh = detail::kUntouched;
    const unsigned code = CFdrUtilParser::ParseOauthAuthLoginToken(answer.c_str(), access, refresh);
    return detail::Promise(detail::Oracle(answer) != nullptr, code, detail::kTokenNotJson,
                           access == detail::kUntouched && refresh == detail::kUntouched,
                           detail::kTokenError);
}

// The privilege timestamp, read with jsoncpp as GetFdrPrivilegeTime reads it. Its one documented
// exception, Json::LogicError for a "config" that is an array or an object, is expected; any
// other exception escapes and is a finding.
inline Verdict PrivilegeTime(const uint8_t* data, size_t size) {
    const std::string answer(reinterpret_cast<const char*>(data), size);
    // The output always becomes the answer's "config", which may read like any start value:
    // started from two different values, it is replaced when both runs end equal.
    std::string timestamp = detail::kUntouched;
    std::string second = "also untouched";
    try {
        CPrivilegeJsonParser::ParsePrivilegeTime(answer, timestamp);
        CPrivilegeJsonParser::ParsePrivilegeTime(answer, second);
    } catch (const Json::LogicError&) {
        Json::Value root;
        Json::Reader().parse(answer.c_str(), root, true);
        const Json::Value& config = root.isObject() ? root["config"] : Json::Value::nullSingleton();
        return config.isArray() || config.isObject()
                   ? ""
                   : "Json::LogicError for a \"config\" that is no array or object";
    }
    return timestamp == second ? "" : "the timestamp was not replaced";
}

// The host's JSON in NotifyDravoData, through the formatter the operation sends. JSON that
// cJSON reads must be accepted, and the body must settle when read and printed again. It need
// not be that fixed point itself: cJSON prints some fractions in a shorter form that reads back
// as a whole number ("3720368547758080.5" as "3.72036854775808e+15"), which then prints as its
// digits. Whole values pass digit for digit, as the number fuzzer checks on the same reader.
inline Verdict DravoData(const uint8_t* data, size_t size) {
    const std::string json(reinterpret_cast<const char*>(data), size);
    std::string body = detail::kUntouched;
    const fdr::DravoDataResult result = fdr::FormatDravoData("lid-7", json, body);
    if (result == fdr::DravoDataResult::kNotJson) {
        FDR_FAIL_IF(detail::Document(cJSON_ParseWithLengthOpts(json.data(), size, nullptr, false)),
                    "the formatter rejected JSON that cJSON reads");
        return body == detail::kUntouched ? "" : "a rejected notice changed the body";
    }
    FDR_FAIL_IF(result == fdr::DravoDataResult::kPrintFailed, "the notice does not print");
    const detail::Document sent(fdr::json::Parse(body));
    std::string again;
    return sent ? detail::PrintRoundTrip(sent.get(), true, &again) : "the body does not parse";
}

// The exact-number module against plain cJSON: Parse accepts what cJSON accepts, with the same
// tree except for exact nodes; every number reads consistently through every reader; the print
// reads back to itself and equals cJSON's print when no exact node is involved. The first eight
// bytes also drive the makers, and with the ninth the whole values in other written forms.
inline Verdict JsonNumber(const uint8_t* data, size_t size) {
    if (size >= sizeof(uint64_t)) {
        uint64_t bits = 0;
        std::memcpy(&bits, data, sizeof bits);
        Verdict verdict = detail::CheckMakers(bits);
        if (verdict.empty()) {
            verdict = detail::CheckWholeForms(bits, size > sizeof bits ? data[sizeof bits] : 0);
        }
        FDR_FAIL_IF(!verdict.empty(), verdict);
    }
    const char* text = reinterpret_cast<const char*>(data);
    const detail::Document ours(fdr::json::Parse(text, size));
    const detail::Document theirs(cJSON_ParseWithLengthOpts(text, size, nullptr, false));
    if ((ours == nullptr) != (theirs == nullptr)) {
        return ours == nullptr ? "Parse rejected JSON that cJSON reads"
                               : "Parse read text that cJSON rejects";
    }
    size_t exact_nodes = 0;
    std::string printed;
    Verdict verdict = ours ? detail::CompareTrees(ours.get(), theirs.get(), &exact_nodes) : "";
    if (ours && verdict.empty()) {
        verdict = detail::PrintRoundTrip(ours.get(), false, &printed);
    }
    if (ours && verdict.empty() && exact_nodes == 0 &&
        printed != detail::Text(detail::Printed(cJSON_PrintUnformatted(theirs.get())))) {
        return "the print differs from cJSON's without any exact number";
    }
    return verdict;
}

// b64_decode_v2 appends (count - 1) bytes per short last group and stops at the first char
// outside the alphabet; and decoding the encoding of any bytes gives those bytes.
inline Verdict B64Decode(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::string prefix = "kept";
    std::string out = prefix;
    b64_decode_v2(text, out);
    FDR_FAIL_IF(out.compare(0, prefix.size(), prefix) != 0, "the decoder did not append");
    constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const size_t chars = std::strspn(text.c_str(), kAlphabet);  // up to a zero byte
    const size_t rest = chars % 4;
    FDR_FAIL_IF(out.size() - prefix.size() != chars / 4 * 3 + (rest >= 2 ? rest - 1 : 0),
                "the decoded length does not follow the alphabet chars");
    std::string encoded, decoded;
    b64_encode_v2(data, static_cast<unsigned int>(size), encoded);
    b64_decode_v2(encoded, decoded);
    return decoded == text ? "" : "decoding an encoding does not give the bytes back";
}

// DecodeFromBase64String on any non-empty text (an empty one is outside its contract): the
// result is "" or no longer than the input promises. The OpenSSL encoder agrees with
// b64_encode_v2, and decoding its output gives the bytes up to the first zero byte.
inline Verdict Base64String(const uint8_t* data, size_t size) {
    if (size == 0) {
        return {};
    }
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::string out = detail::kUntouched;
    CGenericJsonParser::DecodeFromBase64String(text, out);
    FDR_FAIL_IF(out.size() > std::strlen(text.c_str()) * 3 / 4,
                "decoded more than the input promises");
    std::string encoded, reference, decoded;
    CGenericJsonFormatter::MakeBase64String(text, encoded);
    b64_encode_v2(data, static_cast<unsigned int>(size), reference);
    FDR_FAIL_IF(encoded != reference, "the two encoders disagree");
    CGenericJsonParser::DecodeFromBase64String(encoded, decoded);
    return decoded == text.c_str() ? "" : "decoding an encoding does not give the bytes back";
}

struct Entry {
    const char* name;  // of the fuzzer, its seed corpus and its dictionary
    EntryFunction run;
};

inline constexpr Entry kEntries[] = {
    {"service_setting", ServiceSetting}, {"error_answer", ErrorAnswer},
    {"member_list", MemberList},         {"channel_list", ChannelList},
    {"token_answer", TokenAnswer},       {"privilege_time", PrivilegeTime},
    {"dravo_data", DravoData},           {"json_number", JsonNumber},
    {"b64_decode", B64Decode},           {"base64_string", Base64String},
};

inline EntryFunction Find(const std::string& name) {
    for (const Entry& entry : kEntries) {
        if (name == entry.name) {
            return entry.run;
        }
    }
    return nullptr;
}

}  // namespace fdrfuzz
