#include "AdminServer.h"

#include <httplib.h>

#include <algorithm>
#include <chrono>

#include "AdminJson.h"

namespace fdrsim::admin {

// The console page, console.html compiled in (Texts.cpp.in).
const std::string& ConsolePageHtml();

namespace {

using Clock = std::chrono::steady_clock;

void Answer(httplib::Response& res, int status, const Json::Value& body) {
    res.status = status;
    res.set_content(CompactJson(body) + "\n", "application/json");
}

void Refuse(httplib::Response& res, int status, const std::string& reason) {
    Json::Value body(Json::objectValue);
    body["error"] = reason;
    Answer(res, status, body);
}

Json::Value ServiceJson(const Simulator& simulator, const ServiceInfo& info) {
    Json::Value out(Json::objectValue);
    out["key"] = info.key;
    out["name"] = info.name;
    out["fixed_port"] = info.port;
    out["port"] = simulator.PortOf(info.id);
    out["fault"] = FaultJson(simulator.FaultOf(info.id));
    return out;
}

Json::Value ServicesJson(const Simulator& simulator) {
    Json::Value body(Json::objectValue);
    body["services"] = Json::Value(Json::arrayValue);
    for (const auto& info : AllServices()) {
        body["services"].append(ServiceJson(simulator, info));
    }
    return body;
}

bool MentionsText(const Exchange& exchange, const std::string& text) {
    return text.empty() || exchange.target.find(text) != std::string::npos ||
           exchange.request_body.find(text) != std::string::npos ||
           exchange.answer_body.find(text) != std::string::npos;
}

void ListExchanges(Simulator& simulator, const httplib::Request& req, httplib::Response& res) {
    std::string error;
    const auto query = ReadJournalQuery(req.params, false, &error);
    if (!query) {
        return Refuse(res, 400, error);
    }
    // Read before listing, so that an exchange recorded meanwhile is never skipped by the next
    // page asked "since" the answered id.
    const uint64_t last_id = simulator.Exchanges().LastId();
    std::vector<Exchange> found = simulator.Exchanges().List(query->filter);
    found.erase(std::remove_if(found.begin(), found.end(),
                               [&](const Exchange& e) { return !MentionsText(e, query->text); }),
                found.end());
    const size_t skip =
        query->limit != 0 && found.size() > query->limit ? found.size() - query->limit : 0;
    Json::Value body(Json::objectValue);
    body["exchanges"] = Json::Value(Json::arrayValue);
    for (size_t i = skip; i < found.size(); ++i) {
        body["exchanges"].append(ExchangeJson(found[i], query->bodies));
    }
    body["last_id"] =
        static_cast<Json::UInt64>(std::max(last_id, found.empty() ? 0 : found.back().id));
    body["omitted"] = static_cast<Json::UInt64>(skip);
    Answer(res, 200, body);
}

void WaitForExchange(Simulator& simulator, const std::atomic<bool>& stopping,
                     const httplib::Request& req, httplib::Response& res) {
    std::string error;
    const auto query = ReadJournalQuery(req.params, true, &error);
    if (!query) {
        return Refuse(res, 400, error);
    }
    // In short slices, so that stopping the simulator never waits for a long poll.
    constexpr std::chrono::milliseconds kSlice{100};
    const auto deadline = Clock::now() + query->timeout;
    while (true) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        const auto found = simulator.Exchanges().WaitFor(
            query->filter, std::max(std::chrono::milliseconds(0), std::min(left, kSlice)));
        if (found) {
            return Answer(res, 200, ExchangeJson(*found, true));
        }
        if (left <= kSlice || stopping) {
            break;
        }
    }
    Refuse(res, 408,
           "no matching exchange within " + std::to_string(query->timeout.count()) + " ms");
}

}  // namespace

AdminServer::AdminServer(Simulator& simulator)
    : simulator_(simulator), server_(std::make_unique<httplib::Server>()) {}

AdminServer::~AdminServer() {
    Stop();
}

