#include "AdminServer.h"

#include <httplib.h>

#include <algorithm>
#include <chrono>
#include <map>
#include <optional>
#include <type_traits>

#include "JsonText.h"
#include "WholeNumber.h"

namespace fdrsim::admin {

// The console page, console.html compiled in (Texts.cpp.in).
const std::string& ConsolePageHtml();

namespace {

// The query parameters of a request, decoded, in the order of their names.
using QueryParams = std::multimap<std::string, std::string>;

struct JournalQuery {
    ExchangeFilter filter;
    std::string text;                         // substring of the target or either body; "" = any
    size_t limit = 0;                         // the newest `limit` matches; 0 = every match
    bool bodies = false;                      // list: each exchange whole, not its summary
    std::chrono::milliseconds timeout{5000};  // wait only
};

constexpr std::chrono::milliseconds kLongestWait{60000};
constexpr uint64_t kLongestList = 10000;

bool Fail(std::string* error, const std::string& reason) {
    if (error != nullptr) {
        *error = reason;
    }
    return false;
}

// Calls visit(key, field, low, high) for each field that the fault's mode uses, numbers with
// their range. The writer and the reader of a fault share it, so they always take the same keys.
template <typename AnyFault, typename Visit>
void VisitFields(AnyFault& fault, Visit&& visit) {
    visit("delay_ms", fault.delay, 0, kLongestWait.count());
    visit("remaining", fault.remaining, -1, 1000000);
    switch (fault.mode) {
        case FaultMode::Status:
            visit("status", fault.status, 100, 599);
            visit("body", fault.body, 0, 0);
            break;
        case FaultMode::CloseEarly:
        case FaultMode::ResetEarly:
            visit("body", fault.body, 0, 0);
            visit("sent_bytes", fault.sent_bytes, 0, 1 << 20);
            break;
        case FaultMode::Huge:
            visit("head", fault.head, 0, 0);
            visit("tail", fault.tail, 0, 0);
            visit("filler", fault.filler, 0, 0);
            visit("huge_bytes", fault.huge_bytes, 0, int64_t{1} << 32);
            break;
        case FaultMode::DeepNesting:
            visit("depth", fault.depth, 1, 10000000);
            break;
        case FaultMode::Drip:
            visit("drip_interval_ms", fault.drip_interval, 1, kLongestWait.count());
            break;
        default:
            break;
    }
}

bool ReadField(std::string& field, const std::string& key, const Json::Value& value, int64_t,
               int64_t, std::string* error) {
    if (!value.isString()) {
        return Fail(error, "\"" + key + "\" must be a string, not " + JsonKindName(value));
    }
    field = value.asString();
    return true;
}

bool ReadField(char& field, const std::string& key, const Json::Value& value, int64_t, int64_t,
               std::string* error) {
    std::string text;
    if (!ReadField(text, key, value, 0, 0, error)) {
        return false;
    }
    field = text.empty() ? ' ' : text[0];
    return text.size() == 1 || Fail(error, "\"" + key + "\" must be one character");
}

// A JSON integer within [low, high]; a count of requests is never 0.
template <typename Number>
bool ReadField(Number& field, const std::string& key, const Json::Value& value, int64_t low,
               int64_t high, std::string* error) {
    if (!value.isIntegral() || (value.isUInt64() && !value.isInt64()) || value.asInt64() < low ||
        value.asInt64() > high) {
        return Fail(error, "\"" + key + "\" must be a whole number from " + std::to_string(low) +
                               " to " + std::to_string(high));
    }
    if (key == "remaining" && value.asInt64() == 0) {
        return Fail(error, "\"remaining\" must be -1 (until cleared) or a count above 0");
    }
    field = Number(value.asInt64());
    return true;
}

std::optional<Service> ReadService(const std::string& text, std::string* error) {
    if (const ServiceInfo* info = FindService(text)) {
        return info->id;
    }
    Fail(error, "no service named or on port \"" + text + "\"");
    return std::nullopt;
}

// service (key or fixed port), method, path, since and then, for a list, text, limit and bodies,
// for a wait, timeout_ms. Unknown parameters are refused too: a misspelt filter would silently
// match all.
std::optional<JournalQuery> ReadJournalQuery(const QueryParams& params, bool for_wait,
                                             std::string* error) {
    JournalQuery query;
    // Only the first value of a repeated parameter counts.
    for (auto it = params.begin(); it != params.end(); it = params.upper_bound(it->first)) {
        const auto& [key, value] = *it;
        uint64_t number = 0;
        bool ok = false;
        std::string problem = "unknown parameter \"" + key + "\"";
        if (key == "service") {
            query.filter.service = ReadService(value, &problem);
            ok = query.filter.service.has_value();
        } else if (key == "method") {
            ok = !value.empty() &&
                 value.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") == std::string::npos;
            problem = "\"method\" must be an upper-case HTTP method, e.g. PUT";
            query.filter.method = value;
        } else if (key == "path") {
            ok = !value.empty() && value[0] == '/' && value.find('?') == std::string::npos;
            problem = "\"path\" must start with / and hold no query, e.g. /fdr/Autonomies";
            query.filter.path = value;
        } else if (key == "since") {
            ok = ReadWholeNumber(value, 18, 0, UINT64_MAX, query.filter.after_id);
            problem = "\"since\" must be an exchange id (a whole number)";
        } else if (key == "text" && !for_wait) {
            ok = true;
            query.text = value;
        } else if (key == "limit" && !for_wait) {
            ok = ReadWholeNumber(value, 18, 1, kLongestList, number);
            problem = "\"limit\" must be a whole number from 1 to 10000";
            query.limit = number;
        } else if (key == "bodies" && !for_wait) {
            ok = value == "0" || value == "1";
            problem = "\"bodies\" must be 0 or 1";
            query.bodies = value == "1";
        } else if (key == "timeout_ms" && for_wait) {
            ok = ReadWholeNumber(value, 18, 0, kLongestWait.count(), number);
            problem = "\"timeout_ms\" must be a whole number from 0 to 60000";
            query.timeout = std::chrono::milliseconds(number);
        }
        if (!ok) {
            Fail(error, problem);
            return std::nullopt;
        }
    }
    return query;
}

// {"mode":"status","delay_ms":200,...}: "mode" is required; keys that do not belong to it are
// refused.
std::optional<Fault> ReadFaultRequest(const std::string& body, std::string* error) {
    std::string reason;
    std::string name;
    const auto root = ParseJson(body, &reason);
    std::optional<FaultMode> mode;
    if (!root || !root->isObject()) {
        Fail(error, root ? "the fault must be a JSON object" : "the body is not JSON: " + reason);
    } else if (!root->isMember("mode")) {
        Fail(error, "\"mode\" is missing");
    } else if (ReadField(name, "mode", (*root)["mode"], 0, 0, error) &&
               !(mode = FaultModeNamed(name))) {
        Fail(error, "unknown mode \"" + name + "\"");
    }
    if (!mode) {
        return std::nullopt;
    }
    Fault fault;
    fault.mode = *mode;
    for (const std::string& key : root->getMemberNames()) {
        bool known = key == "mode";
        bool read = true;
        VisitFields(fault, [&](const char* name, auto& field, int64_t low, int64_t high) {
            if (key == name) {
                known = true;
                read = ReadField(field, key, (*root)[key], low, high, error);
            }
        });
        if (!known) {
            Fail(error, "unknown key \"" + key + "\" for mode \"" + name + "\"");
        }
        if (!known || !read) {
            return std::nullopt;
        }
    }
    return fault;
}

Json::Value FaultJson(const Fault& fault) {
    Json::Value out(Json::objectValue);
    out["mode"] = FaultName(fault.mode);
    VisitFields(fault, [&out](const char* key, const auto& field, int64_t, int64_t) {
        using Field = std::decay_t<decltype(field)>;
        if constexpr (std::is_same_v<Field, std::chrono::milliseconds>) {
            out[key] = static_cast<Json::Int64>(field.count());
        } else if constexpr (std::is_same_v<Field, char>) {
            out[key] = std::string(1, field);
        } else if constexpr (std::is_same_v<Field, size_t>) {
            out[key] = static_cast<Json::UInt64>(field);
        } else {
            out[key] = field;
        }
    });
    return out;
}

// The summary of an exchange; `whole` adds the headers and both bodies.
Json::Value ExchangeJson(const Exchange& exchange, bool whole) {
    using std::chrono::milliseconds;
    const auto since_epoch = exchange.time.time_since_epoch();
    Json::Value out = JsonObject({
        {"id", static_cast<Json::UInt64>(exchange.id)},
        {"time_ms",
         static_cast<Json::Int64>(std::chrono::duration_cast<milliseconds>(since_epoch).count())},
        {"duration_us", static_cast<Json::Int64>(exchange.duration.count())},
        {"service", InfoOf(exchange.service).key},
        {"port", exchange.port},
        {"method", exchange.method},
        {"target", exchange.target},
        {"status", exchange.status == 0 ? Json::Value() : Json::Value(exchange.status)},
        {"fault", exchange.fault},
        {"ok", exchange.ok()},
        {"flags", JsonArray(exchange.flags,
                            [](const Flag& flag) {
                                return JsonObject({{"text", flag.text}, {"problem", flag.problem}});
                            })},
        {"request_bytes", static_cast<Json::UInt64>(exchange.request_body.size())},
        {"answer_bytes", static_cast<Json::UInt64>(exchange.answer_body.size())},
    });
    if (whole) {
        out["request_headers"] = JsonArray(exchange.request_headers, [](const auto& header) {
            Json::Value pair(Json::arrayValue);
            pair.append(header.first);
            pair.append(header.second);
            return pair;
        });
        out["request_body"] = exchange.request_body;
        out["answer_body"] = exchange.answer_body;
    }
    return out;
}

using Clock = std::chrono::steady_clock;

void Answer(httplib::Response& res, int status, const Json::Value& body) {
    res.status = status;
    res.set_content(CompactJson(body) + "\n", "application/json");
}

void Refuse(httplib::Response& res, int status, const std::string& reason) {
    Answer(res, status, JsonObject({{"error", reason}}));
}

Json::Value ServiceJson(const Simulator& simulator, const ServiceInfo& info) {
    return JsonObject({{"key", info.key},
                       {"name", info.name},
                       {"fixed_port", info.port},
                       {"port", simulator.PortOf(info.id)},
                       {"fault", FaultJson(simulator.FaultOf(info.id))}});
}

Json::Value ServicesJson(const Simulator& simulator) {
    return JsonObject({{"services", JsonArray(AllServices(), [&simulator](const ServiceInfo& info) {
                            return ServiceJson(simulator, info);
                        })}});
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
    const uint64_t newest = std::max(last_id, found.empty() ? 0 : found.back().id);
    found.erase(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(skip));
    Answer(res, 200,
           JsonObject({{"exchanges", JsonArray(found,
                                               [&query](const Exchange& e) {
                                                   return ExchangeJson(e, query->bodies);
                                               })},
                       {"last_id", static_cast<Json::UInt64>(newest)},
                       {"omitted", static_cast<Json::UInt64>(skip)}}));
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
