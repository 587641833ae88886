// The in-memory record of every exchange, in arrival order, with sinks (the transcript file,
// the console) that see each exchange once as it is recorded.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

#include "Exchange.h"

namespace fdrsim {

class ExchangeLog {
  public:
    using Sink = std::function<void(const Exchange&)>;

    // Sinks are called one at a time, in recording order; add them before the services start.
    void AddSink(Sink sink);
    void Record(Exchange exchange);

    std::vector<Exchange> All() const;
    std::vector<Exchange> Of(Service service) const;
    size_t Count() const;
    // Waits until at least `count` exchanges are recorded; true when they were in time.
    bool WaitForCount(size_t count, std::chrono::milliseconds timeout) const;

  private:
    std::vector<Sink> sinks_;
    std::vector<Exchange> exchanges_;
    mutable std::mutex mutex_;
    mutable std::condition_variable recorded_;
};

}  // namespace fdrsim
