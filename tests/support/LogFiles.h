// Reading what the library wrote to its log files during a test.
#pragma once

#include <string>
#include <vector>

namespace fdrtest {

// Where the reference host utilities put the file of an absolute log path (they honour the
// FDR_LOG_ROOT setting that the test runner gives every test).
std::string LogFilePath(const std::string& absolute_path);

// Remembers the end of a log file and returns the lines appended after it.
class LogWatch {
  public:
    explicit LogWatch(const std::string& absolute_path);
    std::vector<std::string> NewLines() const;

  private:
    std::string file_;
    long long start_ = 0;
};

// The centre log, its debug companion and the aggregator log.
LogWatch WatchCenterLog();
LogWatch WatchCenterDebugLog();
LogWatch WatchAggregatorLog();

}  // namespace fdrtest
