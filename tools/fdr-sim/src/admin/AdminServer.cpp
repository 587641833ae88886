#include "AdminServer.h"

#include <httplib.h>

#include <chrono>

#include "AdminApi.h"
#include "ConsolePage.h"
#include "JsonText.h"

namespace fdrsim::admin {

AdminServer::AdminServer(Simulator& simulator)
    : simulator_(simulator), server_(std::make_unique<httplib::Server>()) {}

AdminServer::~AdminServer() {
    Stop();
}

bool AdminServer::Start(int port, std::string* error) {
    server_->Get("/", [](const httplib::Request&, httplib::Response& res) {
        res.set_content(ConsolePageHtml(), "text/html; charset=utf-8");
    });
    AddApiRoutes(*server_, simulator_, stopping_);
    // Every refusal is JSON, also for a path or method that no route takes and for a request
    // that the HTTP layer refuses before routing (a POST without Content-Length, for one).
    server_->set_error_handler([](const httplib::Request& req, httplib::Response& res) {
        if (res.body.empty()) {
            Json::Value body(Json::objectValue);
            body["error"] = res.status == 404
                                ? "no such call: " + req.method + " " + req.path
                                : "malformed HTTP request (" + std::to_string(res.status) +
                                      "); a POST or PUT without a body needs Content-Length: 0";
            res.set_content(CompactJson(body) + "\n", "application/json");
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
