#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/NotBuilt.h"

int CFederateUtil::LoadFdrChannelSetting(std::string, ChannelObjList&) {
    return fdr::ReportNotBuilt("LoadFdrChannelSetting");
}

int CFederateUtil::SaveFdrAllChannelsSetting(DravoAgentData::AutonomyList&, ChannelObjList&) {
    return fdr::ReportNotBuilt("SaveFdrAllChannelsSetting");
}

int CFederateUtil::AddFdrChannelSetting(std::string&, ChannelObjList&) {
    return fdr::ReportNotBuilt("AddFdrChannelSetting");
}

int CFederateUtil::RefreshFdrChannelSetting(std::string&, ChannelObjList&) {
    return fdr::ReportNotBuilt("RefreshFdrChannelSetting");
}

int CFederateUtil::UpdateFdrChannelSetting(std::string&, ChannelObjList&) {
    return fdr::ReportNotBuilt("UpdateFdrChannelSetting");
}

int CFederateUtil::RemoveFdrChannelSetting(std::string&, ChannelObjList&) {
    return fdr::ReportNotBuilt("RemoveFdrChannelSetting");
}
