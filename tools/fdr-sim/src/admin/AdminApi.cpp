#include "AdminApi.h"

#include <httplib.h>

#include <algorithm>
#include <thread>

#include "AdminRequests.h"
#include "JsonText.h"

namespace fdrsim::admin {

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

QueryParams FirstValues(const httplib::Request& req) {
    QueryParams params;
    for (const auto& [key, value] : req.params) {
        params.emplace(key, value);  // keeps the first of a repeated key
    }
    return params;
}

Json::Value FaultJson(const Fault& fault) {
    Json::Value out(Json::objectValue);
    out["mode"] = FaultName(fault.mode);
    out["delay_ms"] = static_cast<Json::Int64>(fault.delay.count());
    out["remaining"] = fault.remaining;
    switch (fault.mode) {
        case FaultMode::Status:
            out["status"] = fault.status;
            out["body"] = fault.body;
            break;
        case FaultMode::CloseEarly:
        case FaultMode::ResetEarly:
            out["body"] = fault.body;
            out["sent_bytes"] = static_cast<Json::UInt64>(fault.sent_bytes);
            break;
        case FaultMode::Huge:
            out["head"] = fault.head;
            out["tail"] = fault.tail;
            out["filler"] = std::string(1, fault.filler);
            out["huge_bytes"] = static_cast<Json::UInt64>(fault.huge_bytes);
            break;
        case FaultMode::DeepNesting:
            out["depth"] = fault.depth;
            break;
        case FaultMode::Drip:
            out["drip_interval_ms"] = static_cast<Json::Int64>(fault.drip_interval.count());
            break;
        default:
            break;
    }
    return out;
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

// The summary of an exchange; `whole` adds the headers and both bodies.
Json::Value ExchangeJson(const Exchange& exchange, bool whole) {
    Json::Value out(Json::objectValue);
    out["id"] = static_cast<Json::UInt64>(exchange.id);
    out["time_ms"] = static_cast<Json::Int64>(
        std::chrono::duration_cast<std::chrono::milliseconds>(exchange.time.time_since_epoch())
            .count());
    out["duration_us"] = static_cast<Json::Int64>(exchange.duration.count());
    out["service"] = InfoOf(exchange.service).key;
    out["port"] = exchange.port;
    out["method"] = exchange.method;
    out["target"] = exchange.target;
    out["status"] = exchange.status == 0 ? Json::Value() : Json::Value(exchange.status);
    out["fault"] = exchange.fault;
    out["ok"] = exchange.ok();
    Json::Value flags(Json::arrayValue);
    for (const auto& flag : exchange.flags) {
        Json::Value entry(Json::objectValue);
        entry["text"] = flag.text;
        entry["problem"] = flag.problem;
        flags.append(entry);
    }
    out["flags"] = flags;
    out["request_bytes"] = static_cast<Json::UInt64>(exchange.request_body.size());
    out["answer_bytes"] = static_cast<Json::UInt64>(exchange.answer_body.size());
    if (whole) {
        Json::Value headers(Json::arrayValue);
        for (const auto& [name, value] : exchange.request_headers) {
            Json::Value pair(Json::arrayValue);
            pair.append(name);
            pair.append(value);
            headers.append(pair);
        }
        out["request_headers"] = headers;
        out["request_body"] = exchange.request_body;
        out["answer_body"] = exchange.answer_body;
    }
    return out;
}

bool MentionsText(const Exchange& exchange, const std::string& text) {
    return text.empty() || exchange.target.find(text) != std::string::npos ||
           exchange.request_body.find(text) != std::string::npos ||
           exchange.answer_body.find(text) != std::string::npos;
}

void ListExchanges(Simulator& simulator, const httplib::Request& req, httplib::Response& res) {
    std::string error;
    const auto query = ReadJournalQuery(FirstValues(req), false, &error);
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
    Json::Value list(Json::arrayValue);
    for (size_t i = skip; i < found.size(); ++i) {
        list.append(ExchangeJson(found[i], query->bodies));
    }
    Json::Value body(Json::objectValue);
    body["exchanges"] = list;
    body["last_id"] =
        static_cast<Json::UInt64>(std::max(last_id, found.empty() ? 0 : found.back().id));
    body["omitted"] = static_cast<Json::UInt64>(skip);
    Answer(res, 200, body);
}

void WaitForExchange(Simulator& simulator, const std::atomic<bool>& stopping,
                     const httplib::Request& req, httplib::Response& res) {
    std::string error;
    const auto query = ReadJournalQuery(FirstValues(req), true, &error);
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

void ShowExchange(Simulator& simulator, const httplib::Request& req, httplib::Response& res) {
    const std::string id = req.matches[1];
    std::optional<Exchange> found;
    if (id.size() <= 19) {
        found = simulator.Exchanges().Find(std::stoull(id));
    }
    if (!found) {
        return Refuse(res, 404, "no exchange " + id + " in the journal");
    }
    Answer(res, 200, ExchangeJson(*found, true));
}

void Health(Simulator& simulator, httplib::Response& res) {
    Json::Value journal(Json::objectValue);
    journal["count"] = static_cast<Json::UInt64>(simulator.Exchanges().Count());
    journal["capacity"] = static_cast<Json::UInt64>(simulator.Exchanges().Capacity());
    journal["last_id"] = static_cast<Json::UInt64>(simulator.Exchanges().LastId());
    journal["dropped"] = static_cast<Json::UInt64>(simulator.Exchanges().Dropped());
    Json::Value body(Json::objectValue);
    body["status"] = "ok";
    body["journal"] = journal;
    Answer(res, 200, body);
}

void Services(Simulator& simulator, httplib::Response& res) {
    Json::Value list(Json::arrayValue);
    for (const auto& info : AllServices()) {
        list.append(ServiceJson(simulator, info));
    }
    Json::Value body(Json::objectValue);
    body["services"] = list;
    Answer(res, 200, body);
}

void SetFault(Simulator& simulator, const httplib::Request& req, httplib::Response& res) {
    std::string error;
    const auto service = ReadService(req.matches[1], &error);
    if (!service) {
        return Refuse(res, 400, error);
    }
    const auto fault = ReadFaultRequest(req.body, &error);
    if (!fault) {
        return Refuse(res, 400, error);
    }
    simulator.SetFault(*service, *fault);
    Answer(res, 200, ServiceJson(simulator, InfoOf(*service)));
}

void ClearFault(Simulator& simulator, const httplib::Request& req, httplib::Response& res) {
    std::string error;
    const auto service = ReadService(req.matches[1], &error);
    if (!service) {
        return Refuse(res, 400, error);
    }
    simulator.ClearFault(*service);
    Answer(res, 200, ServiceJson(simulator, InfoOf(*service)));
}

void ReplaceFederation(Simulator& simulator, const httplib::Request& req, httplib::Response& res) {
    std::string error;
    if (!simulator.ReplaceFederation(req.body, &error)) {
        return Refuse(res, 400, error);
    }
    res.status = 200;
    res.set_content(simulator.FederationJson(), "application/json");
}

}  // namespace

void AddApiRoutes(httplib::Server& server, Simulator& simulator,
                  const std::atomic<bool>& stopping) {
    Simulator& sim = simulator;
    server.Get("/api/health", [&sim](const auto&, auto& res) { Health(sim, res); });
    server.Get("/api/services", [&sim](const auto&, auto& res) { Services(sim, res); });

    server.Get("/api/exchanges",
               [&sim](const auto& req, auto& res) { ListExchanges(sim, req, res); });
    server.Get("/api/exchanges/wait", [&sim, &stopping](const auto& req, auto& res) {
        WaitForExchange(sim, stopping, req, res);
    });
    server.Get(R"(/api/exchanges/(\d+))",
               [&sim](const auto& req, auto& res) { ShowExchange(sim, req, res); });
    server.Delete("/api/exchanges", [&sim](const auto&, auto& res) {
        sim.Exchanges().Clear();
        Answer(res, 200, Json::Value(Json::objectValue));
    });

    server.Get("/api/faults", [&sim](const auto&, auto& res) {
        Json::Value faults(Json::objectValue);
        for (const auto& info : AllServices()) {
            faults[info.key] = FaultJson(sim.FaultOf(info.id));
        }
        Json::Value body(Json::objectValue);
        body["faults"] = faults;
        Answer(res, 200, body);
    });
    server.Put(R"(/api/faults/([^/]+))",
               [&sim](const auto& req, auto& res) { SetFault(sim, req, res); });
    server.Delete(R"(/api/faults/([^/]+))",
                  [&sim](const auto& req, auto& res) { ClearFault(sim, req, res); });
    server.Delete("/api/faults", [&sim](const auto&, auto& res) {
        sim.ClearFaults();
        Services(sim, res);
    });

    server.Get("/api/federation", [&sim](const auto&, auto& res) {
        res.set_content(sim.FederationJson(), "application/json");
    });
    server.Put("/api/federation",
               [&sim](const auto& req, auto& res) { ReplaceFederation(sim, req, res); });
    server.Post("/api/federation/reset", [&sim](const auto&, auto& res) {
        sim.ResetFederation();
        res.set_content(sim.FederationJson(), "application/json");
    });
}

}  // namespace fdrsim::admin
