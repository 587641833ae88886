// One exchange with a simulated service: what arrived, what was answered and what the simulator
// noticed about it. The unit of the in-memory log, the transcript and the console line.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "ServiceTable.h"

namespace fdrsim {

// Something noticed about a request. A problem means the request is not what the service
// expects; other flags mark known, deliberate quirks ("not JSON (expected)") or simulator
// behaviour (a fault, a store change).
struct Flag {
    std::string text;
    bool problem = false;
};
using Flags = std::vector<Flag>;

inline void AddNote(Flags& flags, std::string text) {
    flags.push_back({std::move(text), false});
}
inline void AddProblem(Flags& flags, std::string text) {
    flags.push_back({std::move(text), true});
}

struct IncomingRequest {
    std::string method;
    std::string path;                               // decoded, without the query
    std::string target;                             // as sent: path and raw query
    std::multimap<std::string, std::string> query;  // decoded
    std::string body;

    // The first value of a query parameter, or null when it is absent.
    const std::string* Param(const std::string& key) const {
        auto it = query.find(key);
        return it == query.end() ? nullptr : &it->second;
    }
};

struct ServiceAnswer {
    int status = 200;
    std::string body;
    std::string content_type = "application/json";
    Flags flags;
};

struct Exchange {
    std::chrono::system_clock::time_point time;
    Service service = Service::Token;
    int port = 0;
    std::string method;
    std::string target;
    std::string request_body;
    int status = 0;  // 0: no answer was sent (a stalled service)
    std::string answer_body;
    Flags flags;

    // True when nothing about the request was a problem.
    bool ok() const {
        for (const auto& flag : flags) {
            if (flag.problem) {
                return false;
            }
        }
        return true;
    }
    bool HasFlag(const std::string& text) const {
        for (const auto& flag : flags) {
            if (flag.text == text) {
                return true;
            }
        }
        return false;
    }
};

}  // namespace fdrsim
