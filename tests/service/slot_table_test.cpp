// A host compiled long ago knows the federation interface only as a table of 30 operations in a
// fixed order. This test declares that table on its own (not from the library's interface header),
// takes the library object through the factory and calls every slot through it, as such a host
// does, and checks that each slot reaches its own operation: the request the local services
// receive, or the text of the three pure formatting slots.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "federateutil/DravoAgentData.h"
#include "federateutil/FederateBoxType.h"
#include "support/LocalServices.h"

extern "C" void* CreateFederateUtilInstance();

// Outside an anonymous namespace on purpose: a class that no one in this file implements, and
// that only this file could implement, would let the compiler turn its calls into traps.
namespace old_host {

namespace D = DravoAgentData;
using Channels = std::vector<std::shared_ptr<D::ChannelInformation::ChannelObj>>;
using Statuses = std::vector<std::shared_ptr<D::RealtimeEvent::ChannelStatusObj>>;
using Info = FederateBoxType::AutonomyInfo;

// The factory's view: destructor (two slots), QueryInterface, Init, Uninit.
class HostBaseTable {
  public:
    virtual ~HostBaseTable() = default;
    virtual int QueryInterface(FederateBoxType::InterfaceClassID id, void** out) = 0;
    virtual int Init(void*, unsigned int, const char*, unsigned int, const char*, bool, const char*,
                     const char*) = 0;
    virtual int Uninit() = 0;
};

// The 30 federation operations, slot by slot.
class HostFederationTable {
  public:
    virtual int NotifyLogAddAutonomy(D::AutonomyList&) = 0;                           // 1
    virtual int NotifyLogUpdateAutonomy(D::AutonomyList&) = 0;                        // 2
    virtual int NotifyLogRemoveAutonomy(std::string&) = 0;                            // 3
    virtual int NotifyLogTokenChange(std::string&) = 0;                               // 4
    virtual int AuthGetToken(std::string&, std::string&, std::string&) = 0;           // 5
    virtual int AuthRefreshToken(std::string&, std::string&, std::string&) = 0;       // 6
    virtual int LoadFdrFederateSetting(std::string&) = 0;                             // 7
    virtual int LoadFdrChannelSetting(std::string, Channels&) = 0;                    // 8
    virtual int LoadFdrAutonomyListSetting(D::AutonomyList&) = 0;                     // 9
    virtual int SaveFdrAllChannelsSetting(D::AutonomyList&, Channels&) = 0;           // 10
    virtual int AddFdrChannelSetting(std::string&, Channels&) = 0;                    // 11
    virtual int RefreshFdrChannelSetting(std::string&, Channels&) = 0;                // 12
    virtual int UpdateFdrChannelSetting(std::string&, Channels&) = 0;                 // 13
    virtual int RemoveFdrChannelSetting(std::string&, Channels&) = 0;                 // 14
    virtual int GetFdrPrivilegeByUser(std::string&, std::string&, std::string&) = 0;  // 15
    virtual int GetFdrPrivilegeTime(std::string&) = 0;                                // 16
    virtual int NotifyArbitratorAutonomyChange(D::AutonomyList&) = 0;                 // 17
    virtual int NotifyArbitratorRemoveAutonomy(std::string&) = 0;                     // 18
    virtual int NotifyArbitratorCameraStatusChange(std::string, Statuses&) = 0;       // 19
    virtual int NotifyArbitratorCameraListChange(std::string, Channels&) = 0;         // 20
    virtual int NotifyArbitratorCameraListRefresh(std::string) = 0;                   // 21
    virtual int NotifyArbitratorAutoModeChange(Info, std::string) = 0;                // 22
    virtual int NotifyDravoData(std::string, std::string) = 0;                        // 23
    virtual int NotifyArbitratorRefreshReady() = 0;                                   // 24
    virtual int NotifyDravoServerAutonomyChange(D::AutonomyList&) = 0;                // 25
    virtual int ChangeAutonomyMode(std::string) = 0;                                  // 26
    virtual int FormatFailOverBody(D::AutonomyList&, std::string&) = 0;               // 27
    virtual int SaveFailOverInfo(const std::string&) = 0;                             // 28
    virtual std::string FormatFisyeyeSupportFile(D::DravoServerInfo&) = 0;            // 29
    virtual std::string FormatProjectionSupportFile(D::DravoServerInfo&) = 0;         // 30
};

}  // namespace old_host

