// The service core: the eight local services in one process, backed by one in-memory federation.
// Tests and tools start it in-process through this class; the fdr-sim program wraps it. Every
// control below is thread-safe and may be used while the services answer.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "ExchangeLog.h"
#include "Faults.h"
#include "FederationSeed.h"
#include "FederationStore.h"
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
    // No routes: unscripted requests get 200 with an empty body (the tests' plain recorder).
    bool recorder_only = false;
    size_t journal_capacity = 10000;
};

class Simulator {
  public:
    explicit Simulator(SimulatorOptions options);
    ~Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    // Starts every service; returns once each one accepts connections (or, refusing, has its
    // port). When one cannot listen, stops those already started and returns false with a
    // message naming that port and service.
    bool Start(std::string* error);
    // Releases stalled requests and stops every service; also done by the destructor.
    void Stop();

    // Waits until every connection accepted so far is closed; true when they were in time.
    bool WaitUntilIdle(std::chrono::milliseconds timeout) const;

    // The port a service listens on (or, when refusing, the port where nothing listens).
    int PortOf(Service service) const;

    void SetFault(Service service, Fault fault);
    void ClearFault(Service service) { SetFault(service, Fault{}); }
    void ClearFaults();
    Fault FaultOf(Service service) const;

    // Scripted answers override the service's own route for one method + path (path without
    // query) until cleared.
    void Script(Service service, const std::string& method, const std::string& path,
                ScriptedAnswer answer);
    void ScriptWith(Service service, const std::string& method, const std::string& path,
                    Responder responder);
    void ClearScripts();

    // Validates the seed document and puts its federation in place of the current one (token
    // clients included); on error nothing changes and `error` names the first bad field.
    bool ReplaceFederation(const std::string& seed_json, std::string* error);
    // Back to the federation given at the start.
    void ResetFederation();
    // The current federation as a seed document.
    std::string FederationJson() const;

    ExchangeLog& Exchanges() { return log_; }
    FederationStore& Federation() { return store_; }

  private:
    // A service's fault, and the signal that releases the requests it stalls.
    struct FaultState {
        Fault fault;
        std::shared_ptr<WakeSignal> release = std::make_shared<WakeSignal>();
    };
    using Recorder = std::function<uint64_t(int status, std::string answer_body, Flags flags)>;
    void Serve(Service service, int port, HttpConnection& connection, IncomingRequest& request);
    void PlayFault(const Fault& fault, HttpConnection& connection, const WakeSignal& release,
                   const std::function<ServiceAnswer()>& normal, const Recorder& record);
    ServiceAnswer Dispatch(Service service, const IncomingRequest& request) const;
    ServiceListener* ListenerOf(Service service) const;

    // Service, method and path (without the query).
    using RouteKey = std::tuple<Service, std::string, std::string>;
    SimulatorOptions options_;
    ExchangeLog log_;
    FederationStore store_;
    TokenService tokens_;
    std::map<RouteKey, fdrsim::Route> routes_;
    mutable std::mutex faults_mutex_;  // faults_ and scripts_, changed while requests are served
    std::map<Service, FaultState> faults_;
    std::map<RouteKey, Responder> scripts_;
    WakeSignal stop_;
    mutable std::mutex control_mutex_;  // fault changes that open or close a port, one at a time
    std::vector<std::unique_ptr<ServiceListener>> listeners_;
};

}  // namespace fdrsim
