#include "ServiceTable.h"

#include <stdexcept>

namespace fdrsim {

const std::vector<ServiceInfo>& AllServices() {
    // clang-format off
    static const std::vector<ServiceInfo> services = {
        {Service::VideoManagement,  10223, "video-management", "central video-management service"},
        {Service::ModeArbitration,  10227, "mode-arbitration", "autonomy-mode arbitration"},
        {Service::Arbitrator,       10228, "arbitrator",       "arbitrator"},
        {Service::Token,            10229, "token",            "token service"},
        {Service::Aggregator,       10235, "aggregator",       "aggregator"},
        {Service::FederationWrites, 10240, "federation",       "federation service"},
        {Service::FederationReads,  10241, "federation-reads", "federation service (reads)"},
        {Service::MemberLog,        10250, "member-log",       "member log service"},
    };
    // clang-format on
    return services;
}

const ServiceInfo& InfoOf(Service service) {
    for (const auto& info : AllServices()) {
        if (info.id == service) {
            return info;
        }
    }
    throw std::logic_error("service missing from the service table");
}

const ServiceInfo* FindService(const std::string& port_or_key) {
    for (const auto& info : AllServices()) {
        if (port_or_key == info.key || port_or_key == std::to_string(info.fixed_port)) {
            return &info;
        }
    }
    return nullptr;
}

std::string Describe(Service service, int port) {
    return std::string(InfoOf(service).name) + " (" + std::to_string(port) + ")";
}

}  // namespace fdrsim
