#include "RouteTable.h"

namespace fdrsim {

void RouteTable::Add(const std::string& method, const std::string& path, Route route) {
    routes_[{path, method}] = std::move(route);
}

void RouteTable::Add(const fdr::LocalEndpoint& endpoint, Route route) {
    const std::string path = endpoint.path;
    Add(fdr::MethodName(endpoint.method), path.substr(0, path.find('?')), std::move(route));
}

ServiceAnswer RouteTable::Dispatch(const IncomingRequest& request) const {
    auto it = routes_.find({request.path, request.method});
    if (it != routes_.end()) {
        return it->second(request);
    }
    std::string allowed;
    for (const auto& [key, route] : routes_) {
        if (key.first == request.path) {
            allowed += (allowed.empty() ? "" : ", ") + key.second;
        }
    }
    ServiceAnswer answer;
    if (allowed.empty()) {
        answer.status = 404;
        answer.body = R"({"error":"no such path"})";
        AddProblem(answer.flags, "unknown path " + request.path);
    } else {
        answer.status = 405;
        answer.body = R"({"error":"method not allowed"})";
        AddProblem(answer.flags, request.method + " is not served on " + request.path +
                                     " (expected " + allowed + ")");
    }
    return answer;
}

ServiceAnswer Acknowledgement(Flags flags) {
    ServiceAnswer answer;
    answer.body = "{}";
    answer.flags = std::move(flags);
    return answer;
}

}  // namespace fdrsim
