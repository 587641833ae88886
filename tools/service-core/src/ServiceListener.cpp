#include "ServiceListener.h"

#include <arpa/inet.h>
#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

namespace fdrsim {

namespace {

// Binds a plain socket to learn why the port cannot be had (or, with port 0, which port is
// free). Returns the bound port, or -1 with errno set.
int ProbePort(int port) {
    int sock = ::socket(AF_INET, SOCK_STREAM, 0);
    if (sock < 0) {
        return -1;
    }
    int yes = 1;
    ::setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    ::inet_pton(AF_INET, kListenHost, &address.sin_addr);
    socklen_t length = sizeof address;
    int result = -1;
    if (::bind(sock, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::getsockname(sock, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
        result = ntohs(address.sin_port);
    }
    const int saved = errno;
    ::close(sock);
    errno = saved;
    return result;
}

std::string WhyNotBound(int port) {
    if (ProbePort(port) >= 0) {
        return "the listener could not be set up";
    }
    if (errno == EADDRINUSE) {
        return "the port is already in use (is another simulator or the real service running?)";
    }
    return std::strerror(errno);
}

IncomingRequest ToIncoming(const httplib::Request& req) {
    IncomingRequest request;
    request.method = req.method;
    request.path = req.path;
    request.target = req.target;
    request.query.insert(req.params.begin(), req.params.end());
    request.body = req.body;
    return request;
}

}  // namespace

void ShutdownSignal::Trigger() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    triggered_.notify_all();
}

void ShutdownSignal::Wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    triggered_.wait(lock, [this] { return stopping_; });
}

ServiceListener::ServiceListener(Service service, int port, FaultMode fault, RouteTable routes,
                                 ExchangeLog& log, ShutdownSignal& shutdown)
    : service_(service),
      port_(port),
      fault_(fault),
      routes_(std::move(routes)),
      log_(log),
      shutdown_(shutdown) {}

ServiceListener::~ServiceListener() {
    Stop();
}

bool ServiceListener::Start(std::string* error) {
    auto fail = [&](const std::string& reason) {
        if (error != nullptr) {
            *error = "cannot listen on " + std::string(kListenHost) + ":" + std::to_string(port_) +
                     " for the " + Describe(service_, port_) + ": " + reason;
        }
        return false;
    };
    if (fault_ == FaultMode::Refuse) {
        // Nothing listens; a port that was free a moment ago gives clients a place to be refused.
        if (port_ == 0 && (port_ = ProbePort(0)) < 0) {
            return fail(std::strerror(errno));
        }
        return true;
    }
    server_ = std::make_unique<httplib::Server>();
    server_->set_tcp_nodelay(true);
    // One exchange per connection: a client's kept-alive connection would hold a worker until
    // the keep-alive time-out (5 s) and make every shutdown wait that long.
    server_->set_keep_alive_max_count(1);
    // httplib's default adds SO_REUSEPORT, which would let two simulators share a port silently.
    server_->set_socket_options([](socket_t sock) {
        int yes = 1;
        ::setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
    auto handler = [this](const httplib::Request& req, httplib::Response& res) {
        Handle(req, res);
    };
    const char* any = ".*";
    server_->Get(any, handler);
    server_->Post(any, handler);
    server_->Put(any, handler);
    server_->Delete(any, handler);
    server_->Patch(any, handler);
    if (port_ == 0) {
        port_ = server_->bind_to_any_port(kListenHost);
        if (port_ < 0) {
            port_ = 0;
            return fail("no free port");
        }
    } else if (!server_->bind_to_port(kListenHost, port_)) {
        return fail(WhyNotBound(port_));
    }
    thread_ = std::thread([this] { server_->listen_after_bind(); });
    // The port queues connections from now on; wait for the accept loop so that Stop() works.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!server_->is_running() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (!server_->is_running()) {
        return fail("the listener did not start");
    }
    return true;
}

void ServiceListener::Stop() {
    if (server_) {
        server_->stop();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
}

void ServiceListener::Handle(const httplib::Request& req, httplib::Response& res) {
    const IncomingRequest request = ToIncoming(req);
    Exchange exchange;
    exchange.time = std::chrono::system_clock::now();
    exchange.service = service_;
    exchange.port = port_;
    exchange.method = request.method;
    exchange.target = request.target;
    exchange.request_body = request.body;
    ServiceAnswer answer;
    switch (fault_) {
        case FaultMode::Stall:
            AddNote(exchange.flags, "fault stall: not answered");
            log_.Record(exchange);
            shutdown_.Wait();
            res.status = 503;
            res.set_content("simulator stopped", "text/plain");
            return;
        case FaultMode::CloseEarly: {
            const std::string sent(kCloseEarlyBody, kCloseEarlySentBytes);
            res.status = 200;
            res.set_content_provider(
                std::strlen(kCloseEarlyBody), "application/json",
                [sent](size_t, size_t, httplib::DataSink& sink) {
                    sink.write(sent.data(), sent.size());
                    return false;  // ends the exchange with the rest of the announced length unsent
                });
            exchange.status = 200;
            exchange.answer_body = sent;
            AddNote(exchange.flags, "fault close-early: sent " + std::to_string(sent.size()) +
                                        " of " + std::to_string(std::strlen(kCloseEarlyBody)) +
                                        " bytes");
            log_.Record(std::move(exchange));
            return;
        }
        case FaultMode::InternalError:
            answer.status = 500;
            answer.body = kInternalErrorBody;
            AddNote(answer.flags, "fault 500");
            break;
        case FaultMode::Garbage:
            answer.body = kGarbageBody;
            answer.content_type = "text/html";
            AddNote(answer.flags, "fault garbage");
            break;
        case FaultMode::None:
        case FaultMode::Refuse:
            try {
                answer = routes_.Dispatch(request);
            } catch (const std::exception& e) {
                answer = ServiceAnswer{500,
                                       R"({"error":"simulator failure"})",
                                       "application/json",
                                       {{std::string("simulator failure: ") + e.what(), true}}};
            }
            break;
    }
    res.status = answer.status;
    res.set_content(answer.body, answer.content_type.c_str());
    exchange.status = answer.status;
    exchange.answer_body = std::move(answer.body);
    exchange.flags.insert(exchange.flags.end(), answer.flags.begin(), answer.flags.end());
    log_.Record(std::move(exchange));
}

}  // namespace fdrsim
