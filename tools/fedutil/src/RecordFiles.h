// Record files: records in the local services' JSON formats, read from files and printed
// back in the same formats, so that what fedutil prints can be fed back to it. Every reader
// throws InputError with the file name and the place of the problem; "-" is standard input.
// docs/fedutil.md shows each format.
#pragma once

#include <json/json.h>

#include <string>

#include "JsonText.h"
#include "federateutil/DravoAgentData.h"
#include "federateutil/FederateBoxType.h"
#include "federateutil/Interfaces.h"

namespace fedutil {

// The whole content of `path`; "-" is standard input. Throws InputError naming the file.
std::string ReadInputText(const std::string& path);

// Parses `text` as one JSON value, strictly; `source` names it in messages
// ("members.json:3:14: ..."). Throws InputError.
Json::Value ParseJsonInput(const std::string& text, const std::string& source);

// {"autonomy_list":[{<"/fdr/Autonomies" element>, <further record members by name>}, ...]}.
DravoAgentData::AutonomyList ReadMemberFile(const std::string& path);

// {"channel_list":[{"guid","name","data"}, ...]} (the "/fdr/CmsChannel" answer; "autonomy_lid"
// beside "channel_list" names the owner) or {"autonomy_list":[{"autonomy_lid","channel_list"}]}.
// "data" is the channel's JSON text, or the channel as an object; without it the entry's guid
// and name make the channel. An entry's own "owner_lid" overrides its group's lid.
ChannelObjList ReadChannelFile(const std::string& path);

// {"channel_status_list":[{"channel_guid","channel_index","living_status":[...],
//  "recorded_statistic":{...}}, ...]}.
ChannelStatusObjList ReadChannelStatusFile(const std::string& path);

// {"lid","lname","username","password","address","group"}.
FederateBoxType::AutonomyInfo ReadAutonomyInfoFile(const std::string& path);

// {"FishEyeParameterTable":[...], "ProjectionTable":[...]}: the two support files' own shapes,
// either or both. `source` names `root` in messages.
DravoAgentData::DravoServerInfo ReadLensCatalogueFile(const std::string& path);
DravoAgentData::DravoServerInfo ReadLensCatalogue(const Json::Value& root,
                                                  const std::string& source);

// {"autonomy_list":[...]}: the service's keys, then the host's members that differ from the
// record's defaults.
JsonTree MemberListJson(const DravoAgentData::AutonomyList& members);

// {"autonomy_lid":<lid>,"channel_list":[{"guid","name","data":"<channel text>"}]}. "data" is
// the channel's text as the library sends it, except that virtual cameras are objects (the
// library's text flattens them into bare values, which no reader takes back).
JsonTree ChannelListJson(const std::string& lid, const ChannelObjList& channels);

}  // namespace fedutil
