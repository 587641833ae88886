// Test helpers: a simulator on free ports, and single requests to it made the way the library
// makes them (the reference local client).
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>

#include "Simulator.h"

namespace fdrsim::test {

// Every service on a free port.
SimulatorOptions FreePortOptions();
// A started simulator; a start failure is a fatal test failure.
std::unique_ptr<Simulator> StartSimulator(SimulatorOptions options);

struct Reply {
    int code = -1;    // the local client's result code
    int detail = -1;  // its *__kfen_errno()
    std::string body;
    std::chrono::milliseconds elapsed{0};
};

Reply Get(int port, const std::string& path, const std::map<std::string, std::string>& query = {},
          long timeout_seconds = 5);
// A listening socket on a free port of 127.0.0.1, closed on destruction: a port that is taken.
class TakenPort {
  public:
    TakenPort();
    ~TakenPort();
    int port() const { return port_; }

  private:
    int socket_ = -1;
    int port_ = 0;
};

}  // namespace fdrsim::test
