#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/NotBuilt.h"

int CFederateUtil::NotifyLogAddAutonomy(DravoAgentData::AutonomyList&) {
    return fdr::ReportNotBuilt("NotifyLogAddAutonomy");
}

int CFederateUtil::NotifyLogUpdateAutonomy(DravoAgentData::AutonomyList&) {
    return fdr::ReportNotBuilt("NotifyLogUpdateAutonomy");
}

int CFederateUtil::NotifyLogRemoveAutonomy(std::string&) {
    return fdr::ReportNotBuilt("NotifyLogRemoveAutonomy");
}

int CFederateUtil::NotifyLogTokenChange(std::string&) {
    return fdr::ReportNotBuilt("NotifyLogTokenChange");
}

int CFederateUtil::LoadFdrFederateSetting(std::string&) {
    return fdr::ReportNotBuilt("LoadFdrFederateSetting");
}

int CFederateUtil::LoadFdrAutonomyListSetting(DravoAgentData::AutonomyList&) {
    return fdr::ReportNotBuilt("LoadFdrAutonomyListSetting");
}

int CFederateUtil::NotifyArbitratorAutonomyChange(DravoAgentData::AutonomyList&) {
    return fdr::ReportNotBuilt("NotifyArbitratorAutonomyChange");
}

int CFederateUtil::NotifyArbitratorRemoveAutonomy(std::string&) {
    return fdr::ReportNotBuilt("NotifyArbitratorRemoveAutonomy");
}

int CFederateUtil::NotifyDravoServerAutonomyChange(DravoAgentData::AutonomyList&) {
    return fdr::ReportNotBuilt("NotifyDravoServerAutonomyChange");
}
