// The journal: every exchange in arrival order, each with its own id, with sinks (the transcript
// file, the console) that see each exchange once as it is recorded. Holds the newest `capacity`
// exchanges; the ids of those dropped are never given again.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Exchange.h"

namespace fdrsim {

// Which exchanges a listing or a wait is about; empty fields match anything.
struct ExchangeFilter {
    std::optional<Service> service;
    std::string method;
    std::string path;       // without the query
    uint64_t after_id = 0;  // only ids above this one
    bool Matches(const Exchange& exchange) const;
};

class ExchangeLog {
  public:
    using Sink = std::function<void(const Exchange&)>;

    explicit ExchangeLog(size_t capacity = 10000);

    // Sinks are called one at a time, in recording order; add them before the services start.
    void AddSink(Sink sink);
    // Gives the exchange its id, shows it to the sinks and keeps it; returns the id.
    uint64_t Record(Exchange exchange);

    // Puts the answer that a request recorded before it was answered got after all.
    void Complete(uint64_t id, int status, std::string answer_body);

    std::vector<Exchange> List(const ExchangeFilter& filter = {}) const;  // oldest first
    std::optional<Exchange> Find(uint64_t id) const;
    void Clear();
    // The first exchange matching `filter`, already recorded or recorded before the time-out.
    std::optional<Exchange> WaitFor(const ExchangeFilter& filter,
                                    std::chrono::milliseconds timeout) const;
    uint64_t LastId() const;
    size_t Capacity() const { return capacity_; }
    // How many exchanges were dropped to keep within the capacity.
    uint64_t Dropped() const;

    std::vector<Exchange> All() const { return List(); }
    size_t Count() const;

  private:
    const size_t capacity_;
    std::vector<Sink> sinks_;
    std::deque<Exchange> exchanges_;
    uint64_t last_id_ = 0;
    uint64_t dropped_ = 0;
    mutable std::mutex mutex_;
    mutable std::condition_variable recorded_;
};

}  // namespace fdrsim
