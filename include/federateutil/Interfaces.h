// The abstract interfaces through which a host reaches the library's one object.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "federateutil/DravoAgentData.h"
#include "federateutil/Export.h"
#include "federateutil/FederateBoxType.h"

// The host's callback interface; accepted by Init and never called by this library.
class IServerEnityNotify;

// Life and discovery of the library object. The factory's pointer is this view.
class FEDERATEUTIL_API IBaseInterface {
  public:
    virtual ~IBaseInterface() = default;
    // Stores in *out the view named by `id` and returns 1; returns 0 for an unknown id.
    virtual int QueryInterface(FederateBoxType::InterfaceClassID id, void** out) = 0;
    // Accepts the host's settings and stores nothing; returns 0.
    virtual int Init(IServerEnityNotify* notify, unsigned int, const char*, unsigned int,
                     const char*, bool, const char*, const char*) = 0;
    // Does nothing; returns 1.
    virtual int Uninit() = 0;
};

// A host interface that the library object does not implement: QueryInterface answers it with null.
class FEDERATEUTIL_API IAuthenticationControl {
  public:
    virtual ~IAuthenticationControl() = default;
};

using ChannelObjList = std::vector<std::shared_ptr<DravoAgentData::ChannelInformation::ChannelObj>>;
using ChannelStatusObjList =
    std::vector<std::shared_ptr<DravoAgentData::RealtimeEvent::ChannelStatusObj>>;

// Every federation operation. The slot order is the binary interface and must never change.
class FEDERATEUTIL_API ICentralizedServer {
  public:
    // Member servers added / updated / removed: member log service.
    virtual int NotifyLogAddAutonomy(DravoAgentData::AutonomyList& list) = 0;
    virtual int NotifyLogUpdateAutonomy(DravoAgentData::AutonomyList& list) = 0;
    virtual int NotifyLogRemoveAutonomy(std::string& lid) = 0;
    virtual int NotifyLogTokenChange(std::string& body) = 0;
    // Tokens from the local token service; always 0, the host tests `access_token`.
    virtual int AuthGetToken(std::string& client_id, std::string& client_secret,
                             std::string& access_token) = 0;
    virtual int AuthRefreshToken(std::string& client_id, std::string& client_secret,
                                 std::string& access_token) = 0;
    // Federation settings read from the local federation service.
    virtual int LoadFdrFederateSetting(std::string& guid) = 0;
    virtual int LoadFdrChannelSetting(std::string lid, ChannelObjList& channels) = 0;
    virtual int LoadFdrAutonomyListSetting(DravoAgentData::AutonomyList& list) = 0;
    // Channel lists stored with the local federation service.
    virtual int SaveFdrAllChannelsSetting(DravoAgentData::AutonomyList& servers,
                                          ChannelObjList& channels) = 0;
    virtual int AddFdrChannelSetting(std::string& lid, ChannelObjList& channels) = 0;
    virtual int RefreshFdrChannelSetting(std::string& lid, ChannelObjList& channels) = 0;
    virtual int UpdateFdrChannelSetting(std::string& lid, ChannelObjList& channels) = 0;
    virtual int RemoveFdrChannelSetting(std::string& lid, ChannelObjList& channels) = 0;
    // Access privileges of a user, and the time they last changed.
    virtual int GetFdrPrivilegeByUser(std::string& user, std::string& second,
                                      std::string& result) = 0;
    virtual int GetFdrPrivilegeTime(std::string& timestamp) = 0;
    // Notifications to the arbitrator and the central video-management service.
    virtual int NotifyArbitratorAutonomyChange(DravoAgentData::AutonomyList& list) = 0;
    virtual int NotifyArbitratorRemoveAutonomy(std::string& lid) = 0;
    virtual int NotifyArbitratorCameraStatusChange(std::string lid,
                                                   ChannelStatusObjList& statuses) = 0;
    virtual int NotifyArbitratorCameraListChange(std::string lid, ChannelObjList& channels) = 0;
    virtual int NotifyArbitratorCameraListRefresh(std::string lid) = 0;
    virtual int NotifyArbitratorAutoModeChange(FederateBoxType::AutonomyInfo info,
                                               std::string server_mode) = 0;
    virtual int NotifyDravoData(std::string lid, std::string json) = 0;
    virtual int NotifyArbitratorRefreshReady() = 0;
    virtual int NotifyDravoServerAutonomyChange(DravoAgentData::AutonomyList& list) = 0;
    // Autonomy mode, failover information, lens catalogues.
    virtual int ChangeAutonomyMode(std::string body) = 0;
    virtual int FormatFailOverBody(DravoAgentData::AutonomyList& list, std::string& out) = 0;
    virtual int SaveFailOverInfo(const std::string& body) = 0;
    virtual std::string FormatFisyeyeSupportFile(DravoAgentData::DravoServerInfo& info) = 0;
    virtual std::string FormatProjectionSupportFile(DravoAgentData::DravoServerInfo& info) = 0;
};
