// The library's own libcurl connection: one easy handle and one TCP socket owned by the object.
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <optional>

#include "federateutil/RestConnectInfo.h"
#include "log/CenterLog.h"
#include "rest/ConnectMode.h"

std::atomic<unsigned int> CRestConnectInfo::m_CGICount{0};

namespace {

// The object owns its socket so that AbortConnection can end a running request from another
// thread by shutting the socket down. The plain way is to connect it itself and tell libcurl it
// is already connected (CURL_SOCKOPT_ALREADY_CONNECTED); libcurl 8.0.0 and later honour that.
// libcurl 7.88.0 and 7.88.1 (Debian 12's) call connect() on such a socket again and fail every
// transfer with CURLE_COULDNT_CONNECT. On those two releases libcurl is handed the object's own,
// still unconnected socket and connects it itself, to the object's stored address. Callers see
// the same in both modes: the request travels on the object's socket, an aborted object does not
// connect, the whole request stays within its 30-second limit, and a connection that is refused
// or never completes gives -3 with nothing sent, no request counted and no request logged.
using fdr::rest::ConnectMode;

std::once_flag g_curl_ready;
ConnectMode g_connect_mode = ConnectMode::kObjectConnects;
thread_local std::optional<ConnectMode> t_pinned_connect_mode;

void PrepareLibcurl() {
    std::call_once(g_curl_ready, [] {
        curl_global_init(CURL_GLOBAL_ALL);
        // curl_version_info rewrites static data on every call: read it once, here.
        const curl_version_info_data* info = curl_version_info(CURLVERSION_NOW);
        const unsigned int version = info != nullptr ? info->version_num : 0;
        if (version >= 0x075800 && version < 0x080000) {
            g_connect_mode = ConnectMode::kLibcurlConnects;
        }
    });
}

ConnectMode ModeInForce() {
    PrepareLibcurl();
    return t_pinned_connect_mode.value_or(g_connect_mode);
}

bool LibcurlConnects() {
    return ModeInForce() == ConnectMode::kLibcurlConnects;
}

constexpr long kTransferTimeoutSeconds = 30;
// How often a connect in progress looks at the abort flag when nothing else wakes it.
constexpr int kAbortCheckMilliseconds = 50;

using Clock = std::chrono::steady_clock;
constexpr char kNoPostFields[] = "";

// What libcurl's callbacks need to know about the one request in flight.
struct RequestTrace {
    CRestConnectInfo* connection;
    int socket;               // the object's descriptor, -1 when it has none
    const addrinfo* address;  // where libcurl is to connect it (libcurl-connects mode)
    unsigned int port;
    const char* method;
    const std::string* url;
    const std::string* body;  // null for a GET
    bool socket_handed_out;
    bool sent;
};

// Counts and logs a request once its socket is connected and before a byte of it is sent.
void NoteRequestSent(RequestTrace& trace) {
    trace.sent = true;
    ++CRestConnectInfo::m_CGICount;
    if (trace.body != nullptr) {
        FDR_CENTER_LOG("[SEND] port=%u [%s]\r %s %s", trace.port, trace.method, trace.url->c_str(),
                       trace.body->c_str());
    } else {
        FDR_CENTER_LOG("[SEND] port=%u [%s]\r %s", trace.port, trace.method, trace.url->c_str());
    }
}

// libcurl-connects mode: the object's socket, pointed at the stored address, handed out once.
curl_socket_t OpenOwnSocketUnconnected(void* clientp, curlsocktype purpose,
                                       curl_sockaddr* address) {
    auto* trace = static_cast<RequestTrace*>(clientp);
    if (trace == nullptr || purpose != CURLSOCKTYPE_IPCXN || trace->socket < 0 ||
        trace->socket_handed_out || trace->connection->IsAbort()) {
        return CURL_SOCKET_BAD;
    }
    if (trace->address != nullptr && trace->address->ai_addr != nullptr &&
        trace->address->ai_addrlen <= sizeof(address->addr)) {
        std::memcpy(&address->addr, trace->address->ai_addr, trace->address->ai_addrlen);
        address->addrlen = static_cast<unsigned int>(trace->address->ai_addrlen);
        address->family = trace->address->ai_family;
    }
    trace->socket_handed_out = true;
    return trace->socket;
}

int LeaveSocketToLibcurl(void*, curl_socket_t, curlsocktype) {
    return CURL_SOCKOPT_OK;
}

int NoteConnected(void* clientp, char*, char*, int, int) {
    auto* trace = static_cast<RequestTrace*>(clientp);
    if (trace == nullptr || trace->connection->IsAbort()) {
        return CURL_PREREQFUNC_ABORT;
    }
    NoteRequestSent(*trace);
    return CURL_PREREQFUNC_OK;
}

// libcurl never closes the object's descriptor: the destructor does, once.
int KeepOwnSocket(void* clientp, curl_socket_t item) {
    const int* own = static_cast<const int*>(clientp);
    if (own != nullptr && item == *own) {
        return 0;
    }
    return close(item);
}

// Ends a transfer once the object is aborted: at its next progress check when it is connecting
// or between reads, at once when the abort's shutdown wakes a blocked read. libcurl then reports
// the abort as a time-out.
int StopWhenAborted(void* clientp, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    auto* connection = static_cast<CRestConnectInfo*>(clientp);
    return connection != nullptr && connection->IsAbort() ? 1 : 0;
}

// The request's URL: the base URL, the path, and "?" with the query when there is one.
std::string RequestUrl(const std::string& base, const std::string& path, const std::string& query) {
    std::string url = base + path;
    if (!query.empty()) {
        url += "?" + query;
    }
    return url;
}

// Basic authentication only when the caller gives credentials.
void SetBasicAuthentication(CURL* curl, const std::string& userpwd) {
    if (!userpwd.empty()) {
        curl_easy_setopt(curl, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
        curl_easy_setopt(curl, CURLOPT_USERPWD, userpwd.c_str());
    }
}

void InstallCallbacks(CURL* curl, CRestConnectInfo* connection, int* socket) {
    if (LibcurlConnects()) {
        // The request trace is attached per request (AttachTrace).
        curl_easy_setopt(curl, CURLOPT_OPENSOCKETFUNCTION, OpenOwnSocketUnconnected);
        curl_easy_setopt(curl, CURLOPT_OPENSOCKETDATA, nullptr);
        curl_easy_setopt(curl, CURLOPT_SOCKOPTFUNCTION, LeaveSocketToLibcurl);
        curl_easy_setopt(curl, CURLOPT_PREREQFUNCTION, NoteConnected);
        curl_easy_setopt(curl, CURLOPT_PREREQDATA, nullptr);
    } else {
        curl_easy_setopt(curl, CURLOPT_OPENSOCKETFUNCTION,
                         CRestConnectInfo::CURLRestOpenSocketCallback2);
        curl_easy_setopt(curl, CURLOPT_OPENSOCKETDATA, socket);
        curl_easy_setopt(curl, CURLOPT_SOCKOPTFUNCTION,
                         CRestConnectInfo::CURLRestSocketOptCallback2);
    }
    curl_easy_setopt(curl, CURLOPT_CLOSESOCKETFUNCTION, KeepOwnSocket);
    curl_easy_setopt(curl, CURLOPT_CLOSESOCKETDATA, socket);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, CRestConnectInfo::CURLRestWriteCallback2);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, connection);
    curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, StopWhenAborted);
    curl_easy_setopt(curl, CURLOPT_XFERINFODATA, connection);
    curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
    // The next request reconnects the same socket, so libcurl must not keep the connection.
    curl_easy_setopt(curl, CURLOPT_FORBID_REUSE, 1L);
}

