#include <json/json.h>

#include <cstring>
#include <string>

#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/LocalServices.h"
#include "json/PrivilegeJsonFormatter.h"

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

// Always 0. After a completed request `timestamp` holds the answer's "config" text, which is
// empty both for an unset value and for an error answer; after a failed request it is untouched.
int CFederateUtil::GetFdrPrivilegeTime(std::string& timestamp) {
    Json::Reader reader;
    Json::Value answer;
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
    // The reader's verdict is not needed: an answer that does not parse leaves the value null,
    // which reads as err_code -1 below.
    const std::string text(response.c_str());
    reader.parse(text, answer, true);
    // An answer that is JSON but not an object reads like one that does not parse. A
    // non-integer "err_code" counts as an error answer rather than escaping as jsoncpp's error.
    const bool readable = answer.isObject() || answer.isNull();
    const Json::Value code = readable ? answer.get("err_code", -1) : Json::Value(-1);
    const int err_code = code.isInt() || code.isBool() ? code.asInt() : -1;
    if (err_code != 0) {
        Json::FastWriter writer;
        log_File_Debug_s(fdr::kAggregatorLogPath, fdr::kLogSizeCap,
                         "get privilege time from fdr failed, res=%s",
                         writer.write(answer).c_str());
    }
    // Carries on after an error answer on purpose: its "config" (normally absent) still
    // replaces the output. A "config" that is an array or an object makes jsoncpp raise its
    // usual error out of the operation, as it always has.
    timestamp = readable ? answer.get("config", "").asString() : std::string();
    return 0;
}
