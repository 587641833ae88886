#include "ServiceTable.h"

#include <iterator>
#include <stdexcept>

namespace fdrsim {

const std::vector<ServiceInfo>& AllServices() {
    static const std::vector<ServiceInfo> services(std::begin(fdr::kLocalServices),
                                                   std::end(fdr::kLocalServices));
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
        if (port_or_key == info.key || port_or_key == std::to_string(info.port)) {
            return &info;
        }
    }
    return nullptr;
}

std::string Describe(Service service, int port) {
    return std::string(InfoOf(service).name) + " (" + std::to_string(port) + ")";
}

}  // namespace fdrsim
