// Reference implementation of the host utilities: size-capped append-only log files and the
// domain-account check.
#include "platform/host_utils.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

namespace {

constexpr const char* kCenterDebugLog = "/Kdbglog/.fdr_center_log/.center_debug.log";
constexpr long kCenterDebugLogMax = 10485760;

// Serialises size check, rotation and write, so no thread writes into a file being rotated.
std::mutex g_log_mutex;

// FDR_LOG_ROOT, when set, relocates every log path under it (tests, unprivileged runs).
std::string resolve(const char* path) {
    std::string full;
    const char* root = std::getenv("FDR_LOG_ROOT");
    if (root != nullptr && *root != '\0') {
        full = root;
        if (*path != '/') {
            full += '/';
        }
    }
    full += path;
    return full;
}

bool make_parent_folders(const std::string& file) {
    const size_t last = file.rfind('/');
    if (last == std::string::npos || last == 0) {
        return true;
    }
    std::string folder = file.substr(0, last);
    for (size_t pos = 1; pos <= folder.size(); ++pos) {
        if (pos == folder.size() || folder[pos] == '/') {
            const std::string part = folder.substr(0, pos);
            if (::mkdir(part.c_str(), 0755) != 0 && errno != EEXIST) {
                return false;
            }
        }
    }
    struct stat st {};
    return ::stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

int open_log(const std::string& file) {
    const int flags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC;
    int fd = ::open(file.c_str(), flags, 0644);
    if (fd < 0 && errno == ENOENT && make_parent_folders(file)) {
        fd = ::open(file.c_str(), flags, 0644);
    }
    return fd;
}

bool format_line(std::string& line, const char* format, va_list args) {
    char small[1024];
    va_list copy;
    va_copy(copy, args);
    const int n = std::vsnprintf(small, sizeof small, format, copy);
    va_end(copy);
    if (n < 0) {
        return false;
    }
    if (static_cast<size_t>(n) < sizeof small) {
        line.assign(small, static_cast<size_t>(n));
    } else {
        std::vector<char> big(static_cast<size_t>(n) + 1);
        std::vsnprintf(big.data(), big.size(), format, args);
        line.assign(big.data(), static_cast<size_t>(n));
    }
    if (line.empty() || line.back() != '\n') {
        line += '\n';
    }
    return true;
}

bool write_all(int fd, const std::string& data) {
    size_t done = 0;
    while (done < data.size()) {
        const ssize_t n = ::write(fd, data.data() + done, data.size() - done);
        if (n < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        done += static_cast<size_t>(n);
    }
    return true;
}

int append_line(const char* path, long max_size, const char* format, va_list args) {
    if (path == nullptr || *path == '\0' || format == nullptr) {
        return -1;
    }
    try {
        std::string line;
        if (!format_line(line, format, args)) {
            return -1;
        }
        const std::string file = resolve(path);

        std::lock_guard<std::mutex> lock(g_log_mutex);
        int fd = open_log(file);
        if (fd < 0) {
            return -1;
        }
        struct stat st {};
        // An empty file takes even an oversized line: rotating it would only lose the backup.
        if (max_size > 0 && ::fstat(fd, &st) == 0 && st.st_size > 0 &&
            st.st_size + static_cast<long long>(line.size()) > max_size) {
            ::close(fd);
            if (::rename(file.c_str(), (file + ".1").c_str()) != 0) {
                return -1;
            }
            fd = open_log(file);
            if (fd < 0) {
                return -1;
            }
        }
        const bool ok = write_all(fd, line);
        ::close(fd);
        return ok ? 0 : -1;
    } catch (...) {
        return -1;  // out of memory: the line is dropped, the host carries on
    }
}

}  // namespace

int log_File_Debug_s(const char* path, long max_size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int rc = append_line(path, max_size, format, args);
    va_end(args);
    return rc;
}

void center_log_debug(const char* format, ...) {
    va_list args;
    va_start(args, format);
    append_line(kCenterDebugLog, kCenterDebugLogMax, format, args);
    va_end(args);
}

int fdrutil_check_is_domain_user(std::string name, bool& is_domain) {
    // "DOMAIN\user" or "user@domain": the separator needs text on both sides.
    for (size_t i = 1; i + 1 < name.size(); ++i) {
        if (name[i] == '\\' || name[i] == '@') {
            is_domain = true;
            break;
        }
    }
    return 0;
}
