// One simulated service on one port: an HTTP listener that records each exchange and answers
// through the service's routes, or misbehaves as its fault mode says.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "ExchangeLog.h"
#include "Faults.h"
#include "RouteTable.h"
#include "ServiceTable.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace fdrsim {

// Set once when the simulator stops; releases the requests that a stalled service holds.
class ShutdownSignal {
  public:
    void Trigger();
    void Wait();

  private:
    std::mutex mutex_;
    std::condition_variable triggered_;
    bool stopping_ = false;
};

class ServiceListener {
  public:
    // `port` 0 means any free port.
    ServiceListener(Service service, int port, FaultMode fault, RouteTable routes, ExchangeLog& log,
                    ShutdownSignal& shutdown);
    ~ServiceListener();
    ServiceListener(const ServiceListener&) = delete;
    ServiceListener& operator=(const ServiceListener&) = delete;

    // Listens on 127.0.0.1 and starts answering. A refusing service only settles its port
    // number. When the port cannot be bound, returns false and sets `error` to a message
    // naming the port and the service.
    bool Start(std::string* error);
    void Stop();

    Service service() const { return service_; }
    int port() const { return port_; }
    FaultMode fault() const { return fault_; }

  private:
    void Handle(const httplib::Request& req, httplib::Response& res);

    Service service_;
    int port_;
    FaultMode fault_;
    RouteTable routes_;
    ExchangeLog& log_;
    ShutdownSignal& shutdown_;
    std::unique_ptr<httplib::Server> server_;
    std::thread thread_;
};

// The loopback address every service listens on.
inline constexpr char kListenHost[] = "127.0.0.1";

}  // namespace fdrsim
