#include "json/AutonomyJsonFormatter.h"

#include <cjson/cJSON.h>

#include <vector>

#include "federateutil/Base64.h"
#include "json/JsonNumber.h"
#include "json/JsonTree.h"

namespace {

using Record = CAutonomyListJsonFormatter::Record;

using fdr::jsontree::AddBool;
using fdr::jsontree::AddInt32;
using fdr::jsontree::AddText;
using fdr::jsontree::AddUInt64;
using fdr::jsontree::Attach;
using fdr::jsontree::Tree;

struct TextDeleter {
    void operator()(char* text) const { cJSON_free(text); }
};
using Text = std::unique_ptr<char, TextDeleter>;

// A new array attached to `root` under "autonomy_list" (owned by `root`), or null.
cJSON* AddList(cJSON* root) {
    cJSON* array = cJSON_CreateArray();
    return Attach(root, "autonomy_list", array) ? array : nullptr;
}

// Takes `item` into `array`; deletes it when that fails.
bool Append(cJSON* array, cJSON* item) {
    if (!cJSON_AddItemToArray(array, item)) {
        cJSON_Delete(item);
        return false;
    }
    return true;
}

void Print(const cJSON* root, std::string& out) {
    Text text(cJSON_PrintUnformatted(root));
    if (text) {
        out = text.get();
    }
}

// {"lower": lower, "upper": upper}, or null.
cJSON* MakeRange(const std::string& lower, const std::string& upper) {
    Tree range(cJSON_CreateObject());
    if (!range || !AddText(range.get(), "lower", lower) || !AddText(range.get(), "upper", upper)) {
        return nullptr;
    }
    return range.release();
}

cJSON* MakeCapabilities(const Record& r) {
    Tree capabilities(cJSON_CreateObject());
    cJSON* c = capabilities.get();
    if (!c || !AddBool(c, "is_support_enable_app", r.is_support_enable_app) ||
        !AddBool(c, "is_support_update_fw", r.is_support_update_fw) ||
        !AddBool(c, "is_support_add_server", r.is_support_add_server)) {
        return nullptr;
    }
    return capabilities.release();
}

cJSON* MakeNoticeReason() {
    Tree reason(cJSON_CreateObject());
    cJSON* n = reason.get();
    if (!n || !AddInt32(n, "type", 23) || !AddInt32(n, "action", 23000) ||
        !AddText(n, "command_id", "")) {
        return nullptr;
    }
    return reason.release();
}

enum class Receiver { kArbitrator, kDravoService };

// The keys of a member object in the change bodies, shared by both receivers; the central
// video-management service gets neither "autonomy_group" nor "center_capabilities". Stops at the
// first value that cannot be created and returns false; `object` keeps the keys added so far.
bool AddMemberKeys(cJSON* o, const Record& r, Receiver receiver) {
    const bool arbitrator = receiver == Receiver::kArbitrator;
    if (arbitrator && !AddInt32(o, "autonomy_group", r.group_id)) {
        return false;
    }
    // The desktop-client range takes its "lower" from the central-server lower bound, so the
    // desktop client's own lower bound is never sent; the receiver expects it so.
    const bool head =
        AddText(o, "auth_data", r.auth_data) && AddText(o, "autonomy_add_time", r.add_time) &&
        AddText(o, "autonomy_address", r.address) && AddText(o, "autonomy_firmware", r.firmware) &&
        AddText(o, "autonomy_firmware_date", r.firmware_date) &&
        AddUInt64(o, "autonomy_health_status", r.health_status) &&
        AddText(o, "autonomy_id", r.autonomy_id) && AddText(o, "autonomy_lid", r.autonomy_lid) &&
        AddText(o, "autonomy_lname", r.autonomy_lname) && AddText(o, "autonomy_mac", r.mac) &&
        AddText(o, "autonomy_mode", r.server_mode) && AddText(o, "autonomy_password", r.password) &&
        AddText(o, "autonomy_sid", r.sid) && AddText(o, "autonomy_username", r.username) &&
        AddBool(o, "is_admin", r.is_admin) &&
        AddText(o, "machine_internal_model", r.machine_internal_model) &&
        AddText(o, "machine_model", r.machine_model) &&
        AddText(o, "machine_name", r.machine_name) &&
        AddText(o, "machine_version", r.machine_version) &&
        Attach(o, "zelpro_cms_server_required",
               MakeRange(r.cms_server_required_lower, r.cms_server_required_upper)) &&
        Attach(o, "zelpro_pc_client_required",
               MakeRange(r.cms_server_required_lower, r.pc_client_required_upper)) &&
        AddInt32(o, "retrieve", r.retrieve) && AddText(o, "autonomy_token", r.token) &&
        // A number on the record, text on the wire.
        AddText(o, "autonomy_ch_num", fdr::json::ToDecimal(r.ch_num));
    if (!head) {
        return false;
    }
    if (arbitrator && !Attach(o, "center_capabilities", MakeCapabilities(r))) {
        return false;
    }
    if (!AddBool(o, "is_zep", r.is_zep) ||
        !AddBool(o, "centralized_by_another", r.centralized_by_another)) {
        return false;
    }
    // Sent as the JSON it holds; empty or unparsable text leaves the key out and is no failure.
    if (!r.thirdparty_support_list.empty()) {
        Attach(o, "thirdparty_support_list", fdr::json::Parse(r.thirdparty_support_list));
    }
    return AddText(o, "sys_health", r.sys_health);
}

int FormatChange(DravoAgentData::AutonomyList& list, Receiver receiver, std::string& out) {
    out.clear();
    Tree root(cJSON_CreateObject());
    if (!root) {
        return 0;
    }
    if (receiver == Receiver::kDravoService &&
        !Attach(root.get(), "notice_reason", MakeNoticeReason())) {
        return 0;
    }
    cJSON* array = AddList(root.get());
    if (array == nullptr) {
        return 0;
    }
    // Only the last record reaches the body (the receiver expects one object, that of the last
    // record), so only its object is built.
    const Record* last = nullptr;
    for (auto it = list.autonomy_list.rbegin(); it != list.autonomy_list.rend(); ++it) {
        if (*it) {
            last = it->get();
            break;
        }
    }
    if (last != nullptr) {
        Tree member(cJSON_CreateObject());
        if (member) {
            AddMemberKeys(member.get(), *last, receiver);  // a partly built object is still sent
            Append(array, member.release());
        }
    }
    Print(root.get(), out);
    return 0;
}

// The member log service's object for one record, or null when it cannot be built whole.
cJSON* MakeRestObject(const Record& r) {
    Tree object(cJSON_CreateObject());
    cJSON* o = object.get();
    // The member log service expects "machine_name" twice.
    const bool built =
        o && AddText(o, "autonomy_lid", r.autonomy_lid) && AddText(o, "auth_data", r.auth_data) &&
        AddText(o, "autonomy_add_time", r.add_time) && AddText(o, "autonomy_address", r.address) &&
        AddText(o, "autonomy_firmware", r.firmware) &&
        AddText(o, "autonomy_firmware_date", r.firmware_date) &&
        AddText(o, "machine_internal_model", r.machine_internal_model) &&
        AddText(o, "machine_model", r.machine_model) &&
        AddText(o, "machine_name", r.machine_name) && AddText(o, "machine_name", r.machine_name) &&
        AddText(o, "machine_version", r.machine_version) &&
        AddText(o, "autonomy_id", r.autonomy_id) &&
        AddText(o, "autonomy_lname", r.autonomy_lname) && AddText(o, "autonomy_mac", r.mac) &&
        AddText(o, "autonomy_mode", r.server_mode) && AddText(o, "autonomy_username", r.username) &&
        AddText(o, "autonomy_password", r.password) && AddText(o, "autonomy_sid", r.sid) &&
        AddText(o, "autonomy_token", r.token) &&
        AddUInt64(o, "autonomy_health_status", r.health_status) &&
        AddText(o, "autonomy_ch_num", fdr::json::ToDecimal(r.ch_num)) &&
        AddBool(o, "is_admin", r.is_admin) && AddInt32(o, "autonomy_group", r.group_id);
    return built ? object.release() : nullptr;
}

}  // namespace

