// A listener on an ephemeral port of 127.0.0.1 whose accept queue is full: the kernel drops every
// new connection attempt, so a connect() to it neither completes nor fails until the client's
// own limits end it, as with a service that has stopped accepting.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <vector>

#include "rest/ConnectMode.h"

namespace fdrtest {

class FullListener {
  public:
    FullListener() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        auto* any = reinterpret_cast<sockaddr*>(&address);
        if (listener_ < 0 || bind(listener_, any, length) != 0 ||
            getsockname(listener_, any, &length) != 0 || listen(listener_, 0) != 0) {
            return;
        }
        port_ = ntohs(address.sin_port);
        // Connections never accepted fill the queue; the first one that stays pending shows that
        // it is full. A few suffice (a backlog of 0 holds one).
        for (int i = 0; i < 16 && !full_; ++i) {
            fillers_.push_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
            if (fillers_.back() >= 0 && connect(fillers_.back(), any, length) != 0) {
                pollfd pending{fillers_.back(), POLLOUT, 0};
                full_ = poll(&pending, 1, 200) == 0;
            }
        }
    }
    ~FullListener() {
        for (const int fd : fillers_) {
            close(fd);
        }
        close(listener_);
    }
    FullListener(const FullListener&) = delete;
    FullListener& operator=(const FullListener&) = delete;

    // False when the queue could not be filled (the test cannot run as meant).
    bool full() const { return full_; }
    int port() const { return port_; }

  private:
    int listener_ = socket(AF_INET, SOCK_STREAM, 0);
    int port_ = 0;
    bool full_ = false;
    std::vector<int> fillers_;
};

// Pins, on the constructing thread and while in scope, who connects a CRestConnectInfo's socket
// for the connections set up and the requests made there; then returns to the mode chosen from
// the libcurl version.
class ScopedConnectMode {
  public:
    explicit ScopedConnectMode(fdr::rest::ConnectMode mode) {
        fdr::rest::PinConnectModeForTesting(mode);
    }
    ~ScopedConnectMode() { fdr::rest::PinConnectModeForTesting(std::nullopt); }
    ScopedConnectMode(const ScopedConnectMode&) = delete;
    ScopedConnectMode& operator=(const ScopedConnectMode&) = delete;
};

}  // namespace fdrtest
