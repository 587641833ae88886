// The eight local services that the simulator stands in for, each with its fixed port.
#pragma once

#include <string>
#include <vector>

namespace fdrsim {

enum class Service {
    VideoManagement,
    ModeArbitration,
    Arbitrator,
    Token,
    Aggregator,
    FederationWrites,
    FederationReads,
    MemberLog,
};

struct ServiceInfo {
    Service id;
    int fixed_port;
    const char* key;   // short name for the command line, the console and the transcript
    const char* name;  // what people call it
};

// Every service, in port order.
const std::vector<ServiceInfo>& AllServices();
const ServiceInfo& InfoOf(Service service);
// Finds a service by its fixed port ("10240") or its key ("federation"); null when unknown.
const ServiceInfo* FindService(const std::string& port_or_key);
// "token service (10229)": for messages that must name both.
std::string Describe(Service service, int port);

}  // namespace fdrsim
