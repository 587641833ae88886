// A listener on an ephemeral port of 127.0.0.1 whose accept queue is full: the kernel drops every
// new connection attempt, so a connect() to it neither completes nor fails until the client's
// own limits end it, as with a service that has stopped accepting.
#pragma once

#include <vector>

#include "rest/ConnectMode.h"

namespace fdrtest {

class FullListener {
  public:
    FullListener();
    ~FullListener();
    FullListener(const FullListener&) = delete;
    FullListener& operator=(const FullListener&) = delete;

    // False when the queue could not be filled (the test cannot run as meant).
    bool full() const { return full_; }
    int port() const { return port_; }

  private:
    int listener_ = -1;
    int port_ = 0;
    bool full_ = false;
    std::vector<int> fillers_;
};

// Pins, on the constructing thread and while in scope, who connects a CRestConnectInfo's socket
// for the connections set up and the requests made there; then returns to the mode chosen from
// the libcurl version.
class ScopedConnectMode {
  public:
    explicit ScopedConnectMode(fdr::rest::ConnectMode mode);
    ~ScopedConnectMode();
    ScopedConnectMode(const ScopedConnectMode&) = delete;
    ScopedConnectMode& operator=(const ScopedConnectMode&) = delete;
};

}  // namespace fdrtest