int CAutonomyListJsonFormatter::FormatRestAutonomy(std::shared_ptr<Record>& record,
                                                   std::stringstream& stream) {
    if (!record) {
        return 0;
    }
    Tree object(MakeRestObject(*record));
    if (!object) {
        return 0;
    }
    Text text(cJSON_PrintUnformatted(object.get()));
    if (text) {
        stream << text.get();
    }
    // "sys_health" joins the object only after it was printed, so the member log service never
    // receives it; the order is deliberate.
    AddText(object.get(), "sys_health", record->sys_health);
    return 0;
}

int CAutonomyListJsonFormatter::FormatterAddAutonomy(DravoAgentData::AutonomyList& list,
                                                     std::string& out) {
    out.clear();
    // The copy keeps every record alive while it is formatted.
    const std::vector<std::shared_ptr<Record>> records = list.autonomy_list;
    Tree root(cJSON_CreateObject());
    cJSON* array = AddList(root.get());
    if (array == nullptr) {
        return 0;
    }
    for (const auto& record : records) {
        // FormatRestAutonomy's text, without the stream: the object is printed, and the
        // "sys_health" it would gain afterwards is never printed.
        if (!record) {
            continue;
        }
        Tree object(MakeRestObject(*record));
        Text text(object ? cJSON_PrintUnformatted(object.get()) : nullptr);
        object.reset();
        // Read back with the exact parser so that health codes above 2^53 keep every digit; a
        // record that printed nothing is left out.
        cJSON* member = text ? fdr::json::Parse(text.get()) : nullptr;
        if (member != nullptr) {
            Append(array, member);
        }
    }
    Print(root.get(), out);
    return 0;
}

