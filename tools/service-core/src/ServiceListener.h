// One simulated service on one port: a raw-socket HTTP/1.1 listener on 127.0.0.1 with an accept
// loop of its own and one exchange per connection, each connection on its own thread. What the
// service answers is its handler's business; the listener only opens, refuses and closes.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "HttpConnection.h"

namespace fdrsim {

class ServiceListener {
  public:
    // Answers one request read from the connection to `port`.
    using Handler = std::function<void(HttpConnection&, IncomingRequest&, int port)>;

    // `port` 0 means any free port. Every connection ends when `stop` is set.
    ServiceListener(Service service, int port, Handler handler, const WakeSignal& stop);
    ~ServiceListener();
    ServiceListener(const ServiceListener&) = delete;
    ServiceListener& operator=(const ServiceListener&) = delete;

    // Settles the port and, unless the service starts refusing, listens: connections queue from
    // the moment this returns. When the port cannot be had, returns false and sets `error` to a
    // message naming the port and the service.
    bool Start(bool refusing, std::string* error);
    // Closes the listening socket, so that connections are refused; requests already read go on.
    // The port stays bound, not listening, so that no free-port bind or outgoing connection
    // beside takes it while the service refuses.
    void Refuse();
    // Listens again on the same port after Refuse().
    bool Listen(std::string* error);
    // Stops listening and waits for every connection; call once `stop` is set.
    void Stop();
    // Waits until every connection accepted so far is closed; true when they were by `deadline`.
    bool WaitUntilIdle(std::chrono::steady_clock::time_point deadline) const;

    Service service() const { return service_; }
    int port() const { return port_; }

  private:
    void AcceptLoop(int listen_fd, const WakeSignal& closing);
    void Serve(int fd);
    bool Fail(const std::string& reason, std::string* error) const;
    void CloseListening();  // with listening_ held

    const Service service_;
    std::atomic<int> port_;
    const Handler handler_;
    const WakeSignal& stop_;
    std::mutex listening_;  // Listen(), Refuse() and Stop() one at a time
    int listen_fd_ = -1;
    int held_fd_ = -1;                     // bound, not listening: the port kept while refusing
    std::unique_ptr<WakeSignal> closing_;  // ends the accept loop of this listening socket
    std::thread acceptor_;
    mutable std::mutex connections_mutex_;
    size_t open_ = 0;  // connections not yet closed, each served on a detached thread
    mutable std::condition_variable closed_;
};

// The loopback address every service listens on.
inline constexpr char kListenHost[] = "127.0.0.1";

// A socket bound to `port` of the loopback address (0: any free one); -1 with errno set when the
// port cannot be had.
int BoundLoopbackSocket(int port);
// The port a bound socket has.
int PortOfSocket(int sock);

}  // namespace fdrsim
