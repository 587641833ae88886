// The members of a member-server record that fedutil reads from and writes to member files, by
// JSON key. The service's own keys come first; the others are the record's member names.
#pragma once

#include "federateutil/DravoAgentData.h"

namespace fedutil {

using MemberRecord = DravoAgentData::AutonomyList::AutonomyListObj;

template <typename T>
struct MemberField {
    const char* key;
    T MemberRecord::*member;
};

// The text keys of a "/fdr/Autonomies" answer element (the library's reader fills these).
inline constexpr MemberField<std::string> kServiceTextFields[] = {
    {"autonomy_lid", &MemberRecord::autonomy_lid},
    {"autonomy_id", &MemberRecord::autonomy_id},
    {"autonomy_lname", &MemberRecord::autonomy_lname},
    {"address", &MemberRecord::address},
    {"username", &MemberRecord::username},
    {"password", &MemberRecord::password},
    {"server_mode", &MemberRecord::server_mode},
    {"mac", &MemberRecord::mac},
    {"add_time", &MemberRecord::add_time},
};

// What a host knows of a member besides the service's answer (firmware for the failover
// information, capabilities for the notifications, ...).
inline constexpr MemberField<std::string> kHostTextFields[] = {
    {"firmware", &MemberRecord::firmware},
    {"firmware_date", &MemberRecord::firmware_date},
    {"sid", &MemberRecord::sid},
    {"token", &MemberRecord::token},
    {"machine_internal_model", &MemberRecord::machine_internal_model},
    {"machine_model", &MemberRecord::machine_model},
    {"machine_name", &MemberRecord::machine_name},
    {"machine_version", &MemberRecord::machine_version},
    {"auth_data", &MemberRecord::auth_data},
    {"cms_server_required_lower", &MemberRecord::cms_server_required_lower},
    {"cms_server_required_upper", &MemberRecord::cms_server_required_upper},
    {"pc_client_required_lower", &MemberRecord::pc_client_required_lower},
    {"pc_client_required_upper", &MemberRecord::pc_client_required_upper},
    {"sys_health", &MemberRecord::sys_health},
};

inline constexpr MemberField<bool> kHostFlagFields[] = {
    {"is_admin", &MemberRecord::is_admin},
    {"is_support_enable_app", &MemberRecord::is_support_enable_app},
    {"is_support_update_fw", &MemberRecord::is_support_update_fw},
    {"is_support_add_server", &MemberRecord::is_support_add_server},
    {"is_zep", &MemberRecord::is_zep},
    {"centralized_by_another", &MemberRecord::centralized_by_another},
};

inline constexpr MemberField<int32_t> kHostNumberFields[] = {
    {"ch_num", &MemberRecord::ch_num},
    {"retrieve", &MemberRecord::retrieve},
};

// Also read and written: "group_list" ([{"id": group_id}]), "health_status" (unsigned 64-bit)
// and "thirdparty_support_list" (JSON, kept in the record as text).

}  // namespace fedutil
