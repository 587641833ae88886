#include "runner/Operations.h"

#include <json/json.h>

#include <sstream>
#include <stdexcept>

#include "json/CFdrUtilParser.h"

namespace fdrcase {

namespace {

using AutonomyRecord = DravoAgentData::AutonomyList::AutonomyListObj;

// Records arrive through the library's own readers, as the services would send them.
DravoAgentData::AutonomyList AutonomiesFrom(const std::string& json) {
    DravoAgentData::AutonomyList list;
    CFdrUtilParser::ParseAutonomyList(json.c_str(), list.autonomy_list);
    return list;
}

// `{"channel_list":[...]}`, or channels grouped by owner as the services store them:
// `{"autonomy_list":[{"autonomy_lid":..., "channel_list":[...]}]}`.
ChannelObjList ChannelsFrom(const std::string& json) {
    ChannelObjList channels;
    Json::Value root;
    std::istringstream in(json);
    Json::parseFromStream(Json::CharReaderBuilder(), in, &root, nullptr);
    if (!root.isMember("autonomy_list")) {
        CFdrUtilParser::ParseChannelList(json.c_str(), channels);
        return channels;
    }
    for (const auto& owner : root["autonomy_list"]) {
        Json::Value one;
        one["channel_list"] = owner["channel_list"];
        const size_t first = channels.size();
        Json::StreamWriterBuilder compact;
        compact["indentation"] = "";
        CFdrUtilParser::ParseChannelList(Json::writeString(compact, one).c_str(), channels);
        for (size_t i = first; i < channels.size(); ++i) {
            channels[i]->owner_lid = owner["autonomy_lid"].asString();
        }
    }
    return channels;
}

// A notification of the host's autonomy records.
Operation ListNotice(int (CFederateUtil::*notify)(DravoAgentData::AutonomyList&)) {
    return [notify](CFederateUtil& u, CallData& d) {
        auto list = AutonomiesFrom(d.Arg("list"));
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

// One server's channel write: the lid and channels given, the operation's result.
Operation ChannelWrite(int (CFederateUtil::*write)(std::string&, ChannelObjList&)) {
    return [write](CFederateUtil& u, CallData& d) {
        std::string lid = d.Arg("lid");
        auto channels = ChannelsFrom(d.Arg("channels"));
        return (u.*write)(lid, channels);
    };
}

std::string Lids(const DravoAgentData::AutonomyList& list) {
    std::string lids;
    for (const auto& record : list.autonomy_list) {
        lids += (lids.empty() ? "" : ",") + record->autonomy_lid;
    }
    return lids;
}

const std::map<std::string, Operation>& Table() {
    static const std::map<std::string, Operation> table = {
        {"AuthGetToken",
         [](CFederateUtil& u, CallData& d) {
             std::string id = d.Arg("client_id"), secret = d.Arg("client_secret");
             std::string& token = d.outputs["access_token"];
             const int result = u.AuthGetToken(id, secret, token);
             d.outputs["refresh_token"] = u.StoredRefreshTokenForTesting();
             return result;
         }},
        {"AuthRefreshToken",
         [](CFederateUtil& u, CallData& d) {
             std::string id = d.Arg("client_id"), secret = d.Arg("client_secret");
             std::string& token = d.outputs["access_token"];
             const int result = u.AuthRefreshToken(id, secret, token);
             d.outputs["refresh_token"] = u.StoredRefreshTokenForTesting();
             return result;
         }},
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
             auto channels = ChannelsFrom(d.Arg("channels"));
             const int result = u.LoadFdrChannelSetting(d.Arg("lid"), channels);
             d.outputs["channels"] = std::to_string(channels.size());
             return result;
         }},
        {"SaveFdrAllChannelsSetting",
         [](CFederateUtil& u, CallData& d) {
             auto servers = AutonomiesFrom(d.Arg("servers"));
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
             auto list = AutonomiesFrom(d.Arg("list"));
             const int result = u.LoadFdrAutonomyListSetting(list);
             d.outputs["lids"] = Lids(list);
             return result;
         }},
    };
    return table;
}

}  // namespace

std::string CallData::Arg(const std::string& name, const std::string& fallback) const {
    const auto found = args.find(name);
    return found == args.end() ? fallback : found->second;
}

const std::string& CallData::Arg(const std::string& name) const {
    const auto found = args.find(name);
    if (found == args.end()) {
        throw std::out_of_range("the case gives no argument " + name);
    }
    return found->second;
}

const Operation& OperationNamed(const std::string& name) {
    const auto found = Table().find(name);
    if (found == Table().end()) {
        throw std::out_of_range("no operation " + name);
    }
    return found->second;
}

}  // namespace fdrcase
