// Records as JSON, in the same formats that the record files are read in (RecordFiles.h), so
// that what fedutil prints can be fed back to it.
#pragma once

#include <string>

#include "JsonOutput.h"
#include "federateutil/DravoAgentData.h"
#include "federateutil/Interfaces.h"

namespace fedutil {

// {"autonomy_list":[...]}: the service's keys, then the host's members that differ from the
// record's defaults.
JsonTree MemberListJson(const DravoAgentData::AutonomyList& members);

// {"autonomy_lid":<lid>,"channel_list":[{"guid","name","data":"<channel text>"}]}.
JsonTree ChannelListJson(const std::string& lid, const ChannelObjList& channels);

// The channel's text as the library sends it under "data", except that virtual cameras are
// objects (the library's text flattens them into bare values, which no reader takes back).
std::string ChannelDataText(
    const std::shared_ptr<DravoAgentData::ChannelInformation::ChannelObj>& channel);

}  // namespace fedutil
