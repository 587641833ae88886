#include <cstring>
#include <string>

#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/LocalServiceCall.h"
#include "json/PrivilegeJsonFormatter.h"
#include "json/PrivilegeJsonParser.h"

namespace {

// A failed request leaves one centre-log line, and a second with the client's detail when the
// exchange itself failed (code 3).
void LogRequestFailure(const char* operation, int n_ret, int detail) {
    FDR_CENTER_LOG("[fedutil] %s KFEN failed: %d", operation, n_ret);
    if (n_ret == KFEN_ERR_TRANSPORT) {
        FDR_CENTER_LOG("[fedutil] %s kfen_errno = %d(%s)", operation, detail,
                       kfen_strerror(detail));
    }
}

}  // namespace

// Always 0: the caller tells a failure by `result` keeping what it held.
int CFederateUtil::GetFdrPrivilegeByUser(std::string& user, std::string& second,
                                         std::string& result) {
    std::string body;
    std::string response;
    query_object query;
    query.parameters["operator"] = "admin";
    CPrivilegeJsonFormatter::FormatterPrivilegeInfo(user, second, body);
    msg("GetFdrPrivilegeByUser start: %s", body.c_str());
    const int n_ret =
        fdr::CallLocalService(fdr::endpoint::kPrivilegeReport, response, body, &query);
    const int detail = *__kfen_errno();
    msg("GetFdrPrivilegeByUser end");
    if (n_ret != 0) {
        LogRequestFailure("GetFdrPrivilegeByUser", n_ret, detail);
        fdr::ReportErrorToConsole(n_ret);
        return 0;
    }
    result = response;
    return 0;
}

// Always 0. After a completed request `timestamp` holds the answer's "config" text: an error
// answer's "config" too, and "" when there is none; after a failed request it is untouched.
int CFederateUtil::GetFdrPrivilegeTime(std::string& timestamp) {
    query_object query;
    query.parameters["section"] = "fdrsystem";
    query.parameters["key"] = "priv_last_ts";
    std::string response;
    const int n_ret =
        fdr::CallLocalService(fdr::endpoint::kConfig, response, std::string(), &query);
    if (n_ret != 0) {
        LogRequestFailure("GetFdrPrivilegeTime", n_ret, *__kfen_errno());
        return 0;
    }
    CPrivilegeJsonParser::ParsePrivilegeTime(response, timestamp);
    return 0;
}
