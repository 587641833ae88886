#include "Simulator.h"

#include "FaultPlayback.h"
#include "Receivers.h"

namespace fdrsim {

Simulator::Simulator(SimulatorOptions options)
    : options_(std::move(options)),
      log_(options_.journal_capacity),
      store_(options_.federation),
      tokens_(options_.federation.clients, options_.token_ttl, options_.refresh_ttl, options_.now),
      federation_routes_(store_) {
    for (const auto& [service, mode] : options_.faults) {
        Fault fault;
        fault.mode = mode;
        controls_.SetFault(service, fault);
    }
    for (const auto& info : AllServices()) {
        routes_[info.id] = options_.recorder_only ? RouteTable() : RoutesOf(info.id);
    }
}

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
        const Service service = info.id;
        const RouteTable& routes = routes_.at(service);
        auto listener = std::make_unique<ServiceListener>(
            service, port,
            [this, service, &routes](HttpConnection& connection, IncomingRequest& request,
                                     int port) {
                Serve(service, port, routes, connection, request);
            },
            stop_);
        std::lock_guard<std::mutex> lock(control_mutex_);
        if (!listener->Start(FaultOf(service).mode == FaultMode::Refuse, error)) {
            stop_.Trigger();
            listeners_.clear();
            return false;
        }
        listeners_.push_back(std::move(listener));
    }
    return true;
}

void Simulator::Stop() {
    stop_.Trigger();
    std::lock_guard<std::mutex> lock(control_mutex_);
    for (auto& listener : listeners_) {
        listener->Stop();
    }
}

ServiceListener* Simulator::ListenerOf(Service service) const {
    for (const auto& listener : listeners_) {
        if (listener->service() == service) {
            return listener.get();
        }
    }
    return nullptr;
}

bool Simulator::WaitUntilIdle(std::chrono::milliseconds timeout) const {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    std::lock_guard<std::mutex> lock(control_mutex_);
    for (const auto& listener : listeners_) {
        if (!listener->WaitUntilIdle(deadline)) {
            return false;
        }
    }
    return true;
}

int Simulator::PortOf(Service service) const {
    std::lock_guard<std::mutex> lock(control_mutex_);
    const ServiceListener* listener = ListenerOf(service);
    return listener == nullptr ? 0 : listener->port();
}

void Simulator::SetFault(Service service, Fault fault) {
    std::lock_guard<std::mutex> lock(control_mutex_);
    const bool refuse = fault.mode == FaultMode::Refuse;
    controls_.SetFault(service, std::move(fault));
    if (ServiceListener* listener = ListenerOf(service)) {
        if (refuse) {
            listener->Refuse();
        } else {
            listener->Listen(nullptr);
        }
    }
}

void Simulator::ClearFaults() {
    for (const auto& info : AllServices()) {
        ClearFault(info.id);
    }
}

void Simulator::Script(Service service, const std::string& method, const std::string& path,
                       ScriptedAnswer answer) {
    ScriptWith(service, method, path, [answer](const IncomingRequest&) { return answer; });
}

void Simulator::ScriptWith(Service service, const std::string& method, const std::string& path,
                           Responder responder) {
    controls_.Script(service, method, path, std::move(responder));
}

bool Simulator::ReplaceFederation(const std::string& seed_json, std::string* error) {
    FederationSeed seed;
    if (!ParseSeed(seed_json, seed, error)) {
        return false;
    }
    tokens_.ReplaceClients(seed.clients);
    store_.Replace(std::move(seed));
    return true;
}

void Simulator::ResetFederation() {
    tokens_.ReplaceClients(options_.federation.clients);
    store_.Replace(options_.federation);
}

std::string Simulator::FederationJson() const {
    FederationSeed seed = store_.Snapshot();
    seed.clients = tokens_.Clients();
    return SeedJson(seed);
}

// Fault first, then a script, then the service's own route.
void Simulator::Serve(Service service, int port, const RouteTable& routes,
                      HttpConnection& connection, IncomingRequest& request) {
    const auto arrived = std::chrono::steady_clock::now();
    Exchange exchange;
    exchange.time = std::chrono::system_clock::now();
    exchange.service = service;
    exchange.port = port;
    exchange.method = request.method;
    exchange.target = request.target;
    exchange.request_headers = request.headers;
    exchange.request_body = request.body;
    const ServiceControls::Plan plan = controls_.Take(service, request.method, request.path);

    // The script's or route's answer, after the script's delay.
    auto normal = [&]() -> ServiceAnswer {
        if (plan.script) {
            const ScriptedAnswer scripted = plan.script(request);
            connection.Pause(scripted.delay);
            return {scripted.status, scripted.body, scripted.content_type, {}};
        }
        if (options_.recorder_only) {
            return {200, "", "application/json", {}};
        }
        try {
            return routes.Dispatch(request);
        } catch (const std::exception& e) {
            return {500,
                    R"({"error":"simulator failure"})",
                    "application/json",
                    {{std::string("simulator failure: ") + e.what(), true}}};
        }
    };
    // Recorded before the answer goes out: once a client has its answer, the journal has it.
    auto record = [&](int status, std::string answer_body, Flags flags) {
        exchange.status = status;
        exchange.answer_body = std::move(answer_body);
        exchange.flags.insert(exchange.flags.end(), flags.begin(), flags.end());
        exchange.duration = std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::steady_clock::now() - arrived);
        // Each exchange is recorded once; the journal takes it without copying its bodies.
        log_.Record(std::move(exchange));
    };

    if (plan.fault.delay.count() > 0 && !connection.Pause(plan.fault.delay)) {
        return;
    }
    if (plan.fault.mode != FaultMode::None && plan.fault.mode != FaultMode::Refuse) {
        exchange.fault = FaultName(plan.fault.mode);
        FaultStage stage{connection, *plan.release, normal, record};
        PlayFault(plan.fault, stage);
        return;
    }
    const ServiceAnswer answer = normal();
    record(answer.status, answer.body, answer.flags);
    SendAnswer(connection, answer);
}

}  // namespace fdrsim
