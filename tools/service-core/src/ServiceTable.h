// The eight local services that the simulator stands in for, as the library's catalogue lists
// them, each with its fixed port.
#pragma once

#include <string>
#include <vector>

#include "catalogue/ServiceCatalogue.h"

namespace fdrsim {

using Service = fdr::ServiceId;
using ServiceInfo = fdr::LocalService;

// Every service, in port order.
const std::vector<ServiceInfo>& AllServices();
const ServiceInfo& InfoOf(Service service);
// Finds a service by its fixed port or its key ("federation"); null when unknown.
const ServiceInfo* FindService(const std::string& port_or_key);
// "token service (<port>)": for messages that must name both.
std::string Describe(Service service, int port);

}  // namespace fdrsim
