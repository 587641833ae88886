// What each service is told to do at run time, apart from its own routes: its fault and its
// scripted answers. Thread-safe: tests and the admin API change it while requests are served.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>

#include "Exchange.h"
#include "Faults.h"
#include "HttpConnection.h"

namespace fdrsim {

class ServiceControls {
  public:
    // What one request that just arrived is to get.
    struct Plan {
        Fault fault;                          // mode None: no fault
        std::shared_ptr<WakeSignal> release;  // set when the fault is changed or cleared
        Responder script;                     // empty: the service's own route
    };
    // Takes one use of the service's fault (one that was for N requests wears off) and finds
    // the script for the method and path.
    Plan Take(Service service, const std::string& method, const std::string& path);

    void SetFault(Service service, Fault fault);
    void ClearFault(Service service) { SetFault(service, Fault{}); }
    Fault FaultOf(Service service) const;

    void Script(Service service, const std::string& method, const std::string& path,
                Responder responder);
    void ClearScripts();

  private:
    struct State {
        Fault fault;
        std::shared_ptr<WakeSignal> release = std::make_shared<WakeSignal>();
    };
    mutable std::mutex mutex_;
    std::map<Service, State> states_;
    std::map<std::tuple<Service, std::string, std::string>, Responder> scripts_;
};

}  // namespace fdrsim
