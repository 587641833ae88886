#include "Simulator.h"

#include <algorithm>

#include "ServiceRoutes.h"

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

Simulator::Simulator(SimulatorOptions options)
    : options_(std::move(options)),
      log_(options_.journal_capacity),
      store_(options_.federation),
      tokens_(options_.federation.clients, options_.token_ttl, options_.refresh_ttl, options_.now) {
    for (const auto& [service, mode] : options_.faults) {
        faults_[service].fault.mode = mode;
    }
    if (options_.recorder_only) {
        return;
    }
    Routes routes = ReceiverRoutes();
    for (auto& entry : FederationRoutes(store_)) {
        routes.push_back(std::move(entry));
    }
    routes.push_back({{fdr::HttpMethod::Post, fdr::kTokenServicePort, fdr::kTokenPath, 0},
                      [this](const IncomingRequest& request) { return tokens_.Grant(request); }});
    for (auto& [endpoint, route] : routes) {
        const std::string path = endpoint.path;
        routes_[{fdr::ServiceOnPort(endpoint.port)->id, fdr::MethodName(endpoint.method),
                 path.substr(0, path.find('?'))}] = std::move(route);
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
            return script(request);
        }
        if (options_.recorder_only) {
            return {200, "", "application/json", {}};
        }
        try {
            return Dispatch(service, request);
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
    const bool faulty = fault.mode != FaultMode::Refuse && request.unreadable.empty();
    exchange.fault = faulty && fault.mode != FaultMode::None ? FaultName(fault.mode) : "";
    ServiceAnswer answer;
    const char* json = "application/json";
    switch (faulty ? fault.mode : FaultMode::None) {
        case FaultMode::None:
        case FaultMode::Refuse:
            answer = normal();
            break;
        case FaultMode::Status:
            answer = {fault.status, fault.body, json,
                      Noted("fault status " + std::to_string(fault.status))};
            break;
        case FaultMode::InternalError:
            answer = {500, kInternalErrorBody, json, Noted("fault 500")};
            break;
        case FaultMode::NotFound:
            answer = {404, kNotFoundBody, json, Noted("fault 404")};
            break;
        case FaultMode::Garbage:
            answer = {200, kGarbageBody, "text/html", Noted("fault garbage")};
            break;
        case FaultMode::DeepNesting: {
            const std::string object = fault.body.empty() ? normal().body : fault.body;
            answer = {200, NestedJson(object.empty() ? "{}" : object, fault.depth), json,
                      Noted("fault deep-nesting: " + std::to_string(fault.depth) + " levels")};
            break;
        }
        default:
            PlayFault(fault, connection, *release, normal, record);
            return;
    }
    record(answer.status, answer.body, answer.flags);
    SendAnswer(connection, answer);
}

ServiceAnswer Simulator::Dispatch(Service service, const IncomingRequest& request) const {
    auto it = routes_.find({service, request.method, request.path});
    if (it != routes_.end()) {
        return it->second(request);
    }
    std::string allowed;
    for (const auto& [key, route] : routes_) {
        if (std::get<0>(key) == service && std::get<2>(key) == request.path) {
            allowed += (allowed.empty() ? "" : ", ") + std::get<1>(key);
        }
    }
    if (allowed.empty()) {
        return {404,
                R"({"error":"no such path"})",
                "application/json",
                {{"unknown path " + request.path, true}}};
    }
    return {405,
            R"({"error":"method not allowed"})",
            "application/json",
            {{request.method + " is not served on " + request.path + " (expected " + allowed + ")",
              true}}};
}

// How a service misbehaves on the wire when it gives no complete answer: the bytes it sends,
// how it ends the connection, and what the journal keeps of it.
void Simulator::PlayFault(const Fault& fault, HttpConnection& connection, const WakeSignal& release,
                          const std::function<ServiceAnswer()>& normal, const Recorder& record) {
    switch (fault.mode) {
        case FaultMode::Stall: {
            const uint64_t id = record(0, {}, Noted("fault stall: not answered"));
            if (connection.Hold(release)) {
                const ServiceAnswer answer = normal();
                log_.Complete(id, answer.status, answer.body);
                SendAnswer(connection, answer);
            }
            break;
        }
        case FaultMode::CloseEarly:
        case FaultMode::ResetEarly: {
            // A 200 announcing all of the body of which only the first bytes go out.
            const std::string body = fault.body.empty() ? std::string(kCloseEarlyBody) : fault.body;
            const std::string sent = body.substr(0, std::min(fault.sent_bytes, body.size()));
            record(200, sent,
                   Noted("fault " + std::string(FaultName(fault.mode)) + ": sent " +
                         std::to_string(sent.size()) + " of " + std::to_string(body.size()) +
                         " bytes"));
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
            ServiceAnswer answer = normal();
            AddNote(answer.flags, "fault drip");
            record(answer.status, answer.body, answer.flags);
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
            record(200, {}, Noted("fault huge: " + std::to_string(total) + " bytes"));
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
        default:  // InvalidHttp; the complete answers are Serve()'s
            record(0, kInvalidHttpBytes, Noted("fault invalid-http"));
            connection.Send(kInvalidHttpBytes);
            break;
    }
}

}  // namespace fdrsim
