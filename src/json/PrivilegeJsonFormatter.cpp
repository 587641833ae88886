#include "json/PrivilegeJsonFormatter.h"

#include <cjson/cJSON.h>

#include <memory>

#include "json/JsonNumber.h"
#include "platform/host_utils.h"

namespace {

// Attaches `item` under the literal `key` without copying the key, or deletes it.
bool Attach(cJSON* object, const char* key, cJSON* item) {
    if (item == nullptr) {
        return false;
    }
    if (!cJSON_AddItemToObjectCS(object, key, item)) {
        cJSON_Delete(item);
        return false;
    }
    return true;
}

// The request document, or null when building it failed part-way.
cJSON* BuildPrivilegeRequest(const std::string& user) {
    bool is_domain = false;
    fdrutil_check_is_domain_user(user, is_domain);

    cJSON* root = cJSON_CreateObject();
    if (root == nullptr) {
        return nullptr;
    }
    if (!Attach(root, "report_type", fdr::json::MakeInt32(0)) ||
        !Attach(root, "access_type", fdr::json::MakeInt32(0)) ||
        !Attach(root, "is_domain", cJSON_CreateBool(is_domain ? 1 : 0))) {
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
    if (!Attach(root, "identifies", identifies)) {
        cJSON_Delete(root);
        return nullptr;
    }
    return root;
}

}  // namespace

int CPrivilegeJsonFormatter::FormatterPrivilegeInfo(std::string& user, std::string&,
                                                    std::string& out) {
    const std::unique_ptr<cJSON, void (*)(cJSON*)> root(BuildPrivilegeRequest(user), cJSON_Delete);
    const std::unique_ptr<char, void (*)(void*)> printed(
        root ? cJSON_PrintUnformatted(root.get()) : nullptr, cJSON_free);
    if (printed) {
        out = printed.get();
    } else {
        out.clear();
    }
    return 0;
}
