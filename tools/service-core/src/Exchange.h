// The eight local services that the simulator stands in for, as the library's catalogue lists
// them, and one exchange with one of them: what arrived, what was answered and what the
// simulator noticed about it (the unit of the in-memory log, the transcript and the console line).
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <iterator>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "catalogue/ServiceCatalogue.h"

namespace fdrsim {

using Service = fdr::ServiceId;
using ServiceInfo = fdr::LocalService;

// Every service, in port order.
inline const std::vector<ServiceInfo>& AllServices() {
    static const std::vector<ServiceInfo> services(std::begin(fdr::kLocalServices),
                                                   std::end(fdr::kLocalServices));
    return services;
}

// Finds a service by its fixed port or its key ("federation"); null when unknown.
inline const ServiceInfo* FindService(const std::string& port_or_key) {
    for (const auto& info : AllServices()) {
        if (port_or_key == info.key || port_or_key == std::to_string(info.port)) {
            return &info;
        }
    }
    return nullptr;
}

inline const ServiceInfo& InfoOf(Service service) {
    const ServiceInfo* info = &AllServices().front();
    while (info->id != service) {
        ++info;  // every service is in the catalogue
    }
    return *info;
}

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

// Header fields in wire order, names as sent.
using HeaderList = std::vector<std::pair<std::string, std::string>>;

struct IncomingRequest {
    std::string method;
    std::string path;                               // decoded, without the query
    std::string target;                             // as sent: path and raw query
    std::multimap<std::string, std::string> query;  // decoded
    std::string body;
    HeaderList headers;
    std::string unreadable;  // why the request could not be read; empty when it was

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
    Flags flags{};
};

// What a test or tool scripts for one method and path, in place of the service's own route.
using ScriptedAnswer = ServiceAnswer;
using Responder = std::function<ScriptedAnswer(const IncomingRequest&)>;

// A service's own answer to one of its endpoints (the endpoint's query, if any, is the route's).
using Route = std::function<ServiceAnswer(const IncomingRequest&)>;
struct RouteEntry {
    fdr::LocalEndpoint endpoint;
    Route route;
};
using Routes = std::vector<RouteEntry>;

struct Exchange {
    uint64_t id = 0;                             // 1, 2, 3 ... in recording order, never reused
    std::chrono::system_clock::time_point time;  // arrival
    std::chrono::microseconds duration{0};       // arrival to the answer going out
    Service service = Service::Token;
    int port = 0;
    std::string method;
    std::string target;
    HeaderList request_headers;
    std::string request_body;
    std::string fault;  // the name of the fault applied; empty when none was
    int status = 0;     // 0: no answer was sent (a stalled service)
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
};

}  // namespace fdrsim
