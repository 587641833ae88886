// The eight local services that the simulator stands in for, as the library's catalogue lists
// them, each with its fixed port.
#pragma once

#include <iterator>
#include <string>
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

}  // namespace fdrsim
