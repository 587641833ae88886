#include "Simulator.h"

#include <algorithm>

#include "Receivers.h"

namespace fdrsim {

namespace {

bool SendAnswer(HttpConnection& connection, const ServiceAnswer& answer) {
    return connection.Send(AnswerHead(answer.status, answer.content_type, answer.body.size()) +
                           answer.body);
}

Flags Noted(std::string text) {
    return {{std::move(text), false}};
}

}  // namespace

// One request on its way through Serve(): its connection, its journal record and its answer
// as the service would give it without a fault.
struct Simulator::Exchanging {
    HttpConnection& connection;
    const WakeSignal& release;
    std::function<ServiceAnswer()> normal;
    std::function<uint64_t(int status, std::string answer_body, Flags flags)> record;
};

Simulator::Simulator(SimulatorOptions options)
    : options_(std::move(options)),
      log_(options_.journal_capacity),
      store_(options_.federation),
      tokens_(options_.federation.clients, options_.token_ttl, options_.refresh_ttl, options_.now),
      federation_routes_(store_) {
    for (const auto& [service, mode] : options_.faults) {
        faults_[service].fault.mode = mode;
    }
    for (const auto& info : AllServices()) {
        RouteTable& routes = routes_[info.id];
        if (options_.recorder_only) {
            continue;
        } else if (info.id == Service::Token) {
            tokens_.AddRoutes(routes);
        } else if (info.id == Service::FederationWrites) {
            federation_routes_.AddWriteRoutes(routes);
        } else if (info.id == Service::FederationReads) {
            federation_routes_.AddReadRoutes(routes);
        } else {
            AddReceiverRoutes(info.id, routes);
        }
    }
}

Simulator::~Simulator() {
    Stop();
}

bool Simulator::Start(std::string* error) {
    for (const auto& info : AllServices()) {
        int port = options_.any_ports ? 0 : info.port;
        if (auto it = options_.ports.find(info.id); it != options_.ports.end()) {
            port = it->second;
        }
        const Service service = info.id;
        auto listener = std::make_unique<ServiceListener>(
            service, port,
            [this, service](HttpConnection& connection, IncomingRequest& request, int port) {
                Serve(service, port, connection, request);
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
    return std::all_of(listeners_.begin(), listeners_.end(),
                       [&](const auto& listener) { return listener->WaitUntilIdle(deadline); });
}

int Simulator::PortOf(Service service) const {
    std::lock_guard<std::mutex> lock(control_mutex_);
    const ServiceListener* listener = ListenerOf(service);
    return listener == nullptr ? 0 : listener->port();
}

void Simulator::SetFault(Service service, Fault fault) {
    std::lock_guard<std::mutex> lock(control_mutex_);
    const bool refuse = fault.mode == FaultMode::Refuse;
    {
        std::lock_guard<std::mutex> faults_lock(faults_mutex_);
        FaultState& state = faults_[service];
        // Any change but another stall answers the requests stalled so far.
        if (fault.mode != FaultMode::Stall) {
            state.release->Trigger();
            state.release = std::make_shared<WakeSignal>();
        }
        state.fault = std::move(fault);
    }
    if (ServiceListener* listener = ListenerOf(service)) {
        if (refuse) {
            listener->Refuse();
        } else {
            listener->Listen(nullptr);
        }
    }
}

Fault Simulator::FaultOf(Service service) const {
    std::lock_guard<std::mutex> lock(faults_mutex_);
    auto it = faults_.find(service);
    return it == faults_.end() ? Fault{} : it->second.fault;
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
    std::lock_guard<std::mutex> lock(faults_mutex_);
    scripts_[{service, method, path}] = std::move(responder);
}

void Simulator::ClearScripts() {
    std::lock_guard<std::mutex> lock(faults_mutex_);
    scripts_.clear();
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
void Simulator::Serve(Service service, int port, HttpConnection& connection,
                      IncomingRequest& request) {
    const auto arrived = std::chrono::steady_clock::now();
    Exchange exchange;
    exchange.time = std::chrono::system_clock::now();
    exchange.service = service;
    exchange.port = port;
    exchange.method = request.method;
    exchange.target = request.target;
    exchange.request_headers = request.headers;
    exchange.request_body = request.body;

    // Takes one use of the fault (one for N requests wears off) and finds the script.
    Fault fault;
    std::shared_ptr<WakeSignal> release;
    Responder script;
    {
        std::lock_guard<std::mutex> lock(faults_mutex_);
        FaultState& state = faults_[service];
        fault = state.fault;
        release = state.release;
        if (state.fault.remaining > 0 && --state.fault.remaining == 0) {
            // Worn off; a request it stalls stays stalled until the fault is cleared or set anew.
            state.fault = Fault{};
        }
        if (auto it = scripts_.find({service, request.method, request.path});
            it != scripts_.end()) {
            script = it->second;
        }
    }

    auto normal = [&]() -> ServiceAnswer {
        if (!request.unreadable.empty()) {
            return {400,
                    R"({"error":"bad request"})",
                    "application/json",
                    {{request.unreadable, true}}};
        }
        if (script) {
            const ScriptedAnswer scripted = script(request);
            connection.Pause(scripted.delay);
            return {scripted.status, scripted.body, scripted.content_type, {}};
        }
        if (options_.recorder_only) {
            return {200, "", "application/json", {}};
        }
        try {
            return routes_.at(service).Dispatch(request);
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
        return log_.Record(std::move(exchange));
    };

    if (fault.delay.count() > 0 && !connection.Pause(fault.delay)) {
        return;
    }
    if (fault.mode != FaultMode::None && fault.mode != FaultMode::Refuse &&
        request.unreadable.empty()) {
        exchange.fault = FaultName(fault.mode);
        Exchanging exchanging{connection, *release, normal, record};
        PlayFault(fault, exchanging);
        return;
    }
    const ServiceAnswer answer = normal();
    record(answer.status, answer.body, answer.flags);
    SendAnswer(connection, answer);
}

// How a service misbehaves on the wire, one fault mode at a time: the bytes it sends, how it
// ends the connection, and what the journal keeps of it.
void Simulator::PlayFault(const Fault& fault, Exchanging& exchanging) {
    HttpConnection& connection = exchanging.connection;
    auto complete = [&](int status, const std::string& body, const char* type, std::string note) {
        exchanging.record(status, body, Noted(std::move(note)));
        SendAnswer(connection, {status, body, type, {}});
    };
    switch (fault.mode) {
        case FaultMode::None:
        case FaultMode::Refuse:
            break;
        case FaultMode::Stall: {
            const uint64_t id = exchanging.record(0, {}, Noted("fault stall: not answered"));
            if (connection.Hold(exchanging.release)) {
                const ServiceAnswer answer = exchanging.normal();
                log_.Complete(id, answer.status, answer.body);
                SendAnswer(connection, answer);
            }
            break;
        }
        case FaultMode::Status:
            complete(fault.status, fault.body, "application/json",
                     "fault status " + std::to_string(fault.status));
            break;
        case FaultMode::InternalError:
            complete(500, kInternalErrorBody, "application/json", "fault 500");
            break;
        case FaultMode::NotFound:
            complete(404, kNotFoundBody, "application/json", "fault 404");
            break;
        case FaultMode::Garbage:
            complete(200, kGarbageBody, "text/html", "fault garbage");
            break;
        case FaultMode::DeepNesting: {
            const std::string object = fault.body.empty() ? exchanging.normal().body : fault.body;
            complete(200, NestedJson(object.empty() ? "{}" : object, fault.depth),
                     "application/json",
                     "fault deep-nesting: " + std::to_string(fault.depth) + " levels");
            break;
        }
        case FaultMode::CloseEarly:
        case FaultMode::ResetEarly: {
            // A 200 announcing all of the body of which only the first bytes go out.
            const std::string body = fault.body.empty() ? std::string(kCloseEarlyBody) : fault.body;
            const std::string sent = body.substr(0, std::min(fault.sent_bytes, body.size()));
            exchanging.record(200, sent,
                              Noted("fault " + std::string(FaultName(fault.mode)) + ": sent " +
                                    std::to_string(sent.size()) + " of " +
                                    std::to_string(body.size()) + " bytes"));
            // A reset leaves no TIME_WAIT behind, so it can be repeated thousands of times.
            if (fault.mode == FaultMode::ResetEarly) {
                connection.ResetAfterAnswer();
            } else {
                connection.CloseAfterAnswer();
            }
            connection.Send(AnswerHead(200, "application/json", body.size()) + sent);
            break;
        }
        case FaultMode::Drip: {
            ServiceAnswer answer = exchanging.normal();
            Flags flags = answer.flags;
            AddNote(flags, "fault drip");
            exchanging.record(answer.status, answer.body, flags);
            const std::string bytes =
                AnswerHead(answer.status, answer.content_type, answer.body.size()) + answer.body;
            for (size_t i = 0; i < bytes.size(); ++i) {
                if ((i > 0 && !connection.Pause(fault.drip_interval)) ||
                    !connection.Send(&bytes[i], 1)) {
                    return;
                }
            }
            break;
        }
        case FaultMode::Huge: {
            // head, filler, tail: streamed in slices, never held whole.
            const size_t ends = fault.head.size() + fault.tail.size();
            const size_t total = std::max(fault.huge_bytes, ends);
            exchanging.record(200, {}, Noted("fault huge: " + std::to_string(total) + " bytes"));
            if (!connection.Send(AnswerHead(200, "application/json", total)) ||
                !connection.Send(fault.head)) {
                return;
            }
            const std::string slice(1 << 16, fault.filler);
            for (size_t left = total - ends, n; left > 0; left -= n) {
                n = std::min(left, slice.size());
                if (!connection.Send(slice.data(), n)) {
                    return;
                }
            }
            connection.Send(fault.tail);
            break;
        }
        case FaultMode::InvalidHttp:
            exchanging.record(0, kInvalidHttpBytes, Noted("fault invalid-http"));
            connection.Send(kInvalidHttpBytes);
            break;
    }
}

}  // namespace fdrsim
