// Reference implementation of the host utilities: size-capped append-only log files and the
// domain-account check.
//
// The centre log holds client secrets and tokens (the token transport logs what it sends and
// receives), so logs are private: files are created 0600 in folders created 0700, and a link or
// anything else than a regular file at a log path is refused rather than written through.
#include "platform/host_utils.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <set>
#include <string>
#include <vector>

namespace {

constexpr const char* kCenterDebugLog = "/Kdbglog/.fdr_center_log/.center_debug.log";
constexpr long kCenterDebugLogMax = 10485760;

// Whatever the umask: only the host's account reads its logs. A host that wants a group to read
// them creates the log itself with the wider mode; that mode is kept, also across rotation.
constexpr mode_t kLogFileMode = 0600;
constexpr mode_t kLogFolderMode = 0700;

// Serialises size check, rotation and write, so no thread writes into a file being rotated.
// Also guards g_reported.
std::mutex g_log_mutex;

// The problems already told on stderr, one entry per file and problem: a host that logs on
// every call hears of each once per process.
std::set<std::string> g_reported;

void report_once(const std::string& file, const std::string& problem) {
    try {
        if (g_reported.insert(file + '\n' + problem).second) {
            std::fprintf(stderr, "fdr_hostutil: log %s: %s\n", file.c_str(), problem.c_str());
        }
    } catch (...) {
        // out of memory: the report is dropped
    }
}

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
            if (::mkdir(part.c_str(), kLogFolderMode) != 0 && errno != EEXIST) {
                return false;
            }
        }
    }
    struct stat st {};
    return ::stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// O_NOFOLLOW: whoever can place a link at the log path must not choose what the host appends to.
// O_NONBLOCK: a FIFO without a reader fails at once instead of holding the caller.
int open_once(const std::string& file) {
    const int flags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    int fd = ::open(file.c_str(), flags, kLogFileMode);
    if (fd < 0 && errno == ENOENT && make_parent_folders(file)) {
        fd = ::open(file.c_str(), flags, kLogFileMode);
    }
    return fd;
}

// Opens the log for appending, or returns -1 (reported on stderr once) when the path holds a
// link or something else than a regular file. `st` receives the file's status.
int open_log(const std::string& file, struct stat& st) {
    const int fd = open_once(file);
    if (fd < 0) {
        if (errno == ELOOP) {
            report_once(file, "is a symbolic link; refused, nothing written");
        } else if (errno == ENXIO) {
            report_once(file, "is not a regular file; refused, nothing written");
        }
        return -1;
    }
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        report_once(file, "is not a regular file; refused, nothing written");
        return -1;
    }
    if ((st.st_mode & 0077) != 0) {
        char mode[16];
        std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(st.st_mode & 07777));
        report_once(file, std::string("has mode ") + mode +
                              ", readable or writable by other accounts; left as it is");
    }
    return fd;
}

// The log that replaces a rotated one keeps the group and mode the host gave its predecessor.
void keep_permissions(int fd, const struct stat& previous) {
    const mode_t mode = previous.st_mode & 0777;
    if (mode == kLogFileMode && previous.st_gid == ::getegid()) {
        return;
    }
    if (::fchown(fd, static_cast<uid_t>(-1), previous.st_gid) != 0) {
        // not a member of that group: the file keeps the account's group
    }
    ::fchmod(fd, mode);
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
        struct stat st {};
        int fd = open_log(file, st);
        if (fd < 0) {
            return -1;
        }
        // An empty file takes even an oversized line: rotating it would only lose the backup.
        if (max_size > 0 && st.st_size > 0 &&
            st.st_size + static_cast<long long>(line.size()) > max_size) {
            ::close(fd);
            if (::rename(file.c_str(), (file + ".1").c_str()) != 0) {
                return -1;
            }
            struct stat fresh {};
            fd = open_log(file, fresh);
            if (fd < 0) {
                return -1;
            }
            keep_permissions(fd, st);
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
