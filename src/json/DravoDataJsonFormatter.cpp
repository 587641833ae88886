#include "json/DravoDataJsonFormatter.h"

#include <cjson/cJSON.h>

#include <memory>

#include "json/JsonNumber.h"

namespace fdr {

DravoDataResult FormatDravoData(const std::string& lid, const std::string& json, std::string& out) {
    const std::unique_ptr<cJSON, void (*)(cJSON*)> document(json::Parse(json), cJSON_Delete);
    if (!document) {
        return DravoDataResult::kNotJson;
    }
    // A notice wrapped in "server" is sent without the wrapper.
    cJSON* node = cJSON_GetObjectItem(document.get(), "server");
    if (node == nullptr) {
        node = document.get();
    }
    cJSON* reason = cJSON_GetObjectItem(node, "notice_reason");
    if (reason != nullptr) {
        cJSON* input = cJSON_CreateObject();
        json::AddItem(input, "autonomy_lid", cJSON_CreateString(lid.c_str()));
        json::AddItem(reason, "input", input);
    } else {
        json::AddItem(node, "autonomy_lid", cJSON_CreateString(lid.c_str()));
    }
    // The receiver reads the formatted print, unlike every other body.
    const std::unique_ptr<char, void (*)(void*)> printed(cJSON_Print(node), cJSON_free);
    if (!printed) {
        return DravoDataResult::kPrintFailed;
    }
    out = printed.get();
    return DravoDataResult::kFormatted;
}

}  // namespace fdr
