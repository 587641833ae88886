// What the simulator received, as the demo reads it from the transcript the simulator writes:
// one JSON line per exchange, written once the exchange is answered.
#pragma once

#include <string>
#include <vector>

namespace fedutil {

struct ReceivedExchange {
    std::string service;  // "arbitrator", "federation-reads", ...
    int port = 0;
    std::string method;
    std::string target;  // path and query as sent
    std::string request;
    int status = 0;  // 0: no answer was sent
    std::vector<std::string> flags;
    bool ok = true;  // nothing about the request was a problem for the service

    // The target without its query.
    std::string Path() const { return target.substr(0, target.find('?')); }
};

// The exchanges of the transcript at `path` after its first `seen` lines, oldest first; `seen`
// then counts the lines read. A line still being written is left for the next call.
std::vector<ReceivedExchange> ReadTranscript(const std::string& path, size_t& seen);

}  // namespace fedutil
