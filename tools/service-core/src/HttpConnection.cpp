#include "HttpConnection.h"

#include <poll.h>
#include <strings.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <sstream>

namespace fdrsim {

namespace {

// The most a request's announced Content-Length reserves ahead of its bytes.
constexpr size_t kLargestReservedBody = size_t{1} << 30;

std::string Trimmed(const std::string& text) {
    const size_t first = text.find_first_not_of(" \t");
    return first == std::string::npos
               ? ""
               : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// "%41" becomes "A"; a "%" not followed by two hex digits stays as it is.
std::string PercentDecode(const std::string& text, bool plus_is_space) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (plus_is_space && text[i] == '+') {
            out += ' ';
        } else if (text[i] == '%' && i + 2 < text.size() &&
                   std::isxdigit(static_cast<unsigned char>(text[i + 1])) &&
                   std::isxdigit(static_cast<unsigned char>(text[i + 2]))) {
            out += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

const char* Reason(int status) {
    static const std::map<int, const char*> kReasons = {{200, "OK"},
                                                        {400, "Bad Request"},
                                                        {401, "Unauthorized"},
                                                        {404, "Not Found"},
                                                        {405, "Method Not Allowed"},
                                                        {500, "Internal Server Error"},
                                                        {503, "Service Unavailable"}};
    const auto it = kReasons.find(status);
    return it == kReasons.end() ? "Status" : it->second;
}

// Reads the request line and the header fields of `head` (everything before the blank line).
bool ParseHead(const std::string& head, IncomingRequest& request) {
    size_t line_end = head.find("\r\n");
    const std::string line = head.substr(0, line_end);
    const size_t first = line.find(' ');
    const size_t second = line.find(' ', first + 1);
    if (first == std::string::npos || second == std::string::npos ||
        line.compare(second + 1, 5, "HTTP/") != 0) {
        return false;
    }
    request.method = line.substr(0, first);
    request.target = line.substr(first + 1, second - first - 1);
    const size_t mark = request.target.find('?');
    request.path = PercentDecode(request.target.substr(0, mark), false);
    for (auto& [key, value] :
         ParseForm(mark == std::string::npos ? "" : request.target.substr(mark + 1))) {
        request.query.emplace(std::move(key), std::move(value));
    }
    while (line_end != std::string::npos) {
        const size_t start = line_end + 2;
        line_end = head.find("\r\n", start);
        const std::string field = head.substr(start, line_end - start);
        const size_t colon = field.find(':');
        if (colon == std::string::npos) {
            return false;
        }
        request.headers.emplace_back(field.substr(0, colon), Trimmed(field.substr(colon + 1)));
    }
    return true;
}

}  // namespace

FormFields ParseForm(const std::string& text) {
    FormFields fields;
    std::istringstream parts(text);
    for (std::string part; std::getline(parts, part, '&');) {
        const size_t eq = part.find('=');
        if (!part.empty()) {
            fields.emplace_back(
                PercentDecode(part.substr(0, eq), true),
                eq == std::string::npos ? "" : PercentDecode(part.substr(eq + 1), true));
        }
    }
    return fields;
}

WakeSignal::WakeSignal() : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

WakeSignal::~WakeSignal() {
    if (fd_ >= 0) {
        close(fd_);
    }
}

void WakeSignal::Trigger() {
    // Never read back: the descriptor stays readable for every present and later waiter.
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t n = write(fd_, &one, sizeof(one));
}

std::string AnswerHead(int status, const std::string& content_type, size_t length) {
    return "HTTP/1.1 " + std::to_string(status) + " " + Reason(status) +
           "\r\nContent-Type: " + content_type + "\r\nContent-Length: " + std::to_string(length) +
           "\r\nConnection: close\r\n\r\n";
}

HttpConnection::HttpConnection(int fd, const WakeSignal& stop) : fd_(fd), stop_(stop) {}

HttpConnection::~HttpConnection() {
    close(fd_);
}

// Waits until the socket is ready for `events` (or hung up), at most `timeout_ms` (-1: no
// limit); false when the core stopped first, `extra_fd` became readable (then `*extra` is set),
// the wait failed or the time ran out.
bool HttpConnection::WaitReady(short events, int timeout_ms, int extra_fd, bool* extra) {
    pollfd fds[] = {{fd_, events, 0}, {stop_.fd(), POLLIN, 0}, {extra_fd, POLLIN, 0}};
    while (true) {
        const int n = poll(fds, extra_fd < 0 ? 2 : 3, timeout_ms);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (extra != nullptr && extra_fd >= 0 && (fds[2].revents & POLLIN) != 0) {
            *extra = true;
            return false;
        }
        // Hang-ups and errors are left to the following read or write to report.
        return n > 0 && (fds[1].revents & POLLIN) == 0;
    }
}

bool HttpConnection::Send(const char* data, size_t size) {
    while (size > 0) {
        if (!WaitReady(POLLOUT, -1)) {
            return false;
        }
        const ssize_t n = send(fd_, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0) {
            if (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK) {
                continue;
            }
            return false;
        }
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

bool HttpConnection::ReadRequest(IncomingRequest& request) {
    // The head is gathered in `data`; once it is read, the body goes straight into
    // request.body, reserved from Content-Length, so a large body is neither regrown nor copied.
    std::string data;
    bool head_read = false;
    size_t length = 0;
    char buffer[16384];
    while (!head_read || request.body.size() < length) {
        if (!WaitReady(POLLIN, -1)) {
            return false;
        }
        const ssize_t n = recv(fd_, buffer, sizeof(buffer), MSG_DONTWAIT);
        if (n < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK)) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        if (head_read) {
            request.body.append(buffer, static_cast<size_t>(n));
            continue;
        }
        data.append(buffer, static_cast<size_t>(n));
        const size_t end = data.find("\r\n\r\n");
        if (end == std::string::npos) {
            continue;
        }
        head_read = true;
        if (!ParseHead(data.substr(0, end), request)) {
            request.unreadable = "not an HTTP request";
            return true;
        }
        for (const auto& [name, value] : request.headers) {
            const auto is = [](const std::string& text, const char* lower) {
                return strcasecmp(text.c_str(), lower) == 0;
            };
            if (is(name, "content-length")) {
                length = std::strtoul(value.c_str(), nullptr, 10);
            } else if (is(name, "transfer-encoding") && !is(value, "identity")) {
                request.unreadable = "a chunked body, which is not read";
                return true;
            } else if (is(name, "expect") && is(value, "100-continue") &&
                       !Send("HTTP/1.1 100 Continue\r\n\r\n")) {
                return false;
            }
        }
        // Bounded, so that an absurd announced length costs nothing before its bytes arrive.
        request.body.reserve(std::min(length, kLargestReservedBody));
        request.body.assign(data, end + 4, std::string::npos);
    }
    request.body.resize(length);
    return true;
}

bool HttpConnection::Pause(std::chrono::milliseconds time) {
    pollfd wake = {stop_.fd(), POLLIN, 0};
    const auto deadline = std::chrono::steady_clock::now() + time;
    while (true) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            return true;
        }
        const int n = poll(&wake, 1, static_cast<int>(left.count()));
        if (n > 0) {
            return false;
        }
    }
}

bool HttpConnection::Hold(const WakeSignal& release) {
    bool released = false;
    DrainUntilClosed(-1, release.fd(), &released);
    return released;
}

// Reads and drops whatever the client sends until it closes the connection, the core stops,
// `extra_fd` is set or `timeout_ms` passed (-1: no limit). True when the client closed it.
bool HttpConnection::DrainUntilClosed(int timeout_ms, int extra_fd, bool* extra) {
    char buffer[4096];
    while (WaitReady(POLLIN, timeout_ms, extra_fd, extra)) {
        const ssize_t n = recv(fd_, buffer, sizeof(buffer), MSG_DONTWAIT);
        if (n == 0) {
            return true;
        }
        if (n < 0 && errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK) {
            return false;
        }
    }
    return false;
}

void HttpConnection::Finish() {
    switch (ending_) {
        case Ending::kAfterClient:
            break;
        case Ending::kClose:
            shutdown(fd_, SHUT_WR);
            break;
        case Ending::kReset: {
            // The bytes sent go ahead of the reset on loopback, so the client reads them first.
            const linger abort{1, 0};
            setsockopt(fd_, SOL_SOCKET, SO_LINGER, &abort, sizeof(abort));
            return;
        }
    }
    DrainUntilClosed(5000);
}

}  // namespace fdrsim
