// Work run on several threads at once, as concurrent hosts would.
#pragma once

#include <functional>
#include <thread>
#include <vector>

namespace fdrtest {

// Runs `work(thread)` on each of `threads` threads at once and joins them.
inline void OnThreads(int threads, const std::function<void(int thread)>& work) {
    std::vector<std::thread> running;
    for (int t = 0; t < threads; ++t) {
        running.emplace_back(work, t);
    }
    for (auto& thread : running) {
        thread.join();
    }
}

}  // namespace fdrtest
