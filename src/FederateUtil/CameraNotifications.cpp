#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/NotBuilt.h"

int CFederateUtil::NotifyArbitratorCameraStatusChange(std::string, ChannelStatusObjList&) {
    return fdr::ReportNotBuilt("NotifyArbitratorCameraStatusChange");
}

int CFederateUtil::NotifyArbitratorCameraListChange(std::string, ChannelObjList&) {
    return fdr::ReportNotBuilt("NotifyArbitratorCameraListChange");
}

int CFederateUtil::NotifyArbitratorCameraListRefresh(std::string) {
    return fdr::ReportNotBuilt("NotifyArbitratorCameraListRefresh");
}

int CFederateUtil::NotifyArbitratorRefreshReady() {
    return fdr::ReportNotBuilt("NotifyArbitratorRefreshReady");
}

int CFederateUtil::NotifyDravoData(std::string, std::string) {
    return fdr::ReportNotBuilt("NotifyDravoData");
}
