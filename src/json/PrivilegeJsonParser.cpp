#include "json/PrivilegeJsonParser.h"

#include <json/json.h>

#include "log/CenterLog.h"

void CPrivilegeJsonParser::ParsePrivilegeTime(const std::string& answer, std::string& timestamp) {
    Json::Reader reader;
    Json::Value root;
    // The reader's verdict is not needed: an answer that does not parse leaves the value null,
    // which reads as err_code -1 below.
    const std::string text(answer.c_str());
    // Nesting beyond the reader's depth limit (1000) makes it throw instead: such an answer
    // does not parse either.
    try {
        reader.parse(text, root, true);
    } catch (const Json::Exception&) {
        root = Json::Value();
    }
    // An answer that is JSON but not an object reads like one that does not parse. A
    // non-integer "err_code" counts as an error answer rather than escaping as jsoncpp's error.
    const bool readable = root.isObject() || root.isNull();
    const Json::Value code = readable ? root.get("err_code", -1) : Json::Value(-1);
    const int err_code = code.isInt() || code.isBool() ? code.asInt() : -1;
    if (err_code != 0) {
        Json::FastWriter writer;
        log_File_Debug_s(fdr::kAggregatorLogPath, fdr::kLogSizeCap,
                         "get privilege time from fdr failed, res=%s", writer.write(root).c_str());
    }
    // Carries on after an error answer on purpose: its "config" (normally absent) still
    // replaces the output. A "config" that is an array or an object makes jsoncpp raise its
    // usual error out of the operation; the host expects that exception.
    timestamp = readable ? root.get("config", "").asString() : std::string();
}
