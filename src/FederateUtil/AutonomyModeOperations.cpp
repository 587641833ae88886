#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/NotBuilt.h"

int CFederateUtil::NotifyArbitratorAutoModeChange(FederateBoxType::AutonomyInfo, std::string) {
    return fdr::ReportNotBuilt("NotifyArbitratorAutoModeChange");
}

int CFederateUtil::ChangeAutonomyMode(std::string) {
    return fdr::ReportNotBuilt("ChangeAutonomyMode");
}
