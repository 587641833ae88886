// The token service's answer.
#include <cjson/cJSON.h>

#include "json/CFdrUtilParser.h"
#include "json/JsonNumber.h"
#include "log/CenterLog.h"

namespace {

const char* StringValue(const cJSON* object, const char* key) {
    const cJSON* item = cJSON_GetObjectItem(object, key);
    return cJSON_IsString(item) && item->valuestring != nullptr ? item->valuestring : nullptr;
}

}  // namespace

unsigned int CFdrUtilParser::ParseOauthAuthLoginToken(const char* text, std::string& access_token,
                                                      std::string& refresh_token) {
    if (text == nullptr) {
        return kTokenNotJson;
    }
    cJSON* root = fdr::json::Parse(text);
    if (root == nullptr) {
        return kTokenNotJson;
    }
    // Both tokens are taken before "error" is looked at: an answer carrying tokens and an error
    // still updates both.
    if (const char* refresh = StringValue(root, "refresh_token")) {
        refresh_token = refresh;
    }
    if (const char* access = StringValue(root, "access_token")) {
        access_token = access;
    }
    unsigned int result = 0;
    if (const char* error = StringValue(root, "error")) {
        FDR_CENTER_LOG("[fedutil] OauthAuthLoginToken error: %s", error);
        result = kTokenError;
    }
    cJSON_Delete(root);
    return result;
}
