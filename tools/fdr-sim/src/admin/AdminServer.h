// The control API (routes under /api, see the admin documentation) and the live console of
// fdr-sim, served by cpp-httplib on one port of 127.0.0.1 beside the simulated services, on a
// thread of its own.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>

#include "Simulator.h"

namespace httplib {
class Server;
}

namespace fdrsim::admin {

class AdminServer {
  public:
    explicit AdminServer(Simulator& simulator);
    ~AdminServer();
    AdminServer(const AdminServer&) = delete;
    AdminServer& operator=(const AdminServer&) = delete;

    // Listens on 127.0.0.1:`port` (0: any free port). On failure returns false with a message
    // naming the port.
    bool Start(int port, std::string* error);
    // Ends pending waits and stops serving; also done by the destructor.
    void Stop();

    int port() const { return port_; }

  private:
    void AddRoutes();

    Simulator& simulator_;
    std::unique_ptr<httplib::Server> server_;
    std::atomic<bool> stopping_{false};
    std::thread thread_;
    int port_ = 0;
};

}  // namespace fdrsim::admin
