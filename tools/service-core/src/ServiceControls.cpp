#include "ServiceControls.h"

namespace fdrsim {

ServiceControls::Plan ServiceControls::Take(Service service, const std::string& method,
                                            const std::string& path) {
    std::lock_guard<std::mutex> lock(mutex_);
    State& state = states_[service];
    Plan plan{state.fault, state.release, {}};
    if (state.fault.remaining > 0 && --state.fault.remaining == 0) {
        // Worn off; a request it stalls stays stalled until the fault is cleared or set anew.
        state.fault = Fault{};
    }
    auto it = scripts_.find({service, method, path});
    if (it != scripts_.end()) {
        plan.script = it->second;
    }
    return plan;
}

void ServiceControls::SetFault(Service service, Fault fault) {
    std::lock_guard<std::mutex> lock(mutex_);
    State& state = states_[service];
    if (fault.mode != FaultMode::Stall) {
        state.release->Trigger();
        state.release = std::make_shared<WakeSignal>();
    }
    state.fault = std::move(fault);
}

Fault ServiceControls::FaultOf(Service service) const {
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = states_.find(service);
    return it == states_.end() ? Fault{} : it->second.fault;
}

void ServiceControls::Script(Service service, const std::string& method, const std::string& path,
                             Responder responder) {
    std::lock_guard<std::mutex> lock(mutex_);
    scripts_[{service, method, path}] = std::move(responder);
}

void ServiceControls::ClearScripts() {
    std::lock_guard<std::mutex> lock(mutex_);
    scripts_.clear();
}

}  // namespace fdrsim