void AttachTrace(CURL* curl, RequestTrace* trace) {
    if (LibcurlConnects()) {
        curl_easy_setopt(curl, CURLOPT_OPENSOCKETDATA, trace);
        curl_easy_setopt(curl, CURLOPT_PREREQDATA, trace);
    }
}

int NewSocket(const addrinfo* address) {
    return socket(address != nullptr ? address->ai_family : AF_INET, SOCK_STREAM, 0);
}

void CloseSocket(int*& socket_fd) {
    if (socket_fd == nullptr) {
        return;
    }
    if (*socket_fd >= 0) {
        shutdown(*socket_fd, SHUT_RDWR);
        close(*socket_fd);
    }
    delete socket_fd;
    socket_fd = nullptr;
}

// Connects `fd` to `address` by `deadline` unless `connection` is aborted first: a non-blocking
// connect and a poll that looks at the flag between short waits. The socket's blocking mode is
// restored.
bool ConnectBy(int fd, const addrinfo* address, Clock::time_point deadline,
               CRestConnectInfo& connection) {
    const int flags = fcntl(fd, F_GETFL);
    if (flags < 0 || fcntl(fd, F_SETFL, flags | O_NONBLOCK) < 0) {
        return false;
    }
    bool connected = connect(fd, address->ai_addr, address->ai_addrlen) == 0;
    // An interrupted connect goes on in the background, like one in progress.
    bool waiting = !connected && (errno == EINPROGRESS || errno == EINTR);
    while (waiting && !connection.IsAbort()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
        if (left <= 0) {
            break;
        }
        pollfd pending{fd, POLLOUT, 0};
        const int ready =
            poll(&pending, 1, static_cast<int>(std::min<long long>(left, kAbortCheckMilliseconds)));
        if (ready < 0 && errno != EINTR) {
            break;
        }
        if (ready > 0) {
            int error = 0;
            socklen_t length = sizeof(error);
            connected = getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) == 0 && error == 0;
            waiting = false;
        }
    }
    fcntl(fd, F_SETFL, flags);
    // An abort that shut the socket down while it was connecting may let poll report it.
    return connected && !connection.IsAbort();
}

