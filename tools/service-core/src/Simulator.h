// The simulator: the eight local services in one process, backed by one in-memory federation.
// Tests and tools start it in-process through this class; the fdr-sim program wraps it.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ExchangeLog.h"
#include "Faults.h"
#include "FederationRoutes.h"
#include "FederationStore.h"
#include "SeedLoader.h"
#include "ServiceListener.h"
#include "TokenService.h"

namespace fdrsim {

struct SimulatorOptions {
    FederationSeed federation = SampleFederation();
    // Services listen on their fixed ports unless given another one here; 0 means any free
    // port, which lets tests run beside each other and beside the real services.
    std::map<Service, int> ports;
    bool any_ports = false;  // every service on a free port
    std::map<Service, FaultMode> faults;
    std::chrono::seconds token_ttl{3600};     // lifetime of an access token
    std::chrono::seconds refresh_ttl{86400};  // lifetime of a refresh token
    TokenService::Now now = TokenService::Clock::now;
};

class Simulator {
  public:
    explicit Simulator(SimulatorOptions options);
    ~Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    // Starts every service. When one cannot listen, stops those already started and returns
    // false with a message naming that port and service.
    bool Start(std::string* error);
    // Releases stalled requests and stops every service; also done by the destructor.
    void Stop();

    // The port a service listens on (or, when refusing, the port where nothing listens).
    int PortOf(Service service) const;
    FaultMode FaultOf(Service service) const;

    ExchangeLog& Exchanges() { return log_; }
    FederationStore& Federation() { return store_; }
    TokenService& Tokens() { return tokens_; }

  private:
    RouteTable RoutesOf(Service service);

    SimulatorOptions options_;
    ExchangeLog log_;
    FederationStore store_;
    TokenService tokens_;
    FederationRoutes federation_routes_;
    ShutdownSignal shutdown_;
    std::vector<std::unique_ptr<ServiceListener>> listeners_;
};

}  // namespace fdrsim
