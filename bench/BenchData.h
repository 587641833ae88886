// Realistic records and service answers shared by the benchmarks, and the same bodies built with
// bare cJSON calls: the baselines against which the library's own work is measured.
#pragma once

#include <cjson/cJSON.h>

#include <memory>
#include <string>
#include <vector>

#include "federateutil/DravoAgentData.h"
#include "federateutil/Interfaces.h"

namespace bench {

using ChannelObj = DravoAgentData::ChannelInformation::ChannelObj;
using Member = DravoAgentData::AutonomyList::AutonomyListObj;
using ChannelStatusObj = DravoAgentData::RealtimeEvent::ChannelStatusObj;

// A camera as a member typically describes it: presets, sixteen inputs, a second and a third
// stream, two virtual cameras, a name that needs escaping.
std::shared_ptr<ChannelObj> Camera(const std::string& owner, int index);
// `count` cameras owned by `owner`.
ChannelObjList Cameras(const std::string& owner, int count);
// `channels` cameras spread over `members` servers, interleaved (the worst case for grouping).
void Federation(int members, int channels, DravoAgentData::AutonomyList& servers,
                ChannelObjList& list);
// A member server record with every field filled; health codes stay small, as they are.
std::shared_ptr<Member> MemberRecord(int index);
DravoAgentData::AutonomyList Members(int count);
ChannelStatusObjList Statuses(int count);
DravoAgentData::DravoServerInfo LensCatalogues();

// Answers as the local services send them (keys in the services' order).
std::string TokenAnswer();
std::string ServiceAnswer();
std::string WriteAnswer();
std::string AutonomyListAnswer(int members);
std::string ChannelListAnswer(int channels);
std::string PrivilegeTimeAnswer();

// ---- The same trees with bare cJSON calls (literal keys attached without a copy) ----

using Printed = std::unique_ptr<char, void (*)(void*)>;
Printed Print(cJSON* tree);  // prints unformatted and deletes the tree

cJSON* BareChannelTree(const ChannelObj& c);
// mode "add"/"replace"/"update" (data filled) or "remove" (data empty).
Printed BareServerChannelList(const std::string& lid, const ChannelObjList& channels,
                              const char* mode);
Printed BareGroupedBody(const DravoAgentData::AutonomyList& servers,
                        const ChannelObjList& channels);
Printed BareCameraStatusChange(const std::string& lid, const ChannelStatusObjList& statuses);
Printed BareCameraListChange(const std::string& lid, const ChannelObjList& channels);
Printed BareCameraListRefresh(const std::string& lid);
cJSON* BareRestMember(const Member& r);
Printed BareAddAutonomy(const DravoAgentData::AutonomyList& list);
Printed BareRemoveAutonomy(const std::string& lid);
Printed BareArbitratorRemoveAutonomy(const std::string& lid);
// arbitrator true: the arbitrator's body; false: the central service's body.
Printed BareAutonomyChange(const DravoAgentData::AutonomyList& list, bool arbitrator);
Printed BarePrivilegeRequest(const std::string& user);
Printed BareFisheyeSupport(const DravoAgentData::DravoServerInfo& info);
Printed BareProjectionSupport(const DravoAgentData::DravoServerInfo& info);

// The bare reading of a channel-list answer: the answer, then every "data" text. Returns the
// number of channel texts that parsed. Fills no record: the dependency's own cost.
int BareParseChannelList(const char* text);

// ---- The readers' work with bare cJSON calls: the same records, the same lines ----

// The three standard-output lines of an error triple ("err_no : ", "err_str : ", "err_code : "),
// flushed, as every reader of a federation-service answer prints them; copies "err_str" into
// `err_str` when given. Returns "err_code".
unsigned int BarePrintErrorTriple(const cJSON* root, std::string* err_str);
// The token service's answer: both tokens copied; returns 1 when it carries "error", else 0.
unsigned int BareReadTokens(const char* text, std::string& access, std::string& refresh);
// A write answer: its error triple printed, "err_str" copied.
unsigned int BareReadWriteAnswer(const char* text, std::string& err_str);
// The member list into records (ten fields and the first group each), then the error triple.
unsigned int BareReadAutonomyList(const char* text, std::vector<std::shared_ptr<Member>>& list);
// A channel list into records: every "data" text parsed and read field by field into its
// record, then the error triple.
unsigned int BareReadChannelList(const char* text, std::vector<std::shared_ptr<ChannelObj>>& list);

}  // namespace bench
