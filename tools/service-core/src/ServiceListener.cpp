#include "ServiceListener.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace fdrsim {

namespace {

sockaddr_in LoopbackAddress(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    ::inet_pton(AF_INET, kListenHost, &address.sin_addr);
    return address;
}

std::string WhyNotBound() {
    if (errno == EADDRINUSE) {
        return "the port is already in use (is another simulator or the real service running?)";
    }
    return std::strerror(errno);
}

}  // namespace

// SO_REUSEADDR alone, never SO_REUSEPORT, so that two simulators cannot share a port silently.
int BoundLoopbackSocket(int port) {
    const int sock = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (sock < 0) {
        return -1;
    }
    int yes = 1;
    ::setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in address = LoopbackAddress(port);
    if (::bind(sock, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        const int saved = errno;
        ::close(sock);
        errno = saved;
        return -1;
    }
    return sock;
}

// A port held while refusing: bound without SO_REUSEADDR, so that no other socket can bind it,
// reuse or not, until it listens again.
int HeldLoopbackSocket(int port) {
    const int sock = BoundLoopbackSocket(port);
    int no = 0;
    if (sock >= 0) {
        ::setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &no, sizeof no);
    }
    return sock;
}

int PortOfSocket(int sock) {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    ::getsockname(sock, reinterpret_cast<sockaddr*>(&address), &length);
    return ntohs(address.sin_port);
}

ServiceListener::ServiceListener(Service service, int port, Handler handler, const WakeSignal& stop)
    : service_(service), port_(port), handler_(std::move(handler)), stop_(stop) {}

ServiceListener::~ServiceListener() {
    Stop();
}

bool ServiceListener::Fail(const std::string& reason, std::string* error) const {
    if (error != nullptr) {
        *error = "cannot listen on " + std::string(kListenHost) + ":" + std::to_string(port_) +
                 " for the " + InfoOf(service_).name + " (" + std::to_string(port_) +
                 "): " + reason;
    }
    return false;
}

bool ServiceListener::Start(bool refusing, std::string* error) {
    if (!refusing) {
        return Listen(error);
    }
    // Nothing listens, but the port is held: a fixed one that something else has already taken
    // refuses nobody, yet the service starts as it always did.
    std::lock_guard<std::mutex> lock(listening_);
    held_fd_ = HeldLoopbackSocket(port_);
    if (held_fd_ >= 0) {
        port_ = PortOfSocket(held_fd_);
    } else if (port_ == 0) {
        return Fail(std::strerror(errno), error);
    }
    return true;
}

bool ServiceListener::Listen(std::string* error) {
    std::lock_guard<std::mutex> lock(listening_);
    if (listen_fd_ >= 0) {
        return true;
    }
    const int sock = held_fd_ >= 0 ? std::exchange(held_fd_, -1) : BoundLoopbackSocket(port_);
    if (sock < 0) {
        return Fail(WhyNotBound(), error);
    }
    int yes = 1;  // a held port listens as any other
    ::setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    if (::listen(sock, 128) != 0) {
        const std::string reason = std::strerror(errno);
        ::close(sock);
        return Fail(reason, error);
    }
    port_ = PortOfSocket(sock);
    listen_fd_ = sock;
    closing_ = std::make_unique<WakeSignal>();
    acceptor_ = std::thread([this, sock, closing = closing_.get()] { AcceptLoop(sock, *closing); });
    return true;
}

void ServiceListener::CloseListening() {
    if (listen_fd_ < 0) {
        return;
    }
    closing_->Trigger();
    acceptor_.join();
    // Connections still queued are reset with the socket: refused, as the fault says.
    ::close(listen_fd_);
    listen_fd_ = -1;
    closing_.reset();
}

void ServiceListener::Refuse() {
    std::lock_guard<std::mutex> lock(listening_);
    if (listen_fd_ >= 0) {
        CloseListening();
        held_fd_ = HeldLoopbackSocket(port_);
    }
}

void ServiceListener::Stop() {
    {
        std::lock_guard<std::mutex> lock(listening_);
        CloseListening();
        if (held_fd_ >= 0) {
            ::close(std::exchange(held_fd_, -1));
        }
    }
    std::unique_lock<std::mutex> lock(connections_mutex_);
    closed_.wait(lock, [this] { return open_ == 0; });
}

void ServiceListener::AcceptLoop(int listen_fd, const WakeSignal& closing) {
    pollfd fds[] = {{listen_fd, POLLIN, 0}, {closing.fd(), POLLIN, 0}, {stop_.fd(), POLLIN, 0}};
    while (true) {
        const int n = ::poll(fds, 3, -1);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0 || fds[1].revents != 0 || fds[2].revents != 0) {
            return;
        }
        const int fd = ::accept4(listen_fd, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) {
            continue;
        }
        // Small answers otherwise wait on Nagle and delayed acknowledgements.
        int yes = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
        {
            std::lock_guard<std::mutex> lock(connections_mutex_);
            ++open_;
        }
        std::thread([this, fd] {
            Serve(fd);
            // Told under the lock: once Stop() sees no connection open, none touches this again.
            std::lock_guard<std::mutex> lock(connections_mutex_);
            --open_;
            closed_.notify_all();
        }).detach();
    }
}

void ServiceListener::Serve(int fd) {
    HttpConnection connection(fd, stop_);
    IncomingRequest request;
    if (!connection.ReadRequest(request)) {
        return;
    }
    handler_(connection, request, port_);
    connection.Finish();
}

bool ServiceListener::WaitUntilIdle(std::chrono::steady_clock::time_point deadline) const {
    std::unique_lock<std::mutex> lock(connections_mutex_);
    return closed_.wait_until(lock, deadline, [this] { return open_ == 0; });
}

}  // namespace fdrsim
