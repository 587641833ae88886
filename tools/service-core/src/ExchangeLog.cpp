#include "ExchangeLog.h"

#include <algorithm>

namespace fdrsim {

bool ExchangeFilter::Matches(const Exchange& exchange) const {
    return exchange.id > after_id && (!service || exchange.service == *service) &&
           (method.empty() || exchange.method == method) &&
           (path.empty() || exchange.target.substr(0, exchange.target.find('?')) == path);
}

ExchangeLog::ExchangeLog(size_t capacity) : capacity_(std::max<size_t>(capacity, 1)) {}

void ExchangeLog::AddSink(Sink sink) {
    std::lock_guard<std::mutex> lock(mutex_);
    sinks_.push_back(std::move(sink));
}

uint64_t ExchangeLog::Record(Exchange exchange) {
    uint64_t id = 0;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        id = exchange.id = ++last_id_;
        // Under the lock, so that transcript lines and console lines keep the log's order.
        for (const auto& sink : sinks_) {
            sink(exchange);
        }
        exchanges_.push_back(std::move(exchange));
        if (exchanges_.size() > capacity_) {
            exchanges_.pop_front();
            ++dropped_;
        }
    }
    recorded_.notify_all();
    return id;
}

void ExchangeLog::Complete(uint64_t id, int status, std::string answer_body) {
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto& exchange : exchanges_) {
        if (exchange.id == id) {
            exchange.status = status;
            exchange.answer_body = std::move(answer_body);
        }
    }
}

std::vector<Exchange> ExchangeLog::List(const ExchangeFilter& filter) const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<Exchange> selected;
    for (const auto& exchange : exchanges_) {
        if (filter.Matches(exchange)) {
            selected.push_back(exchange);
        }
    }
    return selected;
}

std::optional<Exchange> ExchangeLog::Find(uint64_t id) const {
    std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& exchange : exchanges_) {
        if (exchange.id == id) {
            return exchange;
        }
    }
    return std::nullopt;
}

void ExchangeLog::Clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    exchanges_.clear();
}

std::optional<Exchange> ExchangeLog::WaitFor(const ExchangeFilter& filter,
                                             std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mutex_);
    std::optional<Exchange> found;
    recorded_.wait_for(lock, timeout, [&] {
        auto it = std::find_if(exchanges_.begin(), exchanges_.end(),
                               [&](const Exchange& e) { return filter.Matches(e); });
        if (it != exchanges_.end()) {
            found = *it;
        }
        return found.has_value();
    });
    return found;
}

uint64_t ExchangeLog::LastId() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return last_id_;
}

uint64_t ExchangeLog::Dropped() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return dropped_;
}

size_t ExchangeLog::Count() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return exchanges_.size();
}

}  // namespace fdrsim
