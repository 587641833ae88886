// Records read from JSON files in the formats the local services use. Every reader throws
// InputError with the file name and the place of the problem. docs/fedutil.md shows each format.
#pragma once

#include <json/json.h>

#include <string>

#include "federateutil/DravoAgentData.h"
#include "federateutil/FederateBoxType.h"
#include "federateutil/Interfaces.h"

namespace fedutil {

// {"autonomy_list":[{<"/fdr/Autonomies" element>, <further record members by name>}, ...]}.
DravoAgentData::AutonomyList ReadMemberFile(const std::string& path);
DravoAgentData::AutonomyList ReadMembers(const Json::Value& root, const std::string& source);

// {"channel_list":[{"guid","name","data"}, ...]} (the "/fdr/CmsChannel" answer; "autonomy_lid"
// beside "channel_list" names the owner) or {"autonomy_list":[{"autonomy_lid","channel_list"}]}.
// "data" is the channel's JSON text, or the channel as an object; without it the entry's guid
// and name make the channel. An entry's own "owner_lid" overrides its group's lid.
ChannelObjList ReadChannelFile(const std::string& path);
ChannelObjList ReadChannels(const Json::Value& root, const std::string& source);

// {"channel_status_list":[{"channel_guid","channel_index","living_status":[...],
//  "recorded_statistic":{...}}, ...]}.
ChannelStatusObjList ReadChannelStatusFile(const std::string& path);
ChannelStatusObjList ReadChannelStatuses(const Json::Value& root, const std::string& source);

// {"lid","lname","username","password","address","group"}.
FederateBoxType::AutonomyInfo ReadAutonomyInfoFile(const std::string& path);
FederateBoxType::AutonomyInfo ReadAutonomyInfo(const Json::Value& root, const std::string& source);

// {"FishEyeParameterTable":[...], "ProjectionTable":[...]}: the two support files' own shapes,
// either or both.
DravoAgentData::DravoServerInfo ReadLensCatalogueFile(const std::string& path);
DravoAgentData::DravoServerInfo ReadLensCatalogue(const Json::Value& root,
                                                  const std::string& source);

}  // namespace fedutil
