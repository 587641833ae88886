// Camera notifications to the arbitrator and the central video-management service. Each is one
// PUT whose answer is not examined; every one returns 0 and only prints a failed request.
#include <mutex>

#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/LocalServiceCall.h"
#include "FederateUtil/NotifyLocks.h"
#include "json/ChannelJsonFormatter.h"
#include "json/DravoDataJsonFormatter.h"

int CFederateUtil::NotifyArbitratorCameraStatusChange(std::string lid,
                                                      ChannelStatusObjList& statuses) {
    std::string body;
    CChannelInfoJsonFormatter::FormatterCameraStatusChange(lid, statuses, body);
    // This notification writes no start line; only the end line.
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kChannelStatusChanged, response, body);
    msg("NotifyArbitratorCameraStatusChange end");
    if (n_ret != 0) {
        fdr::ReportErrorToConsole(n_ret);
    }
    return 0;
}

int CFederateUtil::NotifyArbitratorCameraListChange(std::string lid, ChannelObjList& channels) {
    std::string body;
    CChannelInfoJsonFormatter::FormatterCameraListChange(lid, channels, body);
    msg("NotifyArbitratorCameraListChange start: %s", body.c_str());
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kChannelInfoChanged, response, body);
    msg("NotifyArbitratorCameraListChange end");
    if (n_ret != 0) {
        fdr::ReportErrorToConsole(n_ret);
    }
    return 0;
}

int CFederateUtil::NotifyArbitratorCameraListRefresh(std::string lid) {
    std::string body;
    CChannelInfoJsonFormatter::FormatterCameraListRefresh(lid, body);
    msg("NotifyArbitratorCameraListRefresh start: %s", body.c_str());
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kChannelInfoRefresh, response, body);
    msg("NotifyArbitratorCameraListRefresh end");
    if (n_ret != 0) {
        fdr::ReportErrorToConsole(n_ret);
    }
    return 0;
}

int CFederateUtil::NotifyArbitratorRefreshReady() {
    const std::lock_guard<std::mutex> lock(m_notify_lock1);
    const std::string body;
    msg("NotifyArbitratorRefreshReady start: %s", body.c_str());
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kAutonomyRefreshReady, response, body);
    msg("NotifyArbitratorRefreshReady end");
    if (n_ret != 0) {
        fdr::ReportErrorToConsole(n_ret);
    }
    return 0;
}

int CFederateUtil::NotifyDravoData(std::string lid, std::string json) {
    const std::lock_guard<std::mutex> lock(m_notify_lock2);
    std::string body;
    switch (fdr::FormatDravoData(lid, json, body)) {
        case fdr::DravoDataResult::kNotJson:
            FDR_CENTER_LOG("[%s] %s parse pass data failed", "NotifyDravoData", lid.c_str());
            return 0;
        case fdr::DravoDataResult::kPrintFailed:
            FDR_CENTER_LOG("[%s] %s print pass data failed", "NotifyDravoData", lid.c_str());
            return 0;
        case fdr::DravoDataResult::kFormatted:
            break;
    }
    msg("NotifyDravoData start: %s", body.c_str());
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kDravoNotify, response, body);
    msg("NotifyDravoData end");
    if (n_ret != 0) {
        fdr::ReportErrorToConsole(n_ret);
    }
    return 0;
}
