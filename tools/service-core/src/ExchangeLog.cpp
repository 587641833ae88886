#include "ExchangeLog.h"

namespace fdrsim {

void ExchangeLog::AddSink(Sink sink) {
    std::lock_guard<std::mutex> lock(mutex_);
    sinks_.push_back(std::move(sink));
}

void ExchangeLog::Record(Exchange exchange) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        // Under the lock, so that transcript lines and console lines keep the log's order.
        for (const auto& sink : sinks_) {
            sink(exchange);
        }
        exchanges_.push_back(std::move(exchange));
    }
    recorded_.notify_all();
}

std::vector<Exchange> ExchangeLog::All() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return exchanges_;
}

std::vector<Exchange> ExchangeLog::Of(Service service) const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<Exchange> selected;
    for (const auto& exchange : exchanges_) {
        if (exchange.service == service) {
            selected.push_back(exchange);
        }
    }
    return selected;
}

size_t ExchangeLog::Count() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return exchanges_.size();
}

bool ExchangeLog::WaitForCount(size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return recorded_.wait_for(lock, timeout, [&] { return exchanges_.size() >= count; });
}

}  // namespace fdrsim
