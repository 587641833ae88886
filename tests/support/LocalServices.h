// A scriptable stand-in for the local services: real HTTP listeners on the fixed ports of
// 127.0.0.1 that answer what a test scripts and record every request they receive.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace fdrtest {

using Clock = std::chrono::steady_clock;

struct RecordedRequest {
    int port = 0;
    std::string method;
    std::string path;                                        // without the query
    std::string target;                                      // as sent: path and raw query
    std::vector<std::pair<std::string, std::string>> query;  // decoded, in wire order
    std::multimap<std::string, std::string> headers;
    std::string body;
    Clock::time_point arrived;
    Clock::time_point completed;  // when the answer was ready to be written
};

struct ScriptedAnswer {
    int status = 200;
    std::string body;
    std::string content_type = "application/json";
    std::chrono::milliseconds delay{0};  // wait before answering; cut short when the fixture stops
};

using Responder = std::function<ScriptedAnswer(const RecordedRequest&)>;

class LocalServices {
  public:
    // The eight fixed ports of the local services.
    static const std::vector<int>& AllPorts();
    // The service's name for a port, for messages ("member log service (10250)").
    static std::string PortName(int port);

    // Starts a listener on each port; a port that cannot be bound is a fatal test failure
    // naming the port. Unscripted requests are answered 200 with an empty body.
    explicit LocalServices(const std::vector<int>& ports = AllPorts());
    ~LocalServices();
    LocalServices(const LocalServices&) = delete;
    LocalServices& operator=(const LocalServices&) = delete;

    bool started() const { return started_; }

    // Scripts the answer for one method and path (path without query) on one port.
    void Answer(int port, const std::string& method, const std::string& path,
                ScriptedAnswer answer);
    void AnswerWith(int port, const std::string& method, const std::string& path,
                    Responder responder);

    std::vector<RecordedRequest> Requests() const;
    std::vector<RecordedRequest> Requests(int port) const;
    // The one request received so far; a test failure when there is not exactly one.
    RecordedRequest OnlyRequest() const;
    void ClearRequests();
    // Waits until `count` requests have completed or `timeout` passed; true when they did.
    bool WaitForRequests(size_t count, std::chrono::milliseconds timeout) const;

    // Stops every listener; pending delays end at once. Also done by the destructor.
    void Stop();

  private:
    struct Listener;
    ScriptedAnswer Handle(int port, RecordedRequest request);

    std::vector<std::unique_ptr<Listener>> listeners_;
    std::map<std::pair<int, std::string>, Responder> script_;  // (port, "METHOD path")
    std::vector<RecordedRequest> requests_;
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    bool stopping_ = false;
    bool started_ = false;
};

}  // namespace fdrtest