void AdminServer::AddRoutes() {
    Simulator& sim = simulator_;
    server_->Get("/", [](const auto&, auto& res) {
        res.set_content(ConsolePageHtml(), "text/html; charset=utf-8");
    });
    server_->Get("/api/health", [&sim](const auto&, auto& res) {
        Json::Value body(Json::objectValue);
        body["status"] = "ok";
        body["journal"]["count"] = static_cast<Json::UInt64>(sim.Exchanges().Count());
        body["journal"]["capacity"] = static_cast<Json::UInt64>(sim.Exchanges().Capacity());
        body["journal"]["last_id"] = static_cast<Json::UInt64>(sim.Exchanges().LastId());
        body["journal"]["dropped"] = static_cast<Json::UInt64>(sim.Exchanges().Dropped());
        Answer(res, 200, body);
    });
    server_->Get("/api/services",
                 [&sim](const auto&, auto& res) { Answer(res, 200, ServicesJson(sim)); });

    server_->Get("/api/exchanges",
                 [&sim](const auto& req, auto& res) { ListExchanges(sim, req, res); });
    server_->Get("/api/exchanges/wait", [&sim, this](const auto& req, auto& res) {
        WaitForExchange(sim, stopping_, req, res);
    });
    server_->Get(R"(/api/exchanges/(\d+))", [&sim](const auto& req, auto& res) {
        const std::string id = req.matches[1];
        const auto found = id.size() <= 19 ? sim.Exchanges().Find(std::stoull(id)) : std::nullopt;
        if (!found) {
            return Refuse(res, 404, "no exchange " + id + " in the journal");
        }
        Answer(res, 200, ExchangeJson(*found, true));
    });
    server_->Delete("/api/exchanges", [&sim](const auto&, auto& res) {
        sim.Exchanges().Clear();
        Answer(res, 200, Json::Value(Json::objectValue));
    });

    server_->Get("/api/faults", [&sim](const auto&, auto& res) {
        Json::Value body(Json::objectValue);
        for (const auto& info : AllServices()) {
            body["faults"][info.key] = FaultJson(sim.FaultOf(info.id));
        }
        Answer(res, 200, body);
    });
    // PUT sets the body's fault, DELETE clears it; either answers the service as it is now.
    const auto fault_route = [&sim](const httplib::Request& req, httplib::Response& res) {
        std::string error;
        const auto service = ReadService(req.matches[1], &error);
        const auto fault = !service              ? std::nullopt
                           : req.method == "PUT" ? ReadFaultRequest(req.body, &error)
                                                 : std::optional<Fault>(Fault{});
        if (!fault) {
            return Refuse(res, 400, error);
        }
        sim.SetFault(*service, *fault);
        Answer(res, 200, ServiceJson(sim, InfoOf(*service)));
    };
    server_->Put(R"(/api/faults/([^/]+))", fault_route);
    server_->Delete(R"(/api/faults/([^/]+))", fault_route);
    server_->Delete("/api/faults", [&sim](const auto&, auto& res) {
        sim.ClearFaults();
        Answer(res, 200, ServicesJson(sim));
    });

    server_->Get("/api/federation", [&sim](const auto&, auto& res) {
        res.set_content(sim.FederationJson(), "application/json");
    });
    server_->Put("/api/federation", [&sim](const auto& req, auto& res) {
        std::string error;
        if (!sim.ReplaceFederation(req.body, &error)) {
            return Refuse(res, 400, error);
        }
        res.set_content(sim.FederationJson(), "application/json");
    });
    server_->Post("/api/federation/reset", [&sim](const auto&, auto& res) {
        sim.ResetFederation();
        res.set_content(sim.FederationJson(), "application/json");
    });
}

bool AdminServer::Start(int port, std::string* error) {
    AddRoutes();
    // Every refusal is JSON, also for a path or method that no route takes and for a request
    // that the HTTP layer refuses before routing (a POST without Content-Length, for one).
    server_->set_error_handler([](const httplib::Request& req, httplib::Response& res) {
        if (res.body.empty()) {
            Refuse(res, res.status,
                   res.status == 404
                       ? "no such call: " + req.method + " " + req.path
                       : "malformed HTTP request (" + std::to_string(res.status) +
                             "); a POST or PUT without a body needs Content-Length: 0");
        }
    });
    // A browser keeps its connections open; stopping waits for them at most this long.
    server_->set_keep_alive_timeout(1);
    if (port == 0) {
        port_ = server_->bind_to_any_port("127.0.0.1");
    } else if (server_->bind_to_port("127.0.0.1", port)) {
        port_ = port;
    }
    if (port_ <= 0) {
        port_ = 0;
        if (error != nullptr) {
            *error = "cannot listen on 127.0.0.1:" + std::to_string(port) +
                     " for the control API: the port is already in use (another fdr-sim?); "
                     "--admin-port chooses another";
        }
        return false;
    }
    thread_ = std::thread([this] { server_->listen_after_bind(); });
    // A stop before the loop runs would be lost, and the join would hang.
    while (!server_->is_running()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

void AdminServer::Stop() {
    stopping_ = true;
    if (thread_.joinable()) {
        server_->stop();
        thread_.join();
    }
}

}  // namespace fdrsim::admin
