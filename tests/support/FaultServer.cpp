#include "support/FaultServer.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>

#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/LocalServiceCall.h"
#include "json/CFdrUtilParser.h"
#include "platform/kfen_client.h"

namespace fdrtest {

namespace {

std::string Header(int status, const char* reason, size_t length) {
    return "HTTP/1.1 " + std::to_string(status) + " " + reason +
           "\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(length) +
           "\r\nConnection: close\r\n\r\n";
}

const char* Reason(int status) {
    switch (status) {
        case 200:
            return "OK";
        case 404:
            return "Not Found";
        case 500:
            return "Internal Server Error";
        default:
            return "Status";
    }
}

// Waits until `fd` is ready for `events` (or hung up), at most `timeout_ms` (-1: no limit);
// false when the server stopped first, the wait failed or the time ran out.
bool WaitReady(int fd, short events, int wake_fd, int timeout_ms = -1) {
    pollfd fds[] = {{fd, events, 0}, {wake_fd, POLLIN, 0}};
    while (true) {
        const int n = poll(fds, 2, timeout_ms);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        // Hang-ups and errors are left to the following read or write to report.
        return n > 0 && (fds[1].revents & POLLIN) == 0;
    }
}

bool SendAll(int fd, const char* data, size_t size, int wake_fd) {
    while (size > 0) {
        if (!WaitReady(fd, POLLOUT, wake_fd)) {
            return false;
        }
        const ssize_t n = send(fd, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
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

// Reads one request (headers and the body its Content-Length announces), answering an
// "Expect: 100-continue". False when the client went away or the server stopped first.
bool ReadRequest(int fd, int wake_fd) {
    std::string data;
    size_t body_start = std::string::npos;
    size_t length = 0;
    char buffer[16384];
    while (body_start == std::string::npos || data.size() < body_start + length) {
        if (!WaitReady(fd, POLLIN, wake_fd)) {
            return false;
        }
        const ssize_t n = recv(fd, buffer, sizeof(buffer), MSG_DONTWAIT);
        if (n < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK)) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        data.append(buffer, static_cast<size_t>(n));
        if (body_start != std::string::npos) {
            continue;
        }
        const size_t end = data.find("\r\n\r\n");
        if (end == std::string::npos) {
            continue;
        }
        body_start = end + 4;
        std::string headers = data.substr(0, end);
        std::transform(headers.begin(), headers.end(), headers.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        const size_t at = headers.find("\r\ncontent-length:");
        if (at != std::string::npos) {
            length = std::strtoul(headers.c_str() + at + 17, nullptr, 10);
        }
        if (headers.find("\r\nexpect: 100-continue") != std::string::npos) {
            static const char kContinue[] = "HTTP/1.1 100 Continue\r\n\r\n";
            if (!SendAll(fd, kContinue, sizeof(kContinue) - 1, wake_fd)) {
                return false;
            }
        }
    }
    return true;
}

// Reads and drops whatever the client sends until it closes the connection, the server stops
// or `timeout_ms` passed (-1: no limit). True when the client closed it.
bool DrainUntilClosed(int fd, int wake_fd, int timeout_ms) {
    char buffer[4096];
    while (WaitReady(fd, POLLIN, wake_fd, timeout_ms)) {
        const ssize_t n = recv(fd, buffer, sizeof(buffer), MSG_DONTWAIT);
        if (n == 0) {
            return true;
        }
        if (n < 0 && errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK) {
            return false;
        }
    }
    return false;
}

}  // namespace

FaultAnswer FaultAnswer::Refuse() {
    return FaultAnswer();
}

FaultAnswer FaultAnswer::Stall() {
    FaultAnswer answer;
    answer.kind_ = Kind::kStall;
    return answer;
}

FaultAnswer FaultAnswer::Status(int status, const std::string& body) {
    FaultAnswer answer;
    answer.kind_ = Kind::kRaw;
    answer.bytes_ = Header(status, Reason(status), body.size()) + body;
    return answer;
}

FaultAnswer FaultAnswer::CloseEarly(const std::string& body, size_t sent) {
    FaultAnswer answer;
    answer.kind_ = Kind::kRaw;
    answer.ending_ = Ending::kClose;
    answer.bytes_ = Header(200, "OK", body.size()) + body.substr(0, sent);
    return answer;
}

FaultAnswer FaultAnswer::ResetEarly(const std::string& body, size_t sent) {
    FaultAnswer answer = CloseEarly(body, sent);
    answer.ending_ = Ending::kReset;
    return answer;
}

FaultAnswer FaultAnswer::InvalidHttp() {
    FaultAnswer answer;
    answer.kind_ = Kind::kRaw;
    answer.bytes_ = "GARBAGE/9 what is this\r\nno: headers\r\n\r\n{\"err_code\":0}";
    return answer;
}

FaultAnswer FaultAnswer::Huge(const std::string& head, size_t total, char filler,
                              const std::string& tail) {
    FaultAnswer answer;
    answer.kind_ = Kind::kHuge;
    answer.bytes_ = Header(200, "OK", total);
    answer.head_ = head;
    answer.tail_ = tail;
    answer.total_ = total;
    answer.filler_ = filler;
    return answer;
}

std::string NestedJson(const std::string& object, int depth) {
    const size_t close = object.rfind('}');
    const size_t open = object.find('{');
    if (close == std::string::npos || open == std::string::npos || depth < 2) {
        return object;
    }
    const bool empty = object.find_first_not_of(" \t\r\n", open + 1) == close;
    const auto arrays = static_cast<size_t>(depth - 1);
    return object.substr(0, close) + (empty ? "" : ",") + "\"deep\":" + std::string(arrays, '[') +
           std::string(arrays, ']') + object.substr(close);
}

struct FaultServer::Connection {
    std::thread thread;
    std::atomic<bool> done{false};
};

FaultServer::FaultServer(int port, FaultAnswer answer) : port_(port), answer_(std::move(answer)) {
    wake_fd_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wake_fd_ < 0) {
        ADD_FAILURE() << "eventfd: " << std::strerror(errno);
        return;
    }
    if (answer_.kind() == FaultAnswer::Kind::kRefuse) {
        started_ = true;
        return;
    }
    listen_fd_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int yes = 1;
    setsockopt(listen_fd_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    inet_pton(AF_INET, "127.0.0.1", &address.sin_addr);
    if (listen_fd_ < 0 ||
        bind(listen_fd_, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(listen_fd_, 128) != 0) {
        ADD_FAILURE() << "cannot listen on 127.0.0.1:" << port << ": " << std::strerror(errno)
                      << " (is another test or a simulator running?)";
        Stop();
        return;
    }
    acceptor_ = std::thread([this] { AcceptLoop(); });
    started_ = true;
}

FaultServer::~FaultServer() {
    Stop();
    if (wake_fd_ >= 0) {
        close(wake_fd_);
    }
}

void FaultServer::Stop() {
    if (wake_fd_ >= 0) {
        const uint64_t one = 1;
        [[maybe_unused]] const ssize_t n = write(wake_fd_, &one, sizeof(one));
    }
    if (acceptor_.joinable()) {
        acceptor_.join();
    }
    Reap(true);
    if (listen_fd_ >= 0) {
        close(listen_fd_);
        listen_fd_ = -1;
    }
}

void FaultServer::AcceptLoop() {
    while (WaitReady(listen_fd_, POLLIN, wake_fd_)) {
        const int fd = accept4(listen_fd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) {
            continue;
        }
        Reap(false);
        ++open_;
        auto connection = std::make_unique<Connection>();
        Connection* raw = connection.get();
        connection->thread = std::thread([this, fd, raw] {
            Serve(fd);
            close(fd);
            --open_;
            raw->done = true;
            Changed();
        });
        connections_.push_back(std::move(connection));
    }
}

void FaultServer::Reap(bool all) {
    for (auto it = connections_.begin(); it != connections_.end();) {
        if (all || (*it)->done) {
            (*it)->thread.join();
            it = connections_.erase(it);
        } else {
            ++it;
        }
    }
}

void FaultServer::Changed() {
    { std::lock_guard<std::mutex> lock(mutex_); }
    changed_.notify_all();
}

void FaultServer::Serve(int fd) {
    if (!ReadRequest(fd, wake_fd_)) {
        return;
    }
    ++requests_;
    Changed();
    switch (answer_.kind()) {
        case FaultAnswer::Kind::kRefuse:
            return;
        case FaultAnswer::Kind::kStall:
            DrainUntilClosed(fd, wake_fd_, -1);
            return;
        case FaultAnswer::Kind::kRaw:
            SendAll(fd, answer_.bytes_.data(), answer_.bytes_.size(), wake_fd_);
            break;
        case FaultAnswer::Kind::kHuge: {
            if (!SendAll(fd, answer_.bytes_.data(), answer_.bytes_.size(), wake_fd_) ||
                !SendAll(fd, answer_.head_.data(), answer_.head_.size(), wake_fd_)) {
                return;
            }
            const std::string chunk(1 << 16, answer_.filler_);
            size_t left = answer_.total_ - answer_.head_.size() - answer_.tail_.size();
            while (left > 0) {
                const size_t n = std::min(left, chunk.size());
                if (!SendAll(fd, chunk.data(), n, wake_fd_)) {
                    return;
                }
                left -= n;
            }
            SendAll(fd, answer_.tail_.data(), answer_.tail_.size(), wake_fd_);
            break;
        }
    }
    switch (answer_.ending_) {
        case FaultAnswer::Ending::kAfterClient:
            break;
        case FaultAnswer::Ending::kClose:
            shutdown(fd, SHUT_WR);
            break;
        case FaultAnswer::Ending::kReset: {
            // The bytes sent go ahead of the reset on loopback, so the client reads them first.
            const linger abort{1, 0};
            setsockopt(fd, SOL_SOCKET, SO_LINGER, &abort, sizeof(abort));
            return;
        }
    }
    DrainUntilClosed(fd, wake_fd_, 5000);
}

bool FaultServer::WaitForRequests(size_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return requests_ >= count; });
}

bool FaultServer::WaitUntilIdle(std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, timeout, [&] { return open_ == 0; });
}

// ---- The reading operations ----

void PrintTo(const Outcome& outcome, std::ostream* os) {
    *os << "{" << outcome.result << ", \""
        << (outcome.output.size() > 200 ? outcome.output.substr(0, 200) + "...(" +
                                              std::to_string(outcome.output.size()) + " bytes)"
                                        : outcome.output)
        << "\"}";
}

namespace {

// The runs of the reading operations: a fresh object each, outputs started as "old".

std::string Joined(const std::vector<std::string>& parts) {
    std::string text;
    for (const auto& part : parts) {
        text += (text.empty() ? "" : ",") + part;
    }
    return text;
}

Outcome LoadSetting() {
    CFederateUtil util;
    std::string guid = "old";
    const int r = util.LoadFdrFederateSetting(guid);
    return {r, guid};
}

Outcome LoadMembers() {
    CFederateUtil util;
    DravoAgentData::AutonomyList list;
    list.autonomy_list = {std::make_shared<DravoAgentData::AutonomyList::AutonomyListObj>()};
    list.autonomy_list[0]->autonomy_lid = "old";
    const int r = util.LoadFdrAutonomyListSetting(list);
    std::vector<std::string> lids;
    for (const auto& record : list.autonomy_list) {
        lids.push_back(record->autonomy_lid);
    }
    return {r, Joined(lids)};
}

Outcome LoadChannels() {
    CFederateUtil util;
    ChannelObjList channels = {std::make_shared<DravoAgentData::ChannelInformation::ChannelObj>()};
    channels[0]->channel_guid = "old";
    const int r = util.LoadFdrChannelSetting("1", channels);
    std::vector<std::string> guids;
    for (const auto& channel : channels) {
        guids.push_back(channel->channel_guid);
    }
    return {r, Joined(guids)};
}

Outcome SaveChannels() {
    CFederateUtil util;
    DravoAgentData::AutonomyList servers;
    ChannelObjList channels;
    return {util.SaveFdrAllChannelsSetting(servers, channels), "old"};
}

Outcome ReportPrivileges() {
    CFederateUtil util;
    std::string user = "alice";
    std::string second;
    std::string result = "old";
    const int r = util.GetFdrPrivilegeByUser(user, second, result);
    return {r, result};
}

Outcome ReadPrivilegeTime() {
    CFederateUtil util;
    std::string timestamp = "old";
    const int r = util.GetFdrPrivilegeTime(timestamp);
    return {r, timestamp};
}

// The access token and the stored refresh token.
Outcome Token(bool refresh) {
    CFederateUtil util;
    std::string id = "recorder";
    std::string secret = "s3cret";
    std::string access = "old";
    const int r =
        refresh ? util.AuthRefreshToken(id, secret, access) : util.AuthGetToken(id, secret, access);
    return {r, access + "|" + util.StoredRefreshTokenForTesting()};
}

}  // namespace

std::vector<Reader> Readers() {
    using P = CFdrUtilParser;
    const std::chrono::seconds request(fdr::kRequestTimeoutSeconds);
    const std::chrono::seconds report(fdr::kPrivilegeReportTimeoutSeconds);
    const std::chrono::seconds transfer(30);  // the token connection's fixed transfer time-out
    const auto code = [](unsigned int c) { return static_cast<int>(c); };
    const std::string tokens = R"({"access_token":"AT","refresh_token":"RT"})";
    const std::string privileges = R"({"report_type":0,"access_type":0,"privilege_list":[]})";
    const std::string channels =
        R"({"channel_list":[{"guid":"g1","name":"n","data":"{\"channel_guid\":\"g1\"}"}]})";
    // Columns: name, port, time-out, an answer read well, run, returns its code, goes through
    // the local client, outcome of the good answer, outcome of an answer that is not JSON.
    // clang-format off
    return {
        {"LoadFdrFederateSetting", 10240, request,
         R"({"serviceInfo":{"GUID":"fed-1"},"err_code":0})", LoadSetting,
         true, true, {0, "fed-1"}, {code(P::kSettingNotJson), "old"}},
        {"LoadFdrAutonomyListSetting", 10240, request,
         R"({"autonomy_list":[{"autonomy_lid":"a"},{"autonomy_lid":"b"}]})", LoadMembers,
         true, true, {0, "a,b"}, {code(P::kAnswerNotJson), "old"}},
        {"LoadFdrChannelSetting", 10241, request, channels, LoadChannels,
         true, true, {0, "old,g1"}, {code(P::kChannelListError), "old"}},
        {"SaveFdrAllChannelsSetting", 10240, request,
         R"({"autonomy_list":[],"err_code":0})", SaveChannels,
         true, true, {0, "old"}, {code(P::kAnswerNotJson), "old"}},
        // The answer is handed over unread, whatever it is.
        {"GetFdrPrivilegeByUser", 10240, report, privileges, ReportPrivileges,
         false, true, {0, privileges}, {0, "(the answer)"}, true},
        // An answer that is not JSON still replaces the timestamp, with the empty text.
        {"GetFdrPrivilegeTime", 10241, request,
         R"({"err_code":0,"config":"1715679000"})", ReadPrivilegeTime,
         false, true, {0, "1715679000"}, {0, ""}},
        {"AuthGetToken", 10229, transfer, tokens, [] { return Token(false); },
         false, false, {0, "AT|RT"}, {0, "old|"}, false, "old|"},
        {"AuthRefreshToken", 10229, transfer, tokens, [] { return Token(true); },
         false, false, {0, "AT|RT"}, {0, "old|"}, false, "old|"},
    };
    // clang-format on
}

Call RunOnce(const Reader& reader) {
    *__kfen_errno() = -1;
    const auto start = std::chrono::steady_clock::now();
    Outcome outcome = reader.run();
    const auto waited = std::chrono::steady_clock::now() - start;
    return {std::move(outcome), reader.uses_client ? *__kfen_errno() : kNoDetail, waited};
}

QuietStdout::QuietStdout() {
    testing::internal::CaptureStdout();
}

QuietStdout::~QuietStdout() {
    testing::internal::GetCapturedStdout();
}

}  // namespace fdrtest
