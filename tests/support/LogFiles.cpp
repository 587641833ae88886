#include "support/LogFiles.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace fdrtest {

std::string LogFilePath(const std::string& absolute_path) {
    const char* root = std::getenv("FDR_LOG_ROOT");
    return (root != nullptr && *root != '\0') ? std::string(root) + absolute_path : absolute_path;
}

static std::string ReadFile(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

LogWatch::LogWatch(const std::string& absolute_path)
    : file_(LogFilePath(absolute_path)),
      start_(static_cast<long long>(ReadFile(LogFilePath(absolute_path)).size())) {}

std::vector<std::string> LogWatch::NewLines() const {
    std::string text = ReadFile(file_);
    // A rotation restarts the file; then everything in it is new.
    std::string fresh = static_cast<long long>(text.size()) >= start_ ? text.substr(start_) : text;
    std::vector<std::string> lines;
    std::istringstream in(fresh);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

LogWatch WatchCenterLog() {
    return LogWatch("/Kdbglog/.fdr_center_log/.center.log");
}
LogWatch WatchCenterDebugLog() {
    return LogWatch("/Kdbglog/.fdr_center_log/.center_debug.log");
}
LogWatch WatchAggregatorLog() {
    return LogWatch("/Kdbglog/.fdr_center_log/.aggregator.log");
}

}  // namespace fdrtest
