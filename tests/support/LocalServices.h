// The local services as the library's tests script them: the service core on the fixed ports of
// 127.0.0.1 with no routes of its own, answering what a test scripts and recording every request.
// A thin view of fdrsim::Simulator in the terms of ports.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Exchange.h"

namespace fdrsim {
class Simulator;
}

namespace fdrtest {

struct RecordedRequest {
    int port = 0;
    std::string method;
    std::string path;                                        // without the query
    std::string target;                                      // as sent: path and raw query
    std::vector<std::pair<std::string, std::string>> query;  // decoded, in wire order
    std::multimap<std::string, std::string> headers;
    std::string body;
};

using ScriptedAnswer = fdrsim::ScriptedAnswer;
using Responder = std::function<ScriptedAnswer(const RecordedRequest&)>;

class LocalServices {
  public:
    // The eight fixed ports of the local services.
    static const std::vector<int>& AllPorts();

    // Listens on each port given, refuses on the others; a port that cannot be bound is a test
    // failure naming the port. Unscripted requests are answered 200 with an empty body.
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
    std::unique_ptr<fdrsim::Simulator> simulator_;
    bool started_ = false;
};

}  // namespace fdrtest