// True once libcurl completed the TCP connect of the last transfer (its connect time is set
// then, to at least one microsecond).
bool LibcurlConnected(CURL* curl) {
    curl_off_t connect_time = 0;
    return curl_easy_getinfo(curl, CURLINFO_CONNECT_TIME_T, &connect_time) == CURLE_OK &&
           connect_time > 0;
}

// Readies the object's socket for a request, or connects it for ConnectSocket: false when the
// object is aborted or the connect fails or runs past `deadline`. Left unconnected when libcurl
// is to connect it. With no address or socket there is nothing to do.
bool ConnectOwnSocket(CRestConnectInfo& connection, int fd, const addrinfo* address,
                      Clock::time_point deadline, bool leave_to_libcurl) {
    if (connection.IsAbort()) {
        return false;
    }
    if (address == nullptr || fd < 0) {
        return true;
    }
    // The socket may still hold the previous request's connection, or one shut down by an
    // abort: dissolving it lets the same socket connect again.
    sockaddr unspecified{};
    unspecified.sa_family = AF_UNSPEC;
    connect(fd, &unspecified, sizeof(unspecified));
    return leave_to_libcurl || ConnectBy(fd, address, deadline, connection);
}

// The transfer gets what is left of the request's limit after the connect.
void LimitTransfer(CURL* curl, Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, static_cast<long>(std::max<long long>(left, 1)));
}

// Runs the transfer on a socket that ConnectOwnSocket let through. False when the socket never
// connected, so that nothing was sent.
bool Perform(CURL* curl, RequestTrace& trace, CURLcode& rc, long& code) {
    if (!LibcurlConnects()) {
        NoteRequestSent(trace);
    }
    AttachTrace(curl, &trace);
    rc = curl_easy_perform(curl);
    AttachTrace(curl, nullptr);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &code);
    if (trace.sent) {
        return true;
    }
    // libcurl connected the socket itself, or failed to: refused, timed out or aborted while
    // connecting. A connect that never completed sent nothing.
    if (!LibcurlConnected(curl)) {
        return false;
    }
    // Connected, but ended before the request went out (a failed TLS handshake, an abort):
    // counted and logged as a connected request is when the object connects it.
    NoteRequestSent(trace);
    return true;
}

// Connects (or readies) the object's socket and runs the transfer, both within the request's
// one limit. False when the socket never connected, so that nothing was sent.
bool ConnectAndPerform(CURL* curl, RequestTrace& trace, CURLcode& rc, long& code) {
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(kTransferTimeoutSeconds);
    if (!ConnectOwnSocket(*trace.connection, trace.socket, trace.address, deadline,
                          LibcurlConnects())) {
        return false;
    }
    LimitTransfer(curl, deadline);
    return Perform(curl, trace, rc, code);
}

bool EndedAsTimeout(CURLcode rc) {
    return rc == CURLE_OPERATION_TIMEDOUT || rc == CURLE_ABORTED_BY_CALLBACK;
}

bool IsRedirect(long code) {
    return code >= 300 && code <= 399;
}

int PostResult(CURLcode rc, long code) {
    if (code == 404) {
        return RestResult::kNotFound;
    }
    if (rc == CURLE_OK) {
        return code == 200 ? 0 : RestResult::kRequestFailed;
    }
    return EndedAsTimeout(rc) ? RestResult::kTimedOut : RestResult::kRequestFailed;
}

