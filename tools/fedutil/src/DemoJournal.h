// What the simulator received, as the demo reads it from the exchange journal of the
// simulator's control API.
#pragma once

#include <cstdint>
#include <optional>
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
    std::string answer;
    std::vector<std::string> flags;
    bool ok = true;  // nothing about the request was a problem for the service

    // The target without its query.
    std::string Path() const { return target.substr(0, target.find('?')); }
};

struct JournalPage {
    std::vector<ReceivedExchange> exchanges;  // oldest first
    uint64_t last_id = 0;                     // ask for what comes after this next time
};

// The exchanges recorded after `after_id` by the simulator whose control API listens on
// 127.0.0.1:`admin_port`, with their bodies; nothing when the API does not answer.
std::optional<JournalPage> ReadJournal(int admin_port, uint64_t after_id);

}  // namespace fedutil
