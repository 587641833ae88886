#include "runner/Operations.h"

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
