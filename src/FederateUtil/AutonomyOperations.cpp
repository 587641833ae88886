// Loading the federation's settings and announcing member-server changes to the local services.
#include <cstdio>
#include <mutex>

#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/LocalServiceCall.h"
#include "FederateUtil/NotifyLocks.h"
#include "json/AutonomyJsonFormatter.h"
#include "json/CFdrUtilParser.h"

namespace {

// The fixed source line numbers that these operations' centre debug lines carry; readers of the
// debug log match them.
constexpr int kAddAutonomyDebugLine = 183;
constexpr int kUpdateAutonomyDebugLine = 214;

// The member log service gets the full records for an add and for an update alike.
int SendFullRecords(const fdr::LocalEndpoint& endpoint, DravoAgentData::AutonomyList& list,
                    const char* operation, int debug_line) {
    std::string body;
    CAutonomyListJsonFormatter::FormatterAddAutonomy(list, body);
    std::string response;
    const int n_ret = fdr::CallLocalService(endpoint, response, body);
    if (n_ret != 0) {
        fdr::ReportErrorToCenterDebug(operation, debug_line, n_ret);
    }
    return n_ret;
}

}  // namespace

int CFederateUtil::NotifyLogAddAutonomy(DravoAgentData::AutonomyList& list) {
    return SendFullRecords(fdr::endpoint::kLogAutonomyList, list, "NotifyLogAddAutonomy",
                           kAddAutonomyDebugLine);
}

int CFederateUtil::NotifyLogUpdateAutonomy(DravoAgentData::AutonomyList& list) {
    return SendFullRecords(fdr::endpoint::kLogUpdateList, list, "NotifyLogUpdateAutonomy",
                           kUpdateAutonomyDebugLine);
}

int CFederateUtil::NotifyLogRemoveAutonomy(std::string& lid) {
    FDR_CENTER_LOG("NotifyLogRemoveAutonomy %s start", lid.c_str());
    msg("NotifyLogRemoveAutonomy %s start", lid.c_str());
    std::string body;
    CAutonomyListJsonFormatter::FormatterRemoveAutonomyInfo(lid, body);
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kLogDeleteList, response, body);
    msg("NotifyLogRemoveAutonomy %s end", lid.c_str());
    FDR_CENTER_LOG("NotifyLogRemoveAutonomy %s end, n_ret=%d", lid.c_str(), n_ret);
    if (n_ret != 0) {
        // The only notification whose error line goes through the gated msg(), not the
        // console: silent unless the debug switch is on.
        msg("\r[error]n_ret=%d\n", n_ret);
    }
    return n_ret;
}

int CFederateUtil::NotifyLogTokenChange(std::string& body) {
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kReloadAutonomy, response, body);
    if (n_ret != 0) {
        fdr::ReportErrorToConsole(n_ret);
    }
    return n_ret;
}

int CFederateUtil::LoadFdrFederateSetting(std::string& guid) {
    query_object query;
    query.parameters["type"] = "1";
    std::string response;
    msg("LoadFdrFederateSetting start: %s", guid.c_str());
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kServiceInfo, response, "", &query);
    msg("LoadFdrFederateSetting end");
    if (n_ret != 0) {
        fdr::ReportErrorToConsole(n_ret);
        return n_ret;
    }
    const unsigned int code = CFdrUtilParser::ParseFederateSetting(response.c_str(), guid);
    if (code != 0) {
        std::printf("LoadFdrFederateSetting Error:\n");
        std::fflush(stdout);
    }
    return static_cast<int>(code);
}

int CFederateUtil::LoadFdrAutonomyListSetting(DravoAgentData::AutonomyList& list) {
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kAutonomies, response);
    if (n_ret != 0) {
        FDR_CENTER_LOG(
            "[fedutil] LoadFdrAutonomyListSetting call /fdr/Autonomies error, ret: %d, "
            "response: %s",
            n_ret, response.c_str());
        return n_ret;
    }
    // Parsed aside, so that a failed answer leaves the caller's list as it was, even when some
    // records were read before the error.
    std::vector<std::shared_ptr<DravoAgentData::AutonomyList::AutonomyListObj>> parsed;
    const int code = static_cast<int>(CFdrUtilParser::ParseAutonomyList(response.c_str(), parsed));
    if (code != 0) {
        FDR_CENTER_LOG("[fedutil] LoadFdrAutonomyListSetting Parse Error: %d, response: %s", code,
                       response.c_str());
        return code;
    }
    list.autonomy_list.swap(parsed);
    return 0;
}

int CFederateUtil::NotifyArbitratorAutonomyChange(DravoAgentData::AutonomyList& list) {
    // One change at a time reaches the arbitrator; held until the error report is written.
    std::lock_guard<std::mutex> lock(m_notify_lock1);
    std::string body;
    CAutonomyListJsonFormatter::FormatterArbitratorAutonomyChange(list, body);
    msg("NotifyArbitratorAutonomyChange start: %s", body.c_str());
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kAutonomyChanged, response, body);
    msg("NotifyArbitratorAutonomyChange end");
    if (n_ret != 0) {
        fdr::ReportErrorToConsole(n_ret);
    }
    // The host is not told about a failed delivery: it expects 0.
    return 0;
}

int CFederateUtil::NotifyArbitratorRemoveAutonomy(std::string& lid) {
    std::string body;
    CAutonomyListJsonFormatter::FormatterArbitratorRemoveAutonomyInfo(lid, body);
    msg("NotifyArbitratorRemoveAutonomy start: %s", body.c_str());
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kAutonomyChanged, response, body);
    msg("NotifyArbitratorRemoveAutonomy end");
    if (n_ret != 0) {
        fdr::ReportErrorToConsole(n_ret);
    }
    return n_ret;
}

int CFederateUtil::NotifyDravoServerAutonomyChange(DravoAgentData::AutonomyList& list) {
    std::lock_guard<std::mutex> lock(m_notify_lock2);
    std::string body;
    CAutonomyListJsonFormatter::FormatterDravoServerAutonomyChange(list, body);
    std::string response;
    const int n_ret = fdr::CallLocalService(fdr::endpoint::kDravoNotify, response, body);
    if (n_ret != 0) {
        fdr::ReportErrorToConsole(n_ret);
    }
    // As for the arbitrator: a failed delivery is only reported on the console.
    return 0;
}
