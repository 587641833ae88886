// Readers of the federation service's setting, error and member-list answers.
#include <cjson/cJSON.h>

#include <cctype>
#include <cstdint>
#include <memory>

#include "FederateUtil/LocalServices.h"
#include "json/CFdrUtilParser.h"
#include "json/FederationError.h"
#include "json/JsonNumber.h"

namespace {

using Record = DravoAgentData::AutonomyList::AutonomyListObj;

struct DocumentDeleter {
    void operator()(cJSON* root) const { cJSON_Delete(root); }
};
// Released on every path, also when copying a string throws.
using Document = std::unique_ptr<cJSON, DocumentDeleter>;

// Looks members up as cJSON_GetObjectItem does (the first whose name matches case-insensitively),
// but from a cursor that expects them in the order in which ReadMember asks for them, the
// federation service's order: each look-up then costs one comparison instead of a walk over the
// members before it. The keys asked of one object are all different, so a member the cursor has
// passed was the first match of another key and cannot be the first match of the key asked now.
// Once the order breaks, every further look-up walks the members as cJSON does.
class Members {
  public:
    explicit Members(const cJSON* object)
        : object_(object), next_(object != nullptr ? object->child : nullptr) {}

    const cJSON* Get(const char* key) {
        if (in_order_ && next_ != nullptr && SameKey(next_->string, key)) {
            const cJSON* found = next_;
            next_ = next_->next;
            return found;
        }
        in_order_ = false;
        return cJSON_GetObjectItem(object_, key);
    }

  private:
    // cJSON's comparison: equal under tolower, byte for byte.
    static bool SameKey(const char* name, const char* key) {
        if (name == nullptr) {
            return false;
        }
        // Short keys: an inline comparison beats a call; equal bytes are equal under tolower.
        const auto* a = reinterpret_cast<const unsigned char*>(key);
        const auto* b = reinterpret_cast<const unsigned char*>(name);
        while (*a == *b && *a != '\0') {
            ++a;
            ++b;
        }
        if (*a == *b) {
            return true;
        }
        for (; std::tolower(*a) == std::tolower(*b); ++a, ++b) {
            if (*a == '\0') {
                return true;
            }
        }
        return false;
    }

    const cJSON* object_;
    const cJSON* next_;
    bool in_order_ = true;
};

// A key of another type counts as absent and leaves `member` as it was.
void ReadString(Members& object, const char* key, std::string& member) {
    const cJSON* item = object.Get(key);
    if (cJSON_IsString(item)) {
        member = item->valuestring;
    }
}

void ReadString(const cJSON* object, const char* key, std::string& member) {
    Members members(object);
    ReadString(members, key, member);
}

// The keys in the order the service writes them.
std::shared_ptr<Record> ReadMember(const cJSON* element) {
    auto record = std::make_shared<Record>();
    Members members(element);
    ReadString(members, "add_time", record->add_time);
    ReadString(members, "address", record->address);
    ReadString(members, "autonomy_id", record->autonomy_id);
    ReadString(members, "autonomy_lid", record->autonomy_lid);
    ReadString(members, "autonomy_lname", record->autonomy_lname);
    // Only the first group counts.
    const cJSON* groups = members.Get("group_list");
    if (cJSON_IsArray(groups) && cJSON_IsObject(groups->child)) {
        if (const cJSON* id = fdr::json::GetNumber(groups->child, "id")) {
            record->group_id = fdr::json::AsInt32(id);
        }
    }
    ReadString(members, "mac", record->mac);
    ReadString(members, "password", record->password);
    ReadString(members, "server_mode", record->server_mode);
    ReadString(members, "username", record->username);
    return record;
}

}  // namespace

unsigned int CFdrUtilParser::ParseFederateSetting(const char* text, std::string& guid) {
    Document root(fdr::json::Parse(text));
    if (!root) {
        return kSettingNotJson;
    }
    const cJSON* info = cJSON_GetObjectItem(root.get(), "serviceInfo");
    ReadString(info, "GUID", guid);
    // The GUID stays stored even when the answer reports an error.
    const cJSON* err_code = fdr::json::GetNumber(root.get(), "err_code");
    const uint32_t code = err_code != nullptr ? fdr::json::AsUInt32(err_code) : 0;
    if (code != 0) {
        FDR_CENTER_LOG("[fedutil] LoadFederateSetting err_code: 0x%x", code);
        return kSettingError;
    }
    return 0;
}

unsigned int CFdrUtilParser::ParseFdrErrorCode(const char* text, std::string& err_str) {
    Document root(fdr::json::Parse(text));
    // An answer without "autonomy_list" is rejected unread, even when it carries "err_code";
    // deliberate, kept.
    if (!root || cJSON_GetObjectItem(root.get(), "autonomy_list") == nullptr) {
        return kAnswerNotJson;
    }
    uint32_t code = 0;
    fdr::ReportFederationError(root.get(), &err_str, code);
    return code;
}

unsigned int CFdrUtilParser::ParseAutonomyList(const char* text,
                                               std::vector<std::shared_ptr<Record>>& list) {
    Document root(fdr::json::Parse(text));
    const cJSON* members = root ? cJSON_GetObjectItem(root.get(), "autonomy_list") : nullptr;
    if (members == nullptr) {
        return kAnswerNotJson;
    }
    // Every child is a candidate: an object's members are read like an array's elements, and a
    // string or number has no children, so it yields no record.
    for (const cJSON* child = members->child; child != nullptr; child = child->next) {
        if (cJSON_IsObject(child)) {
            list.push_back(ReadMember(child));
        }
    }
    // The records read above stay in the list whatever the error code says.
    uint32_t code = 0;
    fdr::ReportFederationError(root.get(), nullptr, code);
    return code;
}
