#include "support/LocalServices.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include <thread>

namespace fdrtest {

struct LocalServices::Listener {
    int port = 0;
    httplib::Server server;
    std::thread thread;
};

const std::vector<int>& LocalServices::AllPorts() {
    static const std::vector<int> ports = {10223, 10227, 10228, 10229, 10235, 10240, 10241, 10250};
    return ports;
}

std::string LocalServices::PortName(int port) {
    static const std::map<int, const char*> names = {
        {10223, "central video-management service"},
        {10227, "autonomy-mode arbitration"},
        {10228, "arbitrator"},
        {10229, "token service"},
        {10235, "aggregator"},
        {10240, "federation service (writes)"},
        {10241, "federation service (reads)"},
        {10250, "member log service"},
    };
    auto it = names.find(port);
    return std::string(it == names.end() ? "local service" : it->second) + " (" +
           std::to_string(port) + ")";
}

static std::vector<std::pair<std::string, std::string>> DecodeQuery(const std::string& target) {
    std::vector<std::pair<std::string, std::string>> query;
    auto mark = target.find('?');
    if (mark == std::string::npos) {
        return query;
    }
    std::string rest = target.substr(mark + 1);
    size_t start = 0;
    while (start <= rest.size()) {
        size_t end = rest.find('&', start);
        if (end == std::string::npos) {
            end = rest.size();
        }
        std::string pair = rest.substr(start, end - start);
        if (!pair.empty()) {
            auto eq = pair.find('=');
            std::string key = pair.substr(0, eq);
            std::string value = eq == std::string::npos ? "" : pair.substr(eq + 1);
            query.emplace_back(httplib::detail::decode_url(key, true),
                               httplib::detail::decode_url(value, true));
        }
        start = end + 1;
    }
    return query;
}

LocalServices::LocalServices(const std::vector<int>& ports) {
    for (int port : ports) {
        auto listener = std::make_unique<Listener>();
        listener->port = port;
        auto& server = listener->server;
        // Small kept-alive exchanges otherwise stall on Nagle and delayed ACKs.
        server.set_tcp_nodelay(true);
        // cpp-httplib's default SO_REUSEPORT would let two fixtures share a port and split its
        // traffic; SO_REUSEADDR alone makes a taken port fail to bind, as it should.
        server.set_socket_options([](socket_t sock) {
            int yes = 1;
            setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
        });
        server.set_payload_max_length(512u * 1024u * 1024u);
        // One exchange per connection: a client's kept-alive connection would otherwise hold a
        // worker until the keep-alive time-out and slow every Stop() down.
        server.set_keep_alive_max_count(1);
        auto handler = [this, port](const httplib::Request& req, httplib::Response& res) {
            RecordedRequest request;
            request.port = port;
            request.method = req.method;
            request.path = req.path;
            request.target = req.target;
            request.query = DecodeQuery(req.target);
            for (const auto& header : req.headers) {
                request.headers.insert(header);
            }
            request.body = req.body;
            request.arrived = Clock::now();
            ScriptedAnswer answer = Handle(port, std::move(request));
            res.status = answer.status;
            res.set_content(answer.body, answer.content_type.c_str());
        };
        server.Get(".*", handler);
        server.Post(".*", handler);
        server.Put(".*", handler);
        server.Delete(".*", handler);
        if (!server.bind_to_port("127.0.0.1", port)) {
            Stop();
            ADD_FAILURE() << "cannot listen on " << PortName(port)
                          << ": the port is taken (is another test or a simulator running?)";
            return;
        }
        listener->thread = std::thread([&server] { server.listen_after_bind(); });
        // listen_after_bind() marks the server running before it blocks in accept().
        for (int i = 0; i < 5000 && !server.is_running(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        listeners_.push_back(std::move(listener));
    }
    started_ = true;
}

LocalServices::~LocalServices() {
    Stop();
}

void LocalServices::Stop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    for (auto& listener : listeners_) {
        listener->server.stop();
        if (listener->thread.joinable()) {
            listener->thread.join();
        }
    }
    listeners_.clear();
}

void LocalServices::Answer(int port, const std::string& method, const std::string& path,
                           ScriptedAnswer answer) {
    AnswerWith(port, method, path, [answer](const RecordedRequest&) { return answer; });
}

void LocalServices::AnswerWith(int port, const std::string& method, const std::string& path,
                               Responder responder) {
    std::lock_guard<std::mutex> lock(mutex_);
    script_[{port, method + " " + path}] = std::move(responder);
}

ScriptedAnswer LocalServices::Handle(int port, RecordedRequest request) {
    Responder responder;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        auto it = script_.find({port, request.method + " " + request.path});
        if (it != script_.end()) {
            responder = it->second;
        }
    }
    ScriptedAnswer answer = responder ? responder(request) : ScriptedAnswer{};
    std::unique_lock<std::mutex> lock(mutex_);
    if (answer.delay.count() > 0) {
        changed_.wait_for(lock, answer.delay, [this] { return stopping_; });
    }
    request.completed = Clock::now();
    requests_.push_back(std::move(request));
    lock.unlock();
    changed_.notify_all();
    return answer;
}

std::vector<RecordedRequest> LocalServices::Requests() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
}

std::vector<RecordedRequest> LocalServices::Requests(int port) const {
    std::vector<RecordedRequest> selected;
    for (auto& request : Requests()) {
        if (request.port == port) {
            selected.push_back(std::move(request));
        }
    }
    return selected;
}

RecordedRequest LocalServices::OnlyRequest() const {
    auto all = Requests();
    EXPECT_EQ(all.size(), 1u) << "expected exactly one request";
    return all.empty() ? RecordedRequest{} : all.front();
}

void LocalServices::ClearRequests() {
    std::lock_guard<std::mutex> lock(mutex_);
    requests_.clear();
}

bool LocalServices::WaitForRequests(size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return requests_.size() >= count; });
}

}  // namespace fdrtest
