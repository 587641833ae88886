// The library's one object: both interface views and every federation operation.
#pragma once

#include <netdb.h>

#include <string>

#include "FederateUtil.h"

class CFederateUtil : public IBaseInterface, public ICentralizedServer {
  public:
    CFederateUtil();
    ~CFederateUtil() override;
    CFederateUtil(const CFederateUtil&) = delete;
    CFederateUtil& operator=(const CFederateUtil&) = delete;

    // IBaseInterface
    int QueryInterface(FederateBoxType::InterfaceClassID id, void** out) override;
    int Init(IServerEnityNotify* notify, unsigned int, const char*, unsigned int, const char*, bool,
             const char*, const char*) override;
    int Uninit() override;

    // ICentralizedServer, in this class's own order; hosts only see the interface's slot order.
    int NotifyLogAddAutonomy(DravoAgentData::AutonomyList& list) override;
    int NotifyLogUpdateAutonomy(DravoAgentData::AutonomyList& list) override;
    int NotifyLogRemoveAutonomy(std::string& lid) override;
    int NotifyLogTokenChange(std::string& body) override;
    int AuthGetToken(std::string& client_id, std::string& client_secret,
                     std::string& access_token) override;
    int AuthRefreshToken(std::string& client_id, std::string& client_secret,
                         std::string& access_token) override;
    int LoadFdrFederateSetting(std::string& guid) override;
    int LoadFdrChannelSetting(std::string lid, ChannelObjList& channels) override;
    int LoadFdrAutonomyListSetting(DravoAgentData::AutonomyList& list) override;
    int SaveFdrAllChannelsSetting(DravoAgentData::AutonomyList& servers,
                                  ChannelObjList& channels) override;
    int AddFdrChannelSetting(std::string& lid, ChannelObjList& channels) override;
    int RefreshFdrChannelSetting(std::string& lid, ChannelObjList& channels) override;
    int UpdateFdrChannelSetting(std::string& lid, ChannelObjList& channels) override;
    int RemoveFdrChannelSetting(std::string& lid, ChannelObjList& channels) override;
    int GetFdrPrivilegeByUser(std::string& user, std::string& second, std::string& result) override;
    int NotifyArbitratorAutonomyChange(DravoAgentData::AutonomyList& list) override;
    int NotifyArbitratorRemoveAutonomy(std::string& lid) override;
    int NotifyArbitratorCameraStatusChange(std::string lid,
                                           ChannelStatusObjList& statuses) override;
    int NotifyArbitratorCameraListChange(std::string lid, ChannelObjList& channels) override;
    int NotifyArbitratorCameraListRefresh(std::string lid) override;
    int NotifyArbitratorRefreshReady() override;
    int NotifyDravoServerAutonomyChange(DravoAgentData::AutonomyList& list) override;
    int ChangeAutonomyMode(std::string body) override;
    int FormatFailOverBody(DravoAgentData::AutonomyList& list, std::string& out) override;
    int SaveFailOverInfo(const std::string& body) override;
    int NotifyArbitratorAutoModeChange(FederateBoxType::AutonomyInfo info,
                                       std::string server_mode) override;
    int NotifyDravoData(std::string lid, std::string json) override;
    std::string FormatFisyeyeSupportFile(DravoAgentData::DravoServerInfo& info) override;
    std::string FormatProjectionSupportFile(DravoAgentData::DravoServerInfo& info) override;
    int GetFdrPrivilegeTime(std::string& timestamp) override;

    // Debug log line, written to the centre log only while the debug switch is on. The formatted
    // text (at most 2047 bytes) is handed on as a format, so a "%" in it is read a second time.
    void msg(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // The token service's address, resolved once by the first constructor and never freed.
    static addrinfo* m_pAddrInfo;

    // Tests only: no operation ever sets the debug switch.
    void SetDebugSwitchForTesting(bool on) { m_bDebug = on; }
    const std::string& StoredRefreshTokenForTesting() const { return m_strRefreshToken; }

  private:
    std::string m_strRefreshToken;  // the "refresh_token" of the last token answer carrying one
    bool m_bDebug = false;          // gates msg()
};