namespace {

namespace D = DravoAgentData;
using old_host::Channels;
using old_host::HostBaseTable;
using old_host::HostFederationTable;
using old_host::Statuses;

// The object's dynamic type is not these tables, which is the point: UndefinedBehaviorSanitizer's
// type check of virtual calls would stop every call, so it is switched off where they are made.
#define HOST_CALL __attribute__((no_sanitize("vptr")))

TEST(HostSlotTable, EverySlotReachesItsOwnOperation) {
    const auto services = fdrtest::StartRecorder();
    HostFederationTable* table = nullptr;
    [&table]() HOST_CALL {
        auto* base = static_cast<HostBaseTable*>(CreateFederateUtilInstance());
        void* view = nullptr;
        EXPECT_EQ(base->QueryInterface(FederateBoxType::CentralizedServerID, &view), 1);
        table = static_cast<HostFederationTable*>(view);
    }();
    ASSERT_NE(table, nullptr);
    // Lvalues for the slots' reference parameters: `lid = "L3"` is a std::string& holding "L3",
    // `Member("L1")` a member list of one record whose lid is "L1".
    std::string lid, x, y, out = "old";
    D::AutonomyList members;
    Channels channels;
    Statuses status;
    D::DravoServerInfo info;
    const auto Member = [&members](const char* member_lid) -> D::AutonomyList& {
        members.autonomy_list = {std::make_shared<D::AutonomyList::AutonomyListObj>()};
        members.autonomy_list[0]->autonomy_lid = member_lid;
        return members;
    };
    using T = HostFederationTable;
    const struct {
        int slot;
        std::function<void(T&)> call;  // arguments that only this slot's request carries
        const char* request;  // port, method, path and raw query; empty for the formatting slots
        const char* text;     // a part of the body that shows those arguments, or the whole output
    } cases[] = {
        // clang-format off
        {1, [&](T& t) HOST_CALL { t.NotifyLogAddAutonomy(Member("L1")); },
         "10250 POST /logs/autonomyList", "\"autonomy_lid\":\"L1\""},
        {2, [&](T& t) HOST_CALL { t.NotifyLogUpdateAutonomy(Member("L2")); },
         "10250 POST /logs/updateList", "\"autonomy_lid\":\"L2\""},
        {3, [&](T& t) HOST_CALL { t.NotifyLogRemoveAutonomy(lid = "L3"); },
         "10250 POST /logs/deleteList", "{\"autonomy_list\":[\"L3\"]}"},
        {4, [&](T& t) HOST_CALL { t.NotifyLogTokenChange(x = "token 4"); },
         "10250 PUT /logs/reload_autonomy", "token 4"},
        {5, [&](T& t) HOST_CALL { t.AuthGetToken(x = "id5", y = "s5", out); },
         "10229 POST /token", "grant_type=client_credentials&client_id=id5&client_secret=s5&"},
        {6, [&](T& t) HOST_CALL { t.AuthRefreshToken(x = "id6", y = "s6", out); },
         "10229 POST /token", "grant_type=refresh_token&client_id=id6&client_secret=s6&"},
        {7, [&](T& t) HOST_CALL { t.LoadFdrFederateSetting(out); },
         "10240 GET /fdr/Service?type=1", ""},
        {8, [&](T& t) HOST_CALL { t.LoadFdrChannelSetting("L8", channels); },
         "10241 GET /fdr/CmsChannel?autonomy_lid=L8", ""},
        {9, [&](T& t) HOST_CALL { t.LoadFdrAutonomyListSetting(members); },
         "10240 GET /fdr/Autonomies", ""},
        {10, [&](T& t) HOST_CALL { t.SaveFdrAllChannelsSetting(Member("L10"), channels); },
         "10240 PUT /fdr/CmsChannel", "\"autonomy_lid\":\"L10\",\"mode\":\"replace\""},
        {11, [&](T& t) HOST_CALL { t.AddFdrChannelSetting(lid = "L11", channels); },
         "10240 PUT /fdr/CmsChannel", "\"autonomy_lid\":\"L11\",\"mode\":\"add\""},
        {12, [&](T& t) HOST_CALL { t.RefreshFdrChannelSetting(lid = "L12", channels); },
         "10240 PUT /fdr/CmsChannel", "\"autonomy_lid\":\"L12\",\"mode\":\"replace\""},
        {13, [&](T& t) HOST_CALL { t.UpdateFdrChannelSetting(lid = "L13", channels); },
         "10240 PUT /fdr/CmsChannel", "\"autonomy_lid\":\"L13\",\"mode\":\"update\""},
        {14, [&](T& t) HOST_CALL { t.RemoveFdrChannelSetting(lid = "L14", channels); },
         "10240 PUT /fdr/CmsChannel", "\"autonomy_lid\":\"L14\",\"mode\":\"remove\""},
        {15, [&](T& t) HOST_CALL { t.GetFdrPrivilegeByUser(x = "user15", y, out); },
         "10240 POST /fdr/CmsAccessPrivilegeReport?operator=admin", "[\"user15\"]"},
        {16, [&](T& t) HOST_CALL { t.GetFdrPrivilegeTime(out); },
         "10241 GET /fdr/Config?key=priv_last_ts&section=fdrsystem", ""},
        {17, [&](T& t) HOST_CALL { t.NotifyArbitratorAutonomyChange(Member("L17")); },
         "10228 PUT /autonomy_changed", "\"autonomy_lid\":\"L17\""},
        {18, [&](T& t) HOST_CALL { t.NotifyArbitratorRemoveAutonomy(lid = "L18"); },
         "10228 PUT /autonomy_changed", "[{\"autonomy_lid\":\"L18\",\"retrieve\":1}]"},
        {19, [&](T& t) HOST_CALL { t.NotifyArbitratorCameraStatusChange("L19", status); },
         "10228 PUT /channel_status_changed", "\"autonomy_lid\":\"L19\""},
        {20, [&](T& t) HOST_CALL { t.NotifyArbitratorCameraListChange("L20", channels); },
         "10228 PUT /channel_info_changed", "\"autonomy_lid\":\"L20\""},
        {21, [&](T& t) HOST_CALL { t.NotifyArbitratorCameraListRefresh("L21"); },
         "10228 PUT /channel_info_refresh", "{\"autonomy_lid\":\"L21\"}"},
        {22, [&](T& t) HOST_CALL {
             t.NotifyArbitratorAutoModeChange({"L22", "n", "u", "p22", "a", 22}, "m22"); },
         "10227 PUT /apply_autonomies",
         "{\"autonomy_list\":[{\"lid\":\"L22\",\"lname\":\"n\",\"username\":\"u\",\"password\":"
         "\"cDIy\",\"server_mode\":\"m22\",\"address\":\"a\",\"group\":22}]}"},
        {23, [&](T& t) HOST_CALL { t.NotifyDravoData("L23", "{\"k\":23}"); },
         "10223 PUT /dravoService/notify", "\"autonomy_lid\":\t\"L23\""},
        {24, [&](T& t) HOST_CALL { t.NotifyArbitratorRefreshReady(); },
         "10228 PUT /autonomy_refresh_ready", ""},
        {25, [&](T& t) HOST_CALL { t.NotifyDravoServerAutonomyChange(Member("L25")); },
         "10223 PUT /dravoService/notify", "\"autonomy_lid\":\"L25\""},
        {26, [&](T& t) HOST_CALL { t.ChangeAutonomyMode("mode 26"); },
         "10235 PUT /aggreatorService/system_info", "mode 26"},
        {27, [&](T& t) HOST_CALL { t.FormatFailOverBody(Member("L27"), out); }, "",
         "{\"autonomy_list\":[{\"autonomy_lid\":\"L27\",\"version\":\"\",\"version_date\":\"\","
         "\"mac\":\"\",\"machine_model\":\"\"}]}"},
        {28, [&](T& t) HOST_CALL { t.SaveFailOverInfo("failover 28"); },
         "10240 PUT /cgi-bin/zelprocms/apis/fdr_cluster.cgi?action=failover_info",
         "failover 28"},
        {29, [&](T& t) HOST_CALL { out = t.FormatFisyeyeSupportFile(info); }, "",
         "{\"FishEyeParameterTable\":[]}"},
        {30, [&](T& t) HOST_CALL { out = t.FormatProjectionSupportFile(info); }, "",
         "{\"ProjectionTable\":[]}"},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("slot " + std::to_string(c.slot));
        services->Exchanges().Clear();
        c.call(*table);
        const auto requests = services->Exchanges().List();
        if (*c.request == '\0') {  // a formatting slot: its text in `out`, and nothing sent
            EXPECT_EQ(out, c.text);
            EXPECT_TRUE(requests.empty());
            continue;
        }
        ASSERT_EQ(requests.size(), 1u);
        const auto& r = requests[0];
        EXPECT_EQ(std::to_string(r.port) + " " + r.method + " " + r.target, c.request);
        EXPECT_NE(r.request_body.find(c.text), std::string::npos) << r.request_body;
    }
}

}  // namespace
