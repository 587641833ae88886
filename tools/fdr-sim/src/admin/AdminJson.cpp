#include "AdminJson.h"

#include <type_traits>

#include "WholeNumber.h"

namespace fdrsim::admin {

namespace {

constexpr std::chrono::milliseconds kLongestWait{60000};
constexpr uint64_t kLongestList = 10000;

bool Fail(std::string* error, const std::string& reason) {
    if (error != nullptr) {
        *error = reason;
    }
    return false;
}

// Calls visit(key, field, low, high) for each field that the fault's mode uses, numbers with
// their range. The writer and the reader of a fault share it, so they always take the same keys.
template <typename AnyFault, typename Visit>
void VisitFields(AnyFault& fault, Visit&& visit) {
    visit("delay_ms", fault.delay, 0, kLongestWait.count());
    visit("remaining", fault.remaining, -1, 1000000);
    switch (fault.mode) {
        case FaultMode::Status:
            visit("status", fault.status, 100, 599);
            visit("body", fault.body, 0, 0);
            break;
        case FaultMode::CloseEarly:
        case FaultMode::ResetEarly:
            visit("body", fault.body, 0, 0);
            visit("sent_bytes", fault.sent_bytes, 0, 1 << 20);
            break;
        case FaultMode::Huge:
            visit("head", fault.head, 0, 0);
            visit("tail", fault.tail, 0, 0);
            visit("filler", fault.filler, 0, 0);
            visit("huge_bytes", fault.huge_bytes, 0, int64_t{1} << 32);
            break;
        case FaultMode::DeepNesting:
            visit("depth", fault.depth, 1, 10000000);
            break;
        case FaultMode::Drip:
            visit("drip_interval_ms", fault.drip_interval, 1, kLongestWait.count());
            break;
        default:
            break;
    }
}

bool ReadField(std::string& field, const std::string& key, const Json::Value& value, int64_t,
               int64_t, std::string* error) {
    if (!value.isString()) {
        return Fail(error, "\"" + key + "\" must be a string, not " + JsonKindName(value));
    }
    field = value.asString();
    return true;
}

bool ReadField(char& field, const std::string& key, const Json::Value& value, int64_t, int64_t,
               std::string* error) {
    std::string text;
    if (!ReadField(text, key, value, 0, 0, error)) {
        return false;
    }
    field = text.empty() ? ' ' : text[0];
    return text.size() == 1 || Fail(error, "\"" + key + "\" must be one character");
}

// A JSON integer within [low, high]; a count of requests is never 0.
template <typename Number>
bool ReadField(Number& field, const std::string& key, const Json::Value& value, int64_t low,
               int64_t high, std::string* error) {
    if (!value.isIntegral() || (value.isUInt64() && !value.isInt64()) || value.asInt64() < low ||
        value.asInt64() > high) {
        return Fail(error, "\"" + key + "\" must be a whole number from " + std::to_string(low) +
                               " to " + std::to_string(high));
    }
    if (key == "remaining" && value.asInt64() == 0) {
        return Fail(error, "\"remaining\" must be -1 (until cleared) or a count above 0");
    }
    field = Number(value.asInt64());
    return true;
}

}  // namespace

std::optional<Service> ReadService(const std::string& text, std::string* error) {
    if (const ServiceInfo* info = FindService(text)) {
        return info->id;
    }
    Fail(error, "no service named or on port \"" + text + "\"");
    return std::nullopt;
}

std::optional<JournalQuery> ReadJournalQuery(const QueryParams& params, bool for_wait,
                                             std::string* error) {
    JournalQuery query;
    // Only the first value of a repeated parameter counts.
    for (auto it = params.begin(); it != params.end(); it = params.upper_bound(it->first)) {
        const auto& [key, value] = *it;
        uint64_t number = 0;
        bool ok = false;
        std::string problem = "unknown parameter \"" + key + "\"";
        if (key == "service") {
            query.filter.service = ReadService(value, &problem);
            ok = query.filter.service.has_value();
        } else if (key == "method") {
            ok = !value.empty() &&
                 value.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") == std::string::npos;
            problem = "\"method\" must be an upper-case HTTP method, e.g. PUT";
            query.filter.method = value;
        } else if (key == "path") {
            ok = !value.empty() && value[0] == '/' && value.find('?') == std::string::npos;
            problem = "\"path\" must start with / and hold no query, e.g. /fdr/Autonomies";
            query.filter.path = value;
        } else if (key == "since") {
            ok = ReadWholeNumber(value, 18, 0, UINT64_MAX, query.filter.after_id);
            problem = "\"since\" must be an exchange id (a whole number)";
        } else if (key == "text" && !for_wait) {
            ok = true;
            query.text = value;
        } else if (key == "limit" && !for_wait) {
            ok = ReadWholeNumber(value, 18, 1, kLongestList, number);
            problem = "\"limit\" must be a whole number from 1 to 10000";
            query.limit = number;
        } else if (key == "bodies" && !for_wait) {
            ok = value == "0" || value == "1";
            problem = "\"bodies\" must be 0 or 1";
            query.bodies = value == "1";
        } else if (key == "timeout_ms" && for_wait) {
            ok = ReadWholeNumber(value, 18, 0, kLongestWait.count(), number);
            problem = "\"timeout_ms\" must be a whole number from 0 to 60000";
            query.timeout = std::chrono::milliseconds(number);
        }
        if (!ok) {
            Fail(error, problem);
            return std::nullopt;
        }
    }
    return query;
}

std::optional<Fault> ReadFaultRequest(const std::string& body, std::string* error) {
    std::string reason;
    std::string name;
    const auto root = ParseJson(body, &reason);
    std::optional<FaultMode> mode;
    if (!root || !root->isObject()) {
        Fail(error, root ? "the fault must be a JSON object" : "the body is not JSON: " + reason);
    } else if (!root->isMember("mode")) {
        Fail(error, "\"mode\" is missing");
    } else if (ReadField(name, "mode", (*root)["mode"], 0, 0, error) &&
               !(mode = FaultModeNamed(name))) {
        Fail(error, "unknown mode \"" + name + "\"");
    }
    if (!mode) {
        return std::nullopt;
    }
    Fault fault;
    fault.mode = *mode;
    for (const std::string& key : root->getMemberNames()) {
        bool known = key == "mode";
        bool read = true;
        VisitFields(fault, [&](const char* name, auto& field, int64_t low, int64_t high) {
            if (key == name) {
                known = true;
                read = ReadField(field, key, (*root)[key], low, high, error);
            }
        });
        if (!known) {
            Fail(error, "unknown key \"" + key + "\" for mode \"" + name + "\"");
        }
        if (!known || !read) {
            return std::nullopt;
        }
    }
    return fault;
}

Json::Value FaultJson(const Fault& fault) {
    Json::Value out(Json::objectValue);
    out["mode"] = FaultName(fault.mode);
    VisitFields(fault, [&out](const char* key, const auto& field, int64_t, int64_t) {
        using Field = std::decay_t<decltype(field)>;
        if constexpr (std::is_same_v<Field, std::chrono::milliseconds>) {
            out[key] = static_cast<Json::Int64>(field.count());
        } else if constexpr (std::is_same_v<Field, char>) {
            out[key] = std::string(1, field);
        } else if constexpr (std::is_same_v<Field, size_t>) {
            out[key] = static_cast<Json::UInt64>(field);
        } else {
            out[key] = field;
        }
    });
    return out;
}

Json::Value ExchangeJson(const Exchange& exchange, bool whole) {
    Json::Value out(Json::objectValue);
    out["id"] = static_cast<Json::UInt64>(exchange.id);
    out["time_ms"] = static_cast<Json::Int64>(
        std::chrono::duration_cast<std::chrono::milliseconds>(exchange.time.time_since_epoch())
            .count());
    out["duration_us"] = static_cast<Json::Int64>(exchange.duration.count());
    out["service"] = InfoOf(exchange.service).key;
    out["port"] = exchange.port;
    out["method"] = exchange.method;
    out["target"] = exchange.target;
    out["status"] = exchange.status == 0 ? Json::Value() : Json::Value(exchange.status);
    out["fault"] = exchange.fault;
    out["ok"] = exchange.ok();
    out["flags"] = Json::Value(Json::arrayValue);
    for (const auto& flag : exchange.flags) {
        Json::Value& entry = out["flags"].append(Json::Value(Json::objectValue));
        entry["text"] = flag.text;
        entry["problem"] = flag.problem;
    }
    out["request_bytes"] = static_cast<Json::UInt64>(exchange.request_body.size());
    out["answer_bytes"] = static_cast<Json::UInt64>(exchange.answer_body.size());
    if (whole) {
        out["request_headers"] = Json::Value(Json::arrayValue);
        for (const auto& [name, value] : exchange.request_headers) {
            Json::Value& pair = out["request_headers"].append(Json::Value(Json::arrayValue));
            pair.append(name);
            pair.append(value);
        }
        out["request_body"] = exchange.request_body;
        out["answer_body"] = exchange.answer_body;
    }
    return out;
}

}  // namespace fdrsim::admin
