#include "json/PrivilegeJsonFormatter.h"

#include <cjson/cJSON.h>

#include <sstream>

#include "json/JsonNumber.h"
#include "platform/host_utils.h"

namespace {

// The request document, or null when building it failed part-way.
cJSON* BuildPrivilegeRequest(const std::string& user) {
    bool is_domain = false;
    fdrutil_check_is_domain_user(user, is_domain);

    cJSON* root = cJSON_CreateObject();
    if (root == nullptr) {
        return nullptr;
    }
    if (!fdr::json::AddInt32(root, "report_type", 0) ||
        !fdr::json::AddInt32(root, "access_type", 0) ||
        !fdr::json::AddItem(root, "is_domain", cJSON_CreateBool(is_domain ? 1 : 0))) {
        cJSON_Delete(root);
        return nullptr;
    }
    // An empty name is asked for with an empty object, not an empty array; the service tells
    // the two apart.
    cJSON* identifies = nullptr;
    if (!user.empty()) {
        const char* names[] = {user.c_str()};
        identifies = cJSON_CreateStringArray(names, 1);
    } else {
        identifies = cJSON_CreateObject();
    }
    if (!fdr::json::AddItem(root, "identifies", identifies)) {
        cJSON_Delete(root);
        return nullptr;
    }
    return root;
}

}  // namespace

int CPrivilegeJsonFormatter::FormatterPrivilegeInfo(std::string& user, std::string&,
                                                    std::string& out) {
    std::ostringstream text;
    if (cJSON* root = BuildPrivilegeRequest(user)) {
        if (char* printed = cJSON_PrintUnformatted(root)) {
            text << printed;
            cJSON_free(printed);
        }
        cJSON_Delete(root);
    }
    out = text.str();
    return 0;
}
