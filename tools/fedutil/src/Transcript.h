// Reading the simulator's transcript: one JSON line per exchange, written as it happens.
#pragma once

#include <string>
#include <vector>

namespace fedutil {

struct TranscriptEntry {
    std::string service;  // "arbitrator", "federation-reads", ...
    int port = 0;
    std::string method;
    std::string target;  // path and query as sent
    std::string request;
    int status = 0;  // 0: no answer was sent
    std::string answer;
    std::vector<std::string> flags;
    bool ok = true;  // nothing about the request was a problem for the service

    // The target without its query.
    std::string Path() const { return target.substr(0, target.find('?')); }
};

// Every complete line of the transcript at `path`, in order. A line still being written (no
// line end yet) is left for the next read; a missing file reads as empty.
std::vector<TranscriptEntry> ReadTranscript(const std::string& path);

}  // namespace fedutil
