#include "json/FederationError.h"

#include <cstdio>

#include "json/JsonNumber.h"

namespace fdr {

bool ReportFederationError(const cJSON* root, std::string* err_str, uint32_t& code) {
    const cJSON* err_no = cJSON_GetObjectItem(root, "err_no");
    if (cJSON_IsString(err_no)) {
        std::printf("err_no : %s\n", err_no->valuestring);
    }
    const cJSON* err_text = cJSON_GetObjectItem(root, "err_str");
    if (cJSON_IsString(err_text)) {
        if (err_str != nullptr) {
            *err_str = err_text->valuestring;
        }
        std::printf("err_str : %s\n", err_text->valuestring);
    }
    const cJSON* err_code = json::GetNumber(root, "err_code");
    bool present = err_code != nullptr;
    if (present) {
        code = json::AsUInt32(err_code);
        std::printf("err_code : %u\n", code);
    }
    std::fflush(stdout);
    return present;
}

}  // namespace fdr
