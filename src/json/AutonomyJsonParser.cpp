// Readers of the federation service's setting, error and member-list answers.
#include <cjson/cJSON.h>

#include <cstdint>
#include <memory>

#include "json/CFdrUtilParser.h"
#include "json/FederationError.h"
#include "json/JsonNumber.h"
#include "json/JsonTree.h"
#include "log/CenterLog.h"

namespace {

using Record = DravoAgentData::AutonomyList::AutonomyListObj;

using Document = fdr::jsontree::Tree;
using fdr::jsontree::Members;
using fdr::jsontree::ReadText;

void ReadText(const cJSON* object, const char* key, std::string& member) {
    Members members(object);
    ReadText(members, key, member);
}

// The keys in the order the service writes them.
std::shared_ptr<Record> ReadMember(const cJSON* element) {
    auto record = std::make_shared<Record>();
    Members members(element);
    ReadText(members, "add_time", record->add_time);
    ReadText(members, "address", record->address);
    ReadText(members, "autonomy_id", record->autonomy_id);
    ReadText(members, "autonomy_lid", record->autonomy_lid);
    ReadText(members, "autonomy_lname", record->autonomy_lname);
    // Only the first group counts.
    const cJSON* groups = members.Get("group_list");
    if (cJSON_IsArray(groups) && cJSON_IsObject(groups->child)) {
        if (const cJSON* id = fdr::json::GetNumber(groups->child, "id")) {
            record->group_id = fdr::json::AsInt32(id);
        }
    }
    ReadText(members, "mac", record->mac);
    ReadText(members, "password", record->password);
    ReadText(members, "server_mode", record->server_mode);
    ReadText(members, "username", record->username);
    return record;
}

}  // namespace

unsigned int CFdrUtilParser::ParseFederateSetting(const char* text, std::string& guid) {
    Document root(fdr::json::Parse(text));
    if (!root) {
        return kSettingNotJson;
    }
    const cJSON* info = cJSON_GetObjectItem(root.get(), "serviceInfo");
    ReadText(info, "GUID", guid);
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
    // An answer without "autonomy_list" is rejected unread, even when it carries "err_code":
    // callers expect the list-missing code for every answer that has no list.
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
