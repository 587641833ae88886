// Reading what the library wrote to its log files during a test.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "support/Files.h"
#include "support/Text.h"

namespace fdrtest {

// Where the reference host utilities put the file of an absolute log path (they honour the
// FDR_LOG_ROOT setting that the test runner gives every test).
inline std::string LogFilePath(const std::string& absolute_path) {
    const char* root = std::getenv("FDR_LOG_ROOT");
    return (root != nullptr && *root != '\0') ? std::string(root) + absolute_path : absolute_path;
}

// Gives this process log files of its own below FDR_LOG_ROOT (default /tmp/federateutil-tests),
// so that test processes running in parallel never read each other's log lines.
inline void UseOwnLogRoot() {
    const char* root = std::getenv("FDR_LOG_ROOT");
    const std::string base = (root != nullptr && *root != '\0') ? root : "/tmp/federateutil-tests";
    setenv("FDR_LOG_ROOT", (base + "/pid-" + std::to_string(getpid())).c_str(), 1);
}

// Remembers the end of a log file and returns the lines appended after it.
class LogWatch {
  public:
    explicit LogWatch(const std::string& absolute_path)
        : file_(LogFilePath(absolute_path)), start_(ReadFile(file_).size()) {}

    std::vector<std::string> NewLines() const {
        const std::string text = ReadFile(file_);
        // A rotation restarts the file; then everything in it is new.
        return Lines(text.size() >= start_ ? text.substr(start_) : text);
    }

  private:
    std::string file_;
    size_t start_;
};

// The centre log, its debug companion and the aggregator log.
inline LogWatch WatchCenterLog() {
    return LogWatch("/Kdbglog/.fdr_center_log/.center.log");
}
inline LogWatch WatchCenterDebugLog() {
    return LogWatch("/Kdbglog/.fdr_center_log/.center_debug.log");
}
inline LogWatch WatchAggregatorLog() {
    return LogWatch("/Kdbglog/.fdr_center_log/.aggregator.log");
}

}  // namespace fdrtest
