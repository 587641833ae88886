// A tiny host built against the installed library: links it directly and formats a failover body.
#include <cstdio>
#include <memory>

#include "FederateUtil.h"

int main() {
    void* object = CreateFederateUtilInstance();
    ICentralizedServer* federation = nullptr;
    if (static_cast<IBaseInterface*>(object)->QueryInterface(
            FederateBoxType::CentralizedServerID, reinterpret_cast<void**>(&federation)) != 1) {
        return 1;
    }
    DravoAgentData::AutonomyList list;
    auto member = std::make_shared<DravoAgentData::AutonomyList::AutonomyListObj>();
    member->autonomy_lid = "lid-1";
    list.autonomy_list.push_back(member);
    std::string body;
    federation->FormatFailOverBody(list, body);
    std::printf("%s\n", body.c_str());
    ReleaseFederateUtil(&object);
    return body ==
                   "{\"autonomy_list\":[{\"autonomy_lid\":\"lid-1\",\"version\":\"\","
                   "\"version_date\":\"\",\"mac\":\"\",\"machine_model\":\"\"}]}"
               ? 0
               : 1;
}
