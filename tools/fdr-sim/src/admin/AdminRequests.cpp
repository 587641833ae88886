#include "AdminRequests.h"

#include <set>
#include <vector>

#include "JsonText.h"

namespace fdrsim::admin {

namespace {

bool Fail(std::string* error, const std::string& reason) {
    if (error != nullptr) {
        *error = reason;
    }
    return false;
}

// A whole number of at most 18 digits within [low, high].
bool ReadNumber(const std::string& text, uint64_t low, uint64_t high, uint64_t& out) {
    if (text.empty() || text.size() > 18 ||
        text.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    out = std::stoull(text);
    return out >= low && out <= high;
}

// The keys a fault body may carry besides mode, delay_ms and remaining: only those the mode uses.
std::set<std::string> KeysOf(FaultMode mode) {
    switch (mode) {
        case FaultMode::Status:
            return {"status", "body"};
        case FaultMode::CloseEarly:
        case FaultMode::ResetEarly:
            return {"body", "sent_bytes"};
        case FaultMode::Huge:
            return {"head", "tail", "filler", "huge_bytes"};
        case FaultMode::DeepNesting:
            return {"depth"};
        case FaultMode::Drip:
            return {"drip_interval_ms"};
        default:
            return {};
    }
}

// A JSON integer within [low, high], under `key`.
bool ReadInteger(const Json::Value& value, const std::string& key, int64_t low, int64_t high,
                 int64_t& out, std::string* error) {
    if (!value.isIntegral() || (value.isUInt64() && !value.isInt64()) || value.asInt64() < low ||
        value.asInt64() > high) {
        return Fail(error, "\"" + key + "\" must be a whole number from " + std::to_string(low) +
                               " to " + std::to_string(high));
    }
    out = value.asInt64();
    return true;
}

bool ReadText(const Json::Value& value, const std::string& key, std::string& out,
              std::string* error) {
    if (!value.isString()) {
        return Fail(error, "\"" + key + "\" must be a string, not " + JsonKindName(value));
    }
    out = value.asString();
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
    for (const auto& [key, value] : params) {
        uint64_t number = 0;
        if (key == "service") {
            const auto service = ReadService(value, error);
            if (!service) {
                return std::nullopt;
            }
            query.filter.service = *service;
        } else if (key == "method") {
            if (value.empty() ||
                value.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") != std::string::npos) {
                Fail(error, "\"method\" must be an upper-case HTTP method, e.g. PUT");
                return std::nullopt;
            }
            query.filter.method = value;
        } else if (key == "path") {
            if (value.empty() || value[0] != '/' || value.find('?') != std::string::npos) {
                Fail(error, "\"path\" must start with / and hold no query, e.g. /fdr/Autonomies");
                return std::nullopt;
            }
            query.filter.path = value;
        } else if (key == "since") {
            if (!ReadNumber(value, 0, UINT64_MAX, number)) {
                Fail(error, "\"since\" must be an exchange id (a whole number)");
                return std::nullopt;
            }
            query.filter.after_id = number;
        } else if (key == "text" && !for_wait) {
            query.text = value;
        } else if (key == "limit" && !for_wait) {
            if (!ReadNumber(value, 1, kLongestList, number)) {
                Fail(error,
                     "\"limit\" must be a whole number from 1 to " + std::to_string(kLongestList));
                return std::nullopt;
            }
            query.limit = number;
        } else if (key == "bodies" && !for_wait) {
            if (value != "0" && value != "1") {
                Fail(error, "\"bodies\" must be 0 or 1");
                return std::nullopt;
            }
            query.bodies = value == "1";
        } else if (key == "timeout_ms" && for_wait) {
            if (!ReadNumber(value, 0, kLongestWait.count(), number)) {
                Fail(error, "\"timeout_ms\" must be a whole number from 0 to " +
                                std::to_string(kLongestWait.count()));
                return std::nullopt;
            }
            query.timeout = std::chrono::milliseconds(number);
        } else {
            Fail(error, "unknown parameter \"" + key + "\"");
            return std::nullopt;
        }
    }
    return query;
}

std::optional<Fault> ReadFaultRequest(const std::string& body, std::string* error) {
    std::string reason;
    const auto root = ParseJson(body, &reason);
    if (!root || !root->isObject()) {
        Fail(error, root ? "the fault must be a JSON object" : "the body is not JSON: " + reason);
        return std::nullopt;
    }
    std::string name;
    if (!root->isMember("mode")) {
        Fail(error, "\"mode\" is missing");
        return std::nullopt;
    }
    if (!ReadText((*root)["mode"], "mode", name, error)) {
        return std::nullopt;
    }
    const auto mode = FaultModeNamed(name);
    if (!mode) {
        Fail(error, "unknown mode \"" + name + "\"");
        return std::nullopt;
    }
    Fault fault;
    fault.mode = *mode;
    const std::set<std::string> own = KeysOf(*mode);
    for (const std::string& key : root->getMemberNames()) {
        const Json::Value& value = (*root)[key];
        int64_t number = 0;
        bool read = true;
        if (key == "mode") {
            continue;
        } else if (key != "delay_ms" && key != "remaining" && own.count(key) == 0) {
            Fail(error, "unknown key \"" + key + "\" for mode \"" + name + "\"");
            return std::nullopt;
        } else if (key == "delay_ms") {
            read = ReadInteger(value, key, 0, kLongestWait.count(), number, error);
            fault.delay = std::chrono::milliseconds(number);
        } else if (key == "remaining") {
            read = ReadInteger(value, key, -1, 1000000, number, error);
            if (read && number == 0) {
                read = Fail(error, "\"remaining\" must be -1 (until cleared) or a count above 0");
            }
            fault.remaining = static_cast<int>(number);
        } else if (key == "status") {
            read = ReadInteger(value, key, 100, 599, number, error);
            fault.status = static_cast<int>(number);
        } else if (key == "body") {
            read = ReadText(value, key, fault.body, error);
        } else if (key == "sent_bytes") {
            read = ReadInteger(value, key, 0, 1 << 20, number, error);
            fault.sent_bytes = static_cast<size_t>(number);
        } else if (key == "head") {
            read = ReadText(value, key, fault.head, error);
        } else if (key == "tail") {
            read = ReadText(value, key, fault.tail, error);
        } else if (key == "filler") {
            std::string filler;
            read = ReadText(value, key, filler, error) &&
                   (filler.size() == 1 || Fail(error, "\"filler\" must be one character"));
            fault.filler = read ? filler[0] : ' ';
        } else if (key == "huge_bytes") {
            read = ReadInteger(value, key, 0, int64_t{1} << 32, number, error);
            fault.huge_bytes = static_cast<size_t>(number);
        } else if (key == "depth") {
            read = ReadInteger(value, key, 1, 10000000, number, error);
            fault.depth = static_cast<int>(number);
        } else if (key == "drip_interval_ms") {
            read = ReadInteger(value, key, 1, kLongestWait.count(), number, error);
            fault.drip_interval = std::chrono::milliseconds(number);
        }
        if (!read) {
            return std::nullopt;
        }
    }
    return fault;
}

}  // namespace fdrsim::admin