int GetResult(CURLcode rc, long code, const std::string& url, const char* error_text) {
    if (rc == CURLE_OK) {
        if (code == 200) {
            return 0;
        }
        if (code == 404) {
            return RestResult::kNotFound;
        }
        FDR_CENTER_LOG("[CURL] http_code=%ld %s", code, url.c_str());
        return IsRedirect(code) ? RestResult::kRedirected : RestResult::kRequestFailed;
    }
    const bool timed_out = EndedAsTimeout(rc);
    if (!timed_out) {
        if (error_text[0] != '\0') {
            FDR_CENTER_LOG("[CURL] code=%d %s (%s) %s", static_cast<int>(rc),
                           curl_easy_strerror(rc), error_text, url.c_str());
        } else {
            FDR_CENTER_LOG("[CURL] code=%d %s %s", static_cast<int>(rc), curl_easy_strerror(rc),
                           url.c_str());
        }
    }
    if (IsRedirect(code)) {
        return RestResult::kRedirected;
    }
    if (code == 404) {
        return RestResult::kNotFound;
    }
    return timed_out ? RestResult::kTimedOut : RestResult::kRequestFailed;
}

}  // namespace

namespace fdr {
namespace rest {

ConnectMode CurrentConnectMode() {
    return ModeInForce();
}

void PinConnectModeForTesting(std::optional<ConnectMode> mode) {
    t_pinned_connect_mode = mode;
}

}  // namespace rest
}  // namespace fdr

CRestConnectInfo::CRestConnectInfo() = default;

CRestConnectInfo::~CRestConnectInfo() {
    // The handle goes first: cleaning it up may still call the close-socket callback, which
    // reads the socket.
    if (m_pCurl != nullptr) {
        curl_easy_cleanup(m_pCurl);
        m_pCurl = nullptr;
    }
    CloseSocket(m_pSocket);
}

