#include "runner/Operations.h"

#include <json/json.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <type_traits>
#include <variant>

#include "json/CFdrUtilParser.h"
#include "json/ChannelJsonFormatter.h"

namespace fdrcase {

namespace {

using AutonomyRecord = DravoAgentData::AutonomyList::AutonomyListObj;
using ChannelObj = DravoAgentData::ChannelInformation::ChannelObj;
using ChannelStatusObj = DravoAgentData::RealtimeEvent::ChannelStatusObj;

using R = AutonomyRecord;
using Member = std::variant<std::string R::*, bool R::*, int32_t R::*, int64_t R::*, uint64_t R::*>;
#define MEMBER(name) \
    { #name, &R::name }

// The host record's members by name: what the services' reader never fills is given this way,
// and what a load read back is shown this way.
// clang-format off
const std::pair<const char*, Member> kMembers[] = {
    MEMBER(server_mode), MEMBER(address), MEMBER(username), MEMBER(password), MEMBER(autonomy_lid),
    MEMBER(autonomy_lname), MEMBER(add_time), MEMBER(host_text1), MEMBER(firmware),
    MEMBER(firmware_date), MEMBER(autonomy_id), MEMBER(mac), MEMBER(sid), MEMBER(token),
    MEMBER(machine_internal_model), MEMBER(machine_model), MEMBER(machine_name),
    MEMBER(machine_version), MEMBER(auth_data), MEMBER(cms_server_required_lower),
    MEMBER(cms_server_required_upper), MEMBER(pc_client_required_lower),
    MEMBER(pc_client_required_upper), MEMBER(host_text2), MEMBER(host_text3),
    MEMBER(thirdparty_support_list), MEMBER(sys_health), MEMBER(is_admin), MEMBER(host_flag1),
    MEMBER(host_flag2), MEMBER(host_flag3), MEMBER(host_flag4), MEMBER(is_support_enable_app),
    MEMBER(is_support_update_fw), MEMBER(is_support_add_server), MEMBER(is_zep),
    MEMBER(centralized_by_another), MEMBER(group_id), MEMBER(ch_num), MEMBER(retrieve),
    MEMBER(host_value1), MEMBER(host_value2), MEMBER(health_status)};
// clang-format on

Json::Value JsonFrom(const std::string& text) {
    Json::Value root;
    std::istringstream in(text);
    Json::parseFromStream(Json::CharReaderBuilder(), in, &root, nullptr);
    return root;
}

std::string Compact(const Json::Value& value) {
    Json::StreamWriterBuilder compact;
    compact["indentation"] = "";
    return Json::writeString(compact, value);
}

// Each record by member name: `null` for a missing record, a number N for the very record given
// at N (the failover body tells records apart by identity).
std::vector<std::shared_ptr<R>> RecordsByMember(const Json::Value& list) {
    std::vector<std::shared_ptr<R>> records;
    for (const auto& from : list) {
        if (from.isNull() || from.isIntegral()) {
            records.push_back(from.isNull() ? nullptr : records.at(from.asUInt()));
            continue;
        }
        auto r = std::make_shared<R>();
        for (const auto& [key, member] : kMembers) {
            std::visit(
                [&, key = key](auto m) {
                    using T = std::decay_t<decltype((*r).*m)>;
                    if (from.isMember(key))
                        (*r).*m = from[key].template as<T>();
                },
                member);
        }
        records.push_back(r);
    }
    return records;
}

// A record's members that differ from a fresh record's, by name.
std::string MembersOf(const R& r) {
    const R fresh;
    Json::Value out(Json::objectValue);
    for (const auto& [key, member] : kMembers) {
        std::visit(
            [&, key = key](auto m) {
                if (r.*m != fresh.*m)
                    out[key] = r.*m;
            },
            member);
    }
    return Compact(out);
}

// Records arrive through the library's own reader, as the services would send them; `records`
// gives them by member name instead.
DravoAgentData::AutonomyList AutonomiesFrom(const CallData& d, const char* arg) {
    DravoAgentData::AutonomyList list;
    if (d.args.count("records")) {
        list.autonomy_list = RecordsByMember(JsonFrom(d.Arg("records")));
    } else {
        CFdrUtilParser::ParseAutonomyList(d.Arg(arg).c_str(), list.autonomy_list);
    }
    return list;
}

// `{"channel_list":[...]}`, or channels grouped by owner as the services store them:
// `{"autonomy_list":[{"autonomy_lid":..., "channel_list":[...]}]}`.
ChannelObjList ChannelsFrom(const std::string& json) {
    ChannelObjList channels;
    const Json::Value root = JsonFrom(json);
    if (!root.isMember("autonomy_list")) {
        CFdrUtilParser::ParseChannelList(json.c_str(), channels);
        return channels;
    }
    for (const auto& owner : root["autonomy_list"]) {
        Json::Value one;
        one["channel_list"] = owner["channel_list"];
        const size_t first = channels.size();
        CFdrUtilParser::ParseChannelList(Compact(one).c_str(), channels);
        for (size_t i = first; i < channels.size(); ++i) {
            channels[i]->owner_lid = owner["autonomy_lid"].asString();
        }
    }
    return channels;
}

// `[{"channel_guid":..., "channel_index":..., "living_status":[[connection, bitrate, fps, idx]],
// "recorded_statistic":[alarm days, alarm size, normal days, normal size]}]`.
ChannelStatusObjList StatusesFrom(const std::string& json) {
    ChannelStatusObjList statuses;
    for (const auto& from : JsonFrom(json)) {
        auto s = std::make_shared<ChannelStatusObj>();
        s->channel_guid = from["channel_guid"].asString();
        s->channel_index = from["channel_index"].asInt();
        const Json::Value& r = from["recorded_statistic"];
        s->recorded_statistic = {r[0].asInt(), r[1].asInt(), r[2].asInt(), r[3].asInt()};
        for (const auto& l : from["living_status"]) {
            s->living_status.push_back(std::make_shared<ChannelStatusObj::LivingStatusObj>(
                ChannelStatusObj::LivingStatusObj{l[0].asInt(), l[1].asDouble(), l[2].asDouble(),
                                                  l[3].asInt()}));
        }
        statuses.push_back(s);
    }
    return statuses;
}

// A notification of the host's autonomy records.
Operation ListNotice(int (CFederateUtil::*notify)(DravoAgentData::AutonomyList&)) {
    return [notify](CFederateUtil& u, CallData& d) {
        auto list = AutonomiesFrom(d, "list");
        return (u.*notify)(list);
    };
}

// A notification of one text: a lid, or the token body.
Operation TextNotice(int (CFederateUtil::*notify)(std::string&), const char* arg) {
    return [notify, arg](CFederateUtil& u, CallData& d) {
        std::string text = d.Arg(arg);
        return (u.*notify)(text);
    };
}

// A token request: the access token given and taken back, and the refresh token it stores.
Operation TokenCall(int (CFederateUtil::*call)(std::string&, std::string&, std::string&)) {
    return [call](CFederateUtil& u, CallData& d) {
        std::string id = d.Arg("client_id"), secret = d.Arg("client_secret");
        const int result = (u.*call)(id, secret, d.outputs["access_token"]);
        d.outputs["refresh_token"] = u.StoredRefreshTokenForTesting();
        return result;
    };
}

// One server's channel write: the lid and channels given, the operation's result.
Operation ChannelWrite(int (CFederateUtil::*write)(std::string&, ChannelObjList&)) {
    return [write](CFederateUtil& u, CallData& d) {
        std::string lid = d.Arg("lid");
        auto channels = ChannelsFrom(d.Arg("channels"));
        return (u.*write)(lid, channels);
    };
}

// The lids, and each record's members appended to `members`, one a line.
std::string Lids(const DravoAgentData::AutonomyList& list, std::string& members) {
    std::string lids;
    for (const auto& record : list.autonomy_list) {
        lids += (lids.empty() ? "" : ",") + record->autonomy_lid;
        members += (members.empty() ? "" : "\n") + MembersOf(*record);
    }
    return lids;
}

// The members of `value` that differ from `fresh`, nested objects compared member by member.
Json::Value Departures(const Json::Value& value, const Json::Value& fresh) {
    Json::Value out(Json::objectValue);
    for (const auto& key : value.getMemberNames()) {
        const bool nested = value[key].isObject() && fresh[key].isObject();
        const Json::Value inner = nested ? Departures(value[key], fresh[key]) : value[key];
        if (nested ? !inner.empty() : value[key] != fresh[key]) {
            out[key] = inner;
        }
    }
    return out;
}

// Appends each channel as its text's departures from a fresh channel's, one a line.
void AddChannelTexts(const ChannelObjList& channels, std::string& texts) {
    std::string fresh;
    construct_cahnnel_info_string(std::make_shared<ChannelObj>(), fresh);
    for (const auto& channel : channels) {
        std::string text;
        construct_cahnnel_info_string(channel, text);
        texts += (texts.empty() ? "" : "\n") + Compact(Departures(JsonFrom(text), JsonFrom(fresh)));
    }
}

const std::map<std::string, Operation>& Table() {
    static const std::map<std::string, Operation> table = {
        {"AuthGetToken", TokenCall(&CFederateUtil::AuthGetToken)},
        {"AuthRefreshToken", TokenCall(&CFederateUtil::AuthRefreshToken)},
        {"ChangeAutonomyMode",
         [](CFederateUtil& u, CallData& d) { return u.ChangeAutonomyMode(d.Arg("body")); }},
        {"SaveFailOverInfo",
         [](CFederateUtil& u, CallData& d) { return u.SaveFailOverInfo(d.Arg("body")); }},
        {"NotifyArbitratorAutoModeChange",
         [](CFederateUtil& u, CallData& d) {
             FederateBoxType::AutonomyInfo info{
                 d.Arg("lid"),          d.Arg("lname", ""),   d.Arg("username", ""),
                 d.Arg("password", ""), d.Arg("address", ""), std::stoi(d.Arg("group", "0"))};
             return u.NotifyArbitratorAutoModeChange(info, d.Arg("mode", ""));
         }},
        {"GetFdrPrivilegeByUser",
         [](CFederateUtil& u, CallData& d) {
             std::string user = d.Arg("user"), second = d.Arg("second");
             return u.GetFdrPrivilegeByUser(user, second, d.outputs["result"]);
         }},
        {"GetFdrPrivilegeTime",
         [](CFederateUtil& u, CallData& d) {
             return u.GetFdrPrivilegeTime(d.outputs["timestamp"]);
         }},
        {"LoadFdrChannelSetting",
         [](CFederateUtil& u, CallData& d) {
             auto channels = ChannelsFrom(d.Arg("channels", "{}"));
             const int result = u.LoadFdrChannelSetting(d.Arg("lid"), channels);
             d.outputs["channels"] = std::to_string(channels.size());
             AddChannelTexts(channels, d.outputs["channel_texts"]);  // every call's list
             return result;
         }},
        {"SaveFdrAllChannelsSetting",
         [](CFederateUtil& u, CallData& d) {
             auto servers = AutonomiesFrom(d, "servers");
             auto channels = ChannelsFrom(d.Arg("channels"));
             return u.SaveFdrAllChannelsSetting(servers, channels);
         }},
        {"AddFdrChannelSetting", ChannelWrite(&CFederateUtil::AddFdrChannelSetting)},
        {"UpdateFdrChannelSetting", ChannelWrite(&CFederateUtil::UpdateFdrChannelSetting)},
        {"RemoveFdrChannelSetting", ChannelWrite(&CFederateUtil::RemoveFdrChannelSetting)},
        {"RefreshFdrChannelSetting", ChannelWrite(&CFederateUtil::RefreshFdrChannelSetting)},
        {"NotifyArbitratorCameraListChange",
         [](CFederateUtil& u, CallData& d) {
             auto channels = ChannelsFrom(d.Arg("channels"));
             return u.NotifyArbitratorCameraListChange(d.Arg("lid"), channels);
         }},
        {"NotifyArbitratorCameraStatusChange",
         [](CFederateUtil& u, CallData& d) {
             auto statuses = StatusesFrom(d.Arg("statuses"));
             return u.NotifyArbitratorCameraStatusChange(d.Arg("lid"), statuses);
         }},
        {"FormatFailOverBody",
         [](CFederateUtil& u, CallData& d) {
             auto list = AutonomiesFrom(d, "list");
             std::string body = d.Arg("body", "");
             const int result = u.FormatFailOverBody(list, body);
             d.outputs["bodies"] += (d.call == 0 ? "" : "\n") + body;  // every call's body
             return result;
         }},
        {"NotifyArbitratorCameraListRefresh",
         [](CFederateUtil& u, CallData& d) {
             return u.NotifyArbitratorCameraListRefresh(d.Arg("lid"));
         }},
        {"NotifyArbitratorRefreshReady",
         [](CFederateUtil& u, CallData&) { return u.NotifyArbitratorRefreshReady(); }},
        {"NotifyDravoData",
         [](CFederateUtil& u, CallData& d) {
             return u.NotifyDravoData(d.Arg("lid"), d.Arg("json"));
         }},
        {"NotifyLogAddAutonomy", ListNotice(&CFederateUtil::NotifyLogAddAutonomy)},
        {"NotifyLogUpdateAutonomy", ListNotice(&CFederateUtil::NotifyLogUpdateAutonomy)},
        {"NotifyArbitratorAutonomyChange",
         ListNotice(&CFederateUtil::NotifyArbitratorAutonomyChange)},
        {"NotifyDravoServerAutonomyChange",
         ListNotice(&CFederateUtil::NotifyDravoServerAutonomyChange)},
        {"NotifyLogRemoveAutonomy", TextNotice(&CFederateUtil::NotifyLogRemoveAutonomy, "lid")},
        {"NotifyArbitratorRemoveAutonomy",
         TextNotice(&CFederateUtil::NotifyArbitratorRemoveAutonomy, "lid")},
        {"NotifyLogTokenChange", TextNotice(&CFederateUtil::NotifyLogTokenChange, "body")},
        {"LoadFdrFederateSetting",
         [](CFederateUtil& u, CallData& d) { return u.LoadFdrFederateSetting(d.outputs["guid"]); }},
        {"LoadFdrAutonomyListSetting",
         [](CFederateUtil& u, CallData& d) {
             auto list = AutonomiesFrom(d, "list");
             const int result = u.LoadFdrAutonomyListSetting(list);
             d.outputs["lids"] = Lids(list, d.outputs["records"]);
             return result;
         }},
    };
    return table;
}

}  // namespace

std::string CallData::Arg(const std::string& name, const std::string& fallback) const {
    return args.count(name) ? Arg(name) : fallback;
}

const std::string& CallData::Arg(const std::string& name) const {
    const auto found = args.find(name);
    if (found == args.end()) {
        throw std::out_of_range("the case gives no argument " + name);
    }
    return found->second[std::min(call, found->second.size() - 1)];
}

const Operation& OperationNamed(const std::string& name) {
    const auto found = Table().find(name);
    if (found == Table().end()) {
        throw std::out_of_range("no operation " + name);
    }
    return found->second;
}

}  // namespace fdrcase
