// Times the library and its baseline side by side, in one loop.
//
// The machine is shared: a build next door slows whatever runs at that moment. Timing the two
// sides in separate runs lets such a burst fall on one side only; here they alternate, batch by
// batch (the order flips every round), each batch timed on its own, and the medians of the
// per-call times are compared. A burst then spoils a few samples on both sides, which the
// medians ignore.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <vector>

namespace bench {

class PairTimer {
  public:
    // `untimed` runs after each batch of either side, outside the timing: readers hand their
    // records to the host, whose dropping them is neither side's work.
    PairTimer(std::function<void()> lib, std::function<void()> bare,
              std::function<void()> untimed = nullptr)
        : lib_(std::move(lib)), bare_(std::move(bare)), untimed_(std::move(untimed)) {}

    // One batch of each side.
    void Round() {
        if (batch_ == 0) {
            Calibrate();
        }
        if (flip_) {
            bare_ns_.push_back(TimeThenDrop(bare_));
            lib_ns_.push_back(TimeThenDrop(lib_));
        } else {
            lib_ns_.push_back(TimeThenDrop(lib_));
            bare_ns_.push_back(TimeThenDrop(bare_));
        }
        flip_ = !flip_;
    }

    void Report(benchmark::State& state) {
        const double lib = Median(lib_ns_);
        const double bare = Median(bare_ns_);
        state.counters["lib_ns"] = lib;
        state.counters["bare_ns"] = bare;
        state.counters["ratio"] = bare > 0 ? lib / bare : 0;
    }

    // Rounds that make one repetition last about `seconds`, from one timed call of each side;
    // at least fifteen, so that the medians of the slowest cases (tens of milliseconds a call)
    // still pass over a burst of load on a shared machine.
    static int64_t RoundsFor(const std::function<void()>& lib, const std::function<void()>& bare,
                             double seconds) {
        const auto start = Clock::now();
        lib();
        bare();
        const std::chrono::duration<double, std::nano> spent = Clock::now() - start;
        const double round = std::max(spent.count(), 2 * kMinBatchNs);
        return std::max<int64_t>(kMinRounds, static_cast<int64_t>(seconds * 1e9 / round));
    }

  private:
    using Clock = std::chrono::steady_clock;
    static constexpr int64_t kMinRounds = 15;
    // Batches of at least this long keep the clock's own cost out of the comparison.
    static constexpr double kMinBatchNs = 20000;

    void Calibrate() {
        batch_ = 1;
        TimeThenDrop(lib_);
        TimeThenDrop(bare_);
        const double once = std::min(TimeThenDrop(lib_), TimeThenDrop(bare_));
        if (once < kMinBatchNs) {
            batch_ = static_cast<int>(kMinBatchNs / std::max(once, 1.0)) + 1;
        }
    }

    double TimeThenDrop(const std::function<void()>& run) {
        const double ns = Time(run);
        if (untimed_) {
            untimed_();
        }
        return ns;
    }

    // Nanoseconds per call over one batch.
    double Time(const std::function<void()>& run) const {
        const auto start = Clock::now();
        for (int i = 0; i < batch_; ++i) {
            run();
        }
        const std::chrono::duration<double, std::nano> spent = Clock::now() - start;
        return spent.count() / batch_;
    }

    static double Median(std::vector<double> values) {
        if (values.empty()) {
            return 0;
        }
        const size_t middle = values.size() / 2;
        std::nth_element(values.begin(), values.begin() + static_cast<long>(middle), values.end());
        double median = values[middle];
        if (values.size() % 2 == 0) {
            median = (median + *std::max_element(values.begin(),
                                                 values.begin() + static_cast<long>(middle))) /
                     2;
        }
        return median;
    }

    std::function<void()> lib_;
    std::function<void()> bare_;
    std::function<void()> untimed_;
    int batch_ = 0;
    bool flip_ = false;
    std::vector<double> lib_ns_;
    std::vector<double> bare_ns_;
};

}  // namespace bench