int CRestConnectInfo::SetConnectionParam(const char* user, const char* password, const char* host,
                                         bool secure, unsigned port, unsigned timing1,
                                         unsigned timing2, addrinfo* address) {
    if (user == nullptr || password == nullptr || host == nullptr || address == nullptr) {
        return RestResult::kInvalidArgument;
    }
    m_uPort = port;
    m_uTiming1 = timing1;
    m_uTiming2 = timing2;
    m_bSecure = secure;
    m_strUserName = user;
    m_strPassword = password;
    m_pAddrInfo = address;
    m_strBaseUrl = std::string(secure ? "https://" : "http://") + host + ":" + std::to_string(port);

    PrepareLibcurl();
    if (m_pCurl != nullptr) {
        curl_easy_cleanup(m_pCurl);
    }
    m_pCurl = curl_easy_init();
    if (m_pCurl == nullptr) {
        return RestResult::kNoCurlHandle;
    }
    CloseSocket(m_pSocket);
    const int fd = NewSocket(address);
    if (fd < 0) {
        std::printf("Error creating listening socket.\n");
        std::fflush(stdout);
        return RestResult::kNoSocket;
    }
    m_pSocket = new int(fd);

    InstallCallbacks(m_pCurl, this, m_pSocket);
    curl_easy_setopt(m_pCurl, CURLOPT_USERNAME, m_strUserName.c_str());
    curl_easy_setopt(m_pCurl, CURLOPT_PASSWORD, m_strPassword.c_str());
    // Fixed; the two timing values are only stored.
    curl_easy_setopt(m_pCurl, CURLOPT_TIMEOUT, kTransferTimeoutSeconds);
    curl_easy_setopt(m_pCurl, CURLOPT_NOSIGNAL, 1L);
    if (secure) {
        // The services are local: the peer is deliberately not verified.
        curl_easy_setopt(m_pCurl, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
        curl_easy_setopt(m_pCurl, CURLOPT_SSL_VERIFYPEER, 0L);
        curl_easy_setopt(m_pCurl, CURLOPT_SSL_VERIFYHOST, 0L);
    }
    return 0;
}

void CRestConnectInfo::SetPortInfo(unsigned port) {
    m_uPort = port;
    // The base URL ends in ":<port>", and a port holds no colon.
    const size_t colon = m_strBaseUrl.rfind(':');
    const size_t scheme_end = m_strBaseUrl.find("://");
    if (colon == std::string::npos || scheme_end == std::string::npos || colon <= scheme_end) {
        return;
    }
    m_strBaseUrl = m_strBaseUrl.substr(0, colon + 1) + std::to_string(port);
}

bool CRestConnectInfo::ConnectSocket() {
    const Clock::time_point deadline = Clock::now() + std::chrono::seconds(kTransferTimeoutSeconds);
    return ConnectOwnSocket(*this, m_pSocket != nullptr ? *m_pSocket : -1, m_pAddrInfo, deadline,
                            false);
}

bool CRestConnectInfo::IsAbort() {
    return m_bAbort;
}

int CRestConnectInfo::AbortConnection(bool abort) {
    if (!abort) {
        m_bAbort = false;
        return 1;
    }
    m_bAbort.exchange(true);
    if (m_pSocket != nullptr && *m_pSocket >= 0) {
        shutdown(*m_pSocket, SHUT_RDWR);
    }
    // The curl handle is left alone: it belongs to the thread running the transfer, and a 1 ms
    // time-out set on it from here would also outlive AbortConnection(false). A transfer not
    // blocked on the socket is ended by the progress callback instead, reported as a time-out.
    return 1;
}

void CRestConnectInfo::WriteHTTPData(const char* data, size_t length) {
    m_strResponse.append(data, length);
}

int CRestConnectInfo::DoRequestGetText(const std::string& path, const std::string& header,
                                       const std::string& query, const std::string& userpwd,
                                       const std::string& useragent, std::string& response) {
    m_strResponse.clear();
    const std::string url = RequestUrl(m_strBaseUrl, path, query);
    curl_slist* headers = curl_slist_append(nullptr, header.c_str());
    if (headers == nullptr) {
        return RestResult::kNoHeaderList;
    }
    if (m_pCurl == nullptr) {
        // Never set up: nothing can be sent.
        curl_slist_free_all(headers);
        return RestResult::kRequestFailed;
    }
    char error_text[CURL_ERROR_SIZE] = {};
    curl_easy_setopt(m_pCurl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(m_pCurl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(m_pCurl, CURLOPT_HTTPGET, 1L);
    curl_easy_setopt(m_pCurl, CURLOPT_ERRORBUFFER, error_text);
    SetBasicAuthentication(m_pCurl, userpwd);
    if (!useragent.empty()) {
        curl_easy_setopt(m_pCurl, CURLOPT_USERAGENT, useragent.c_str());
    }

    RequestTrace trace{this,        m_pSocket != nullptr ? *m_pSocket : -1,
                       m_pAddrInfo, m_uPort,
                       "GET",       &url,
                       nullptr,     false,
                       false};
    CURLcode rc = CURLE_COULDNT_CONNECT;
    long code = 0;
    const bool connected = ConnectAndPerform(m_pCurl, trace, rc, code);
    // Nothing on the handle may point at this call's locals once it returns.
    curl_easy_setopt(m_pCurl, CURLOPT_ERRORBUFFER, nullptr);
    curl_easy_setopt(m_pCurl, CURLOPT_HTTPHEADER, nullptr);
    curl_slist_free_all(headers);
    if (!connected) {
        return RestResult::kNotConnected;
    }
    response = m_strResponse;
    FDR_CENTER_LOG("[RECV Http Response: %ld] %s", code, response.c_str());
    return GetResult(rc, code, url, error_text);
}

int CRestConnectInfo::DoRequestPostText(const std::string& path, const std::string& header,
                                        const std::string& query, const std::string& userpwd,
                                        const std::string& body, std::string& response) {
    m_strResponse.clear();
    const std::string url = RequestUrl(m_strBaseUrl, path, query);
    curl_slist* headers = curl_slist_append(nullptr, header.c_str());
    if (headers == nullptr) {
        return RestResult::kNoHeaderList;
    }
    if (m_pCurl == nullptr) {
        curl_slist_free_all(headers);
        return RestResult::kRequestFailed;
    }
    curl_easy_setopt(m_pCurl, CURLOPT_HTTPHEADER, headers);
    curl_easy_setopt(m_pCurl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl_easy_setopt(m_pCurl, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(m_pCurl, CURLOPT_URL, url.c_str());
    SetBasicAuthentication(m_pCurl, userpwd);

    RequestTrace trace{this,        m_pSocket != nullptr ? *m_pSocket : -1,
                       m_pAddrInfo, m_uPort,
                       "POST",      &url,
                       &body,       false,
                       false};
    CURLcode rc = CURLE_COULDNT_CONNECT;
    long code = 0;
    const bool connected = ConnectAndPerform(m_pCurl, trace, rc, code);
    curl_easy_setopt(m_pCurl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(0));
    curl_easy_setopt(m_pCurl, CURLOPT_POSTFIELDS, kNoPostFields);
    curl_easy_setopt(m_pCurl, CURLOPT_HTTPHEADER, nullptr);
    curl_slist_free_all(headers);
    if (!connected) {
        return RestResult::kNotConnected;
    }
    response = m_strResponse;
    FDR_CENTER_LOG("[RECV Http Response: %ld] %s", code, response.c_str());
    return PostResult(rc, code);
}

int CRestConnectInfo::DupConnectInfo(std::shared_ptr<CRestConnectInfo>& copy) {
    if (m_pCurl == nullptr) {
        return RestResult::kNoCurlHandle;
    }
    auto dup = std::make_shared<CRestConnectInfo>();
    dup->m_bAbort = m_bAbort.load();
    dup->m_bSecure = m_bSecure;
    dup->m_uTiming1 = m_uTiming1;
    dup->m_uTiming2 = m_uTiming2;
    dup->m_uPort = m_uPort;
    dup->m_strBaseUrl = m_strBaseUrl;
    dup->m_strUserName = m_strUserName;
    dup->m_strPassword = m_strPassword;
    dup->m_pAddrInfo = m_pAddrInfo;
    dup->m_pCurl = curl_easy_duphandle(m_pCurl);
    if (dup->m_pCurl == nullptr) {
        return RestResult::kNoCurlHandle;
    }
    const int fd = NewSocket(m_pAddrInfo);
    if (fd < 0) {
        std::printf("Error creating listening socket.\n");
        std::fflush(stdout);
        return RestResult::kNoSocket;
    }
    dup->m_pSocket = new int(fd);
    // The duplicated handle still points at this object and its socket.
    InstallCallbacks(dup->m_pCurl, dup.get(), dup->m_pSocket);
    copy = std::move(dup);
    return 0;
}

std::string CRestConnectInfo::GetUserNameInfo() {
    return m_strUserName;
}

curl_socket_t CRestConnectInfo::CURLRestOpenSocketCallback2(void* clientp, curlsocktype,
                                                            curl_sockaddr*) {
    const int* socket_fd = static_cast<const int*>(clientp);
    return socket_fd != nullptr ? *socket_fd : CURL_SOCKET_BAD;
}

int CRestConnectInfo::CURLRestSocketOptCallback2(void*, curl_socket_t, curlsocktype) {
    return CURL_SOCKOPT_ALREADY_CONNECTED;
}

size_t CRestConnectInfo::CURLRestWriteCallback2(void* data, size_t size, size_t count,
                                                void* object) {
    if (data == nullptr) {
        return 0;
    }
    const size_t length = size * count;
    auto* connection = static_cast<CRestConnectInfo*>(object);
    if (connection == nullptr) {
        return length;
    }
    if (connection->IsAbort()) {
        return 0;
    }
    try {
        connection->WriteHTTPData(static_cast<const char*>(data), length);
    } catch (...) {
        return 0;  // no exception may cross libcurl; the transfer fails instead
    }
    return length;
}

int CRestConnectInfo::debugMessage(CURL*, curl_infotype type, char* data, size_t size, void*) {
    const char* prefix = nullptr;
    bool printable = true;
    switch (type) {
        case CURLINFO_TEXT:
            prefix = "== Info";
            break;
        case CURLINFO_HEADER_OUT:
            prefix = "=> Send header";
            break;
        case CURLINFO_DATA_OUT:
            prefix = "=> Send data";
            break;
        case CURLINFO_SSL_DATA_OUT:
            prefix = "=> Send SSL data";
            printable = false;
            break;
        case CURLINFO_HEADER_IN:
            prefix = "<= Recv header";
            break;
        case CURLINFO_DATA_IN:
            prefix = "<= Recv data";
            break;
        case CURLINFO_SSL_DATA_IN:
            prefix = "<= Recv SSL data";
            printable = false;
            break;
        default:
            return 0;
    }
    if (printable && data != nullptr) {
        const int shown = size > static_cast<size_t>(INT_MAX) ? INT_MAX : static_cast<int>(size);
        FDR_CENTER_LOG("%s, %zu bytes (0x%zx)\n%.*s", prefix, size, size, shown, data);
    } else {
        FDR_CENTER_LOG("%s, %zu bytes (0x%zx)", prefix, size, size);
    }
    return 0;
}
