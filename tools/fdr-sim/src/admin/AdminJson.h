// The control API's JSON: requests read and answers written. Every reader checks the whole
// request before anything acts on it, so that a malformed request is refused (400) without
// changing the simulator.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "ExchangeLog.h"
#include "Faults.h"
#include "JsonText.h"

namespace fdrsim::admin {

// The query parameters of a request, decoded, in the order of their names.
using QueryParams = std::multimap<std::string, std::string>;

struct JournalQuery {
    ExchangeFilter filter;
    std::string text;                         // substring of the target or either body; "" = any
    size_t limit = 0;                         // the newest `limit` matches; 0 = every match
    bool bodies = false;                      // list: each exchange whole, not its summary
    std::chrono::milliseconds timeout{5000};  // wait only
};

// service (key or fixed port), method, path, since and then, for a list, text, limit and bodies,
// for a wait, timeout_ms. Unknown parameters are refused too: a misspelt filter would silently
// match all.
std::optional<JournalQuery> ReadJournalQuery(const QueryParams& params, bool for_wait,
                                             std::string* error);

// {"mode":"status","delay_ms":200,"remaining":3,"status":503,"body":"..",...}: "mode" is
// required; keys that do not belong to it are refused.
std::optional<Fault> ReadFaultRequest(const std::string& body, std::string* error);

// A service by its key ("arbitrator") or fixed port ("10228"); error names the text otherwise.
std::optional<Service> ReadService(const std::string& text, std::string* error);

// The fault's mode and the keys that mode uses, as ReadFaultRequest takes them.
Json::Value FaultJson(const Fault& fault);

// The summary of an exchange; `whole` adds the headers and both bodies.
Json::Value ExchangeJson(const Exchange& exchange, bool whole);

}  // namespace fdrsim::admin
