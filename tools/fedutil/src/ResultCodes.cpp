#include "Fedutil.h"

#include <cstdint>
#include <cstdio>
#include <optional>

#include "catalogue/ServiceCatalogue.h"

namespace fedutil {

namespace {

constexpr int kNotBuilt = -38;

}  // namespace

int ExitStatusForResult(int result) {
    if (result >= 0 && result <= 63) {
        return result;
    }
    return 1;
}

std::string HexResult(int result) {
    char text[16];
    std::snprintf(text, sizeof(text), "0x%08X", static_cast<uint32_t>(result));
    return text;
}

namespace {

// The service's error echoed by the library's parsers: "err_code : 3" (unsigned) and
// "err_str : unknown autonomy_lid 9". Empty when the console holds no matching code.
std::optional<std::string> ServiceError(int result, const std::vector<std::string>& console) {
    const std::string code = "err_code : " + std::to_string(static_cast<uint32_t>(result));
    bool found = false;
    std::string text;
    for (const auto& line : console) {
        found = found || line == code;
        if (line.rfind("err_str : ", 0) == 0) {
            text = line.substr(10);
        }
    }
    if (!found) {
        return std::nullopt;
    }
    return "the federation service's err_code " + std::to_string(result) +
           (text.empty() ? "" : ": " + text);
}

}  // namespace

std::string DescribeResult(int result, ResultKind kind, const std::vector<std::string>& console) {
    if (result == 0) {
        return "ok";
    }
    if (result == kNotBuilt) {
        return "not built in this version of the library";
    }
    const char* client = fdr::MeaningOf(fdr::kLocalClientResults, static_cast<uint32_t>(result));
    const char* parser = fdr::MeaningOf(fdr::kParserResults, static_cast<uint32_t>(result));
    switch (kind) {
        case ResultKind::AlwaysZero:
            return "unexpected: this operation is documented to return 0";
        case ResultKind::RequestCode:
            return client != nullptr ? client : "local client: unknown code";
        case ResultKind::RequestOrParser:
        case ResultKind::RequestOrServiceCode:
            if (auto service = ServiceError(result, console)) {
                return *service;
            }
            if (parser != nullptr && kind == ResultKind::RequestOrParser) {
                return parser;
            }
            if (client != nullptr) {
                return client;
            }
            return "the federation service's err_code " + std::to_string(result);
    }
    return "unknown code";
}

}  // namespace fedutil
