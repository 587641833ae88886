// Camera notifications to the arbitrator and the central video-management service. Each is one
// PUT whose answer is not examined; every one returns 0 and only prints a failed request.
#include <cjson/cJSON.h>

#include <memory>
#include <mutex>

#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/LocalServices.h"
#include "FederateUtil/NotifyLocks.h"
#include "json/ChannelJsonFormatter.h"
#include "json/JsonNumber.h"

int CFederateUtil::NotifyArbitratorCameraStatusChange(std::string lid,
                                                      ChannelStatusObjList& statuses) {
    std::string body;
    CChannelInfoJsonFormatter::FormatterCameraStatusChange(lid, statuses, body);
    // This notification has never written a start line; only the end line.
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
    // fdr::json::Parse keeps the host's 64-bit integers digit for digit through the print.
    const std::unique_ptr<cJSON, void (*)(cJSON*)> document(fdr::json::Parse(json), cJSON_Delete);
    if (!document) {
        FDR_CENTER_LOG("[%s] %s parse pass data failed", "NotifyDravoData", lid.c_str());
        return 0;
    }
    // A notice wrapped in "server" is sent without the wrapper.
    cJSON* node = cJSON_GetObjectItem(document.get(), "server");
    if (node == nullptr) {
        node = document.get();
    }
    cJSON* reason = cJSON_GetObjectItem(node, "notice_reason");
    if (reason != nullptr) {
        cJSON* input = cJSON_CreateObject();
        fdr::json::AddItem(input, "autonomy_lid", cJSON_CreateString(lid.c_str()));
        fdr::json::AddItem(reason, "input", input);
    } else {
        fdr::json::AddItem(node, "autonomy_lid", cJSON_CreateString(lid.c_str()));
    }
    // The receiver has always been sent the formatted print, unlike every other body.
    const std::unique_ptr<char, void (*)(void*)> printed(cJSON_Print(node), cJSON_free);
    if (!printed) {
        FDR_CENTER_LOG("[%s] %s print pass data failed", "NotifyDravoData", lid.c_str());
        return 0;
    }
    const std::string body(printed.get());
    msg("NotifyDravoData start: %s", body.c_str());
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kDravoNotify, response, body);
    msg("NotifyDravoData end");
    if (n_ret != 0) {
        fdr::ReportErrorToConsole(n_ret);
    }
    return 0;
}
