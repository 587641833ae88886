#include "support/FullListener.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace fdrtest {

FullListener::FullListener() {
    listener_ = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    if (listener_ < 0 || bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
        getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0 ||
        listen(listener_, 0) != 0) {
        return;
    }
    port_ = ntohs(address.sin_port);
    // Connections that are never accepted fill the queue; the first one that stays pending
    // shows that it is full. A few suffice (a backlog of 0 holds one).
    for (int i = 0; i < 16 && !full_; ++i) {
        const int filler = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
        if (filler < 0) {
            return;
        }
        fillers_.push_back(filler);
        if (connect(filler, reinterpret_cast<sockaddr*>(&address), length) == 0) {
            continue;
        }
        pollfd pending{filler, POLLOUT, 0};
        full_ = poll(&pending, 1, 200) == 0;
    }
}

FullListener::~FullListener() {
    for (const int filler : fillers_) {
        close(filler);
    }
    if (listener_ >= 0) {
        close(listener_);
    }
}

ScopedConnectMode::ScopedConnectMode(fdr::rest::ConnectMode mode) {
    fdr::rest::PinConnectModeForTesting(mode);
}

ScopedConnectMode::~ScopedConnectMode() {
    fdr::rest::PinConnectModeForTesting(std::nullopt);
}

}  // namespace fdrtest