int CAutonomyListJsonFormatter::FormatterRemoveAutonomyInfo(std::string& lid, std::string& out) {
    out.clear();
    Tree root(cJSON_CreateObject());
    cJSON* array = AddList(root.get());
    if (array == nullptr || !Append(array, cJSON_CreateString(lid.c_str()))) {
        return 0;
    }
    Print(root.get(), out);
    return 0;
}

int CAutonomyListJsonFormatter::FormatterArbitratorRemoveAutonomyInfo(std::string& lid,
                                                                      std::string& out) {
    out.clear();
    Tree root(cJSON_CreateObject());
    cJSON* array = AddList(root.get());
    Tree member(cJSON_CreateObject());
    if (array == nullptr || !member || !AddText(member.get(), "autonomy_lid", lid) ||
        !AddInt32(member.get(), "retrieve", 1) || !Append(array, member.release())) {
        return 0;
    }
    Print(root.get(), out);
    return 0;
}

int CAutonomyListJsonFormatter::FormatterArbitratorAutonomyChange(
    DravoAgentData::AutonomyList& list, std::string& out) {
    return FormatChange(list, Receiver::kArbitrator, out);
}

int CAutonomyListJsonFormatter::FormatterDravoServerAutonomyChange(
    DravoAgentData::AutonomyList& list, std::string& out) {
    return FormatChange(list, Receiver::kDravoService, out);
}

int CAutonomyListJsonFormatter::FormatterFailOverInfo(const DravoAgentData::AutonomyList& list,
                                                      std::string& out) {
    out = "{\"autonomy_list\":[";
    const auto& entries = list.autonomy_list;
    for (const auto& record : entries) {
        if (!record) {
            continue;
        }
        out += "{";
        out += "\"autonomy_lid\":\"" + record->autonomy_lid + "\",";
        out += "\"version\":\"" + record->firmware + "\",";
        out += "\"version_date\":\"" + record->firmware_date + "\",";
        out += "\"mac\":\"" + record->mac + "\",";
        out += "\"machine_model\":\"" + record->machine_model + "\"";
        out += "}";
        if (record != entries.back()) {
            out += ",";
        }
    }
    out += "]}";
    return 0;
}

int CAutonomyListJsonFormatter::FormatterAutoModeChange(const FederateBoxType::AutonomyInfo& info,
                                                        const std::string& server_mode,
                                                        std::string& out) {
    std::string password;
    b64_encode_v2(reinterpret_cast<const unsigned char*>(info.password.data()),
                  static_cast<unsigned int>(info.password.size()), password);
    out = "{";
    out += "\"autonomy_list\":[{";
    out += "\"lid\":\"" + info.lid + "\",";
    out += "\"lname\":\"" + info.lname + "\",";
    out += "\"username\":\"" + info.username + "\",";
    out += "\"password\":\"" + password + "\",";
    out += "\"server_mode\":\"" + server_mode + "\",";
    out += "\"address\":\"" + info.address + "\",";
    out += "\"group\":" + fdr::json::ToDecimal(info.group);
    out += "}]";
    out += "}";
    return 0;
}
