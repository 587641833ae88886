#include "Simulator.h"

#include "Receivers.h"

namespace fdrsim {

Simulator::Simulator(SimulatorOptions options)
    : options_(std::move(options)),
      store_(options_.federation),
      tokens_(options_.federation.clients, options_.token_ttl, options_.refresh_ttl, options_.now),
      federation_routes_(store_) {}

Simulator::~Simulator() {
    Stop();
}

RouteTable Simulator::RoutesOf(Service service) {
    RouteTable routes;
    if (service == Service::Token) {
        tokens_.AddRoutes(routes);
    } else if (service == Service::FederationWrites) {
        federation_routes_.AddWriteRoutes(routes);
    } else if (service == Service::FederationReads) {
        federation_routes_.AddReadRoutes(routes);
    } else {
        AddReceiverRoutes(service, routes);
    }
    return routes;
}

bool Simulator::Start(std::string* error) {
    for (const auto& info : AllServices()) {
        int port = options_.any_ports ? 0 : info.port;
        if (auto it = options_.ports.find(info.id); it != options_.ports.end()) {
            port = it->second;
        }
        FaultMode fault = FaultMode::None;
        if (auto it = options_.faults.find(info.id); it != options_.faults.end()) {
            fault = it->second;
        }
        auto listener = std::make_unique<ServiceListener>(info.id, port, fault, RoutesOf(info.id),
                                                          log_, shutdown_);
        if (!listener->Start(error)) {
            Stop();
            return false;
        }
        listeners_.push_back(std::move(listener));
    }
    return true;
}

void Simulator::Stop() {
    shutdown_.Trigger();
    for (auto& listener : listeners_) {
        listener->Stop();
    }
    listeners_.clear();
}

int Simulator::PortOf(Service service) const {
    for (const auto& listener : listeners_) {
        if (listener->service() == service) {
            return listener->port();
        }
    }
    return 0;
}

FaultMode Simulator::FaultOf(Service service) const {
    auto it = options_.faults.find(service);
    return it == options_.faults.end() ? FaultMode::None : it->second;
}

}  // namespace fdrsim
