// Reference implementation of the host's local REST client: one plain HTTP exchange per call.
//
// Each thread keeps one libcurl easy handle per service (host and port), and with it the
// connection to that service, alive between calls: a new connection per call costs more than a
// small exchange itself. The bytes sent are those of a fresh connection. A kept connection that
// the service has closed meanwhile (it stopped, restarted or dropped an idle connection) is found
// dead before anything is sent on it and replaced by a fresh one; libcurl's own resending of a
// request whose connection died after it was sent is refused, so that the service never sees one
// call's request twice, and the call fails as a fresh connection would have (code 3).
#include "platform/kfen_client.h"

#include <curl/curl.h>
#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <new>
#include <string>
#include <vector>

namespace {

thread_local int t_kfen_errno = 0;

CURLcode global_init_result() {
    static std::once_flag once;
    static CURLcode result = CURLE_OK;
    std::call_once(once, [] { result = curl_global_init(CURL_GLOBAL_DEFAULT); });
    return result;
}

int fail(int code, int detail) {
    t_kfen_errno = detail;
    return code;
}

size_t append_body(char* data, size_t size, size_t count, void* userdata) {
    const size_t n = size * count;
    // An exception must not cross libcurl's C frames; a short count makes it abort the transfer.
    try {
        static_cast<std::string*>(userdata)->append(data, n);
    } catch (...) {
        return 0;
    }
    return n;
}

// Bumped in a forked child: handles inherited from the parent share its connections and are
// never used there.
std::atomic<unsigned> g_fork_generation{0};

void count_forks() {
    static std::once_flag once;
    std::call_once(once, [] { pthread_atfork(nullptr, nullptr, [] { ++g_fork_generation; }); });
}

// Services keep idle connections open for a few seconds (5 s for cpp-httplib); one idle for longer
// than this is not reused, so that a request does not race the service closing it.
constexpr long kMaxIdleSeconds = 2;
// Handles a thread keeps at most; the least recently used one goes first.
constexpr size_t kMaxHandles = 16;

struct KeptHandle {
    std::string host;
    int port = 0;
    CURL* curl = nullptr;
    uint64_t last_use = 0;
};

// The calling thread's handles.
class ThreadHandles {
  public:
    ~ThreadHandles() { Clear(); }

    // The handle for host:port, or null when none can be made.
    CURL* For(const char* host, int port) {
        if (generation_ != g_fork_generation.load()) {
            Clear();
            generation_ = g_fork_generation.load();
        }
        ++clock_;
        KeptHandle* oldest = nullptr;
        for (KeptHandle& kept : handles_) {
            if (kept.port == port && kept.host == host) {
                kept.last_use = clock_;
                return kept.curl;
            }
            if (oldest == nullptr || kept.last_use < oldest->last_use) {
                oldest = &kept;
            }
        }
        CURL* curl = curl_easy_init();
        if (curl == nullptr) {
            return nullptr;
        }
        if (handles_.size() >= kMaxHandles && oldest != nullptr) {
            curl_easy_cleanup(oldest->curl);
            *oldest = KeptHandle{host, port, curl, clock_};
        } else {
            handles_.push_back(KeptHandle{host, port, curl, clock_});
        }
        return curl;
    }

  private:
    void Clear() {
        // A forked child's handles hold the parent's connections: cleaning them up would close
        // only the child's copies of the descriptors, which is what is wanted.
        for (KeptHandle& kept : handles_) {
            curl_easy_cleanup(kept.curl);
        }
        handles_.clear();
    }

    std::vector<KeptHandle> handles_;
    uint64_t clock_ = 0;
    unsigned generation_ = 0;
};

thread_local ThreadHandles t_handles;

// libcurl calls this once the connection is there, before the request goes out: once per call,
// and once more only when it wants to resend the request on a new connection after the kept
// one died under it. The resending is refused: the service may have read the first request.
struct Attempts {
    int count = 0;
};

int one_request_only(void* clientp, char*, char*, int, int) {
    auto* attempts = static_cast<Attempts*>(clientp);
    return ++attempts->count > 1 ? CURL_PREREQFUNC_ABORT : CURL_PREREQFUNC_OK;
}

// The two header lines of a POST or PUT, built once per process.
curl_slist* body_headers() {
    static curl_slist* const headers = [] {
        curl_slist* list = nullptr;
        // The empty "Expect:" removes the header curl adds to larger POST bodies.
        for (const char* line : {"Content-Type: application/json", "Expect:"}) {
            curl_slist* grown = curl_slist_append(list, line);
            if (grown == nullptr) {
                curl_slist_free_all(list);
                return static_cast<curl_slist*>(nullptr);
            }
            list = grown;
        }
        return list;
    }();
    return headers;
}

// Appends "k=v&k2=v2" (each part percent-encoded) to `url`; false when an escape fails.
bool append_query(CURL* curl, const query_object* query, std::string& url) {
    if (query == nullptr || query->parameters.empty()) {
        return true;
    }
    char separator = url.find('?') == std::string::npos ? '?' : '&';
    for (const auto& [key, value] : query->parameters) {
        char* k = curl_easy_escape(curl, key.data(), static_cast<int>(key.size()));
        char* v = curl_easy_escape(curl, value.data(), static_cast<int>(value.size()));
        const bool ok = k != nullptr && v != nullptr;
        if (ok) {
            url += separator;
            url += k;
            url += '=';
            url += v;
            separator = '&';
        }
        curl_free(k);
        curl_free(v);
        if (!ok) {
            return false;
        }
    }
    return true;
}

enum class Method { Get, Post, Put };

int perform(Method method, const char* host, int port, const char* path, const query_object* query,
            const std::string* body, std::string& response, long timeout) {
    response.clear();
    if (host == nullptr || *host == '\0' || path == nullptr || port < 1 || port > 65535) {
        return fail(KFEN_ERR_ARGUMENT, CURLE_BAD_FUNCTION_ARGUMENT);
    }
    const CURLcode init = global_init_result();
    if (init != CURLE_OK) {
        return fail(KFEN_ERR_SETUP, init);
    }
    try {
        count_forks();
        CURL* curl = t_handles.For(host, port);
        if (curl == nullptr) {
            return fail(KFEN_ERR_SETUP, CURLE_FAILED_INIT);
        }
        // Every option of the previous call goes; the connection stays.
        curl_easy_reset(curl);
        std::string url = "http://";
        url += host;
        url += ':';
        url += std::to_string(port);
        if (*path != '/') {
            url += '/';
        }
        url += path;
        if (!append_query(curl, query, url)) {
            return fail(KFEN_ERR_SETUP, CURLE_OUT_OF_MEMORY);
        }

        Attempts attempts;
        CURLcode setup = CURLE_OK;
        auto set = [&](CURLoption option, auto value) {
            if (setup == CURLE_OK) {
                setup = curl_easy_setopt(curl, option, value);
            }
        };
        set(CURLOPT_URL, url.c_str());
        // The services live on 127.0.0.1: a proxy from the host's environment must not apply.
        set(CURLOPT_PROXY, "");
        set(CURLOPT_NOSIGNAL, 1L);
        // Small requests on a kept connection must not wait for the previous answer's ACK.
        set(CURLOPT_TCP_NODELAY, 1L);
        set(CURLOPT_MAXAGE_CONN, kMaxIdleSeconds);
        set(CURLOPT_PREREQFUNCTION, &one_request_only);
        set(CURLOPT_PREREQDATA, static_cast<void*>(&attempts));
        if (timeout > 0) {
            set(CURLOPT_TIMEOUT, timeout);
            set(CURLOPT_CONNECTTIMEOUT, timeout);
        }
        set(CURLOPT_WRITEFUNCTION, &append_body);
        set(CURLOPT_WRITEDATA, static_cast<void*>(&response));

        if (method == Method::Get) {
            set(CURLOPT_HTTPGET, 1L);
        } else {
            // PUT goes out as a custom request with the body as post fields: CURLOPT_UPLOAD would
            // add "Expect: 100-continue" and wait for the service.
            curl_slist* headers = body_headers();
            if (headers == nullptr) {
                return fail(KFEN_ERR_SETUP, CURLE_OUT_OF_MEMORY);
            }
            if (method == Method::Put) {
                set(CURLOPT_CUSTOMREQUEST, "PUT");
            }
            set(CURLOPT_POSTFIELDS, body->data());  // not copied: the body outlives the exchange
            set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body->size()));
            set(CURLOPT_HTTPHEADER, headers);
        }
        if (setup != CURLE_OK) {
            return fail(KFEN_ERR_SETUP, setup);
        }

        const CURLcode rc = curl_easy_perform(curl);
        if (rc != CURLE_OK) {
            // A refused resend: the kept connection died after the request went out and before
            // any answer, which a fresh connection reports as an empty reply.
            return fail(KFEN_ERR_TRANSPORT, attempts.count > 1 ? CURLE_GOT_NOTHING : rc);
        }
        long status = 0;
        curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
        if (status < 100) {
            return fail(KFEN_ERR_TRANSPORT, CURLE_WEIRD_SERVER_REPLY);
        }
        if (status < 200 || status > 299) {
            return fail(KFEN_ERR_HTTP_STATUS, static_cast<int>(status));
        }
        t_kfen_errno = 0;
        return KFEN_OK;
    } catch (const std::bad_alloc&) {
        return fail(KFEN_ERR_SETUP, CURLE_OUT_OF_MEMORY);
    }
}

}  // namespace

int kfen_GET_request(char* host, int port, char* path, query_object* query, std::string& response,
                     long timeout, bool, bool, int, char**) {
    return perform(Method::Get, host, port, path, query, nullptr, response, timeout);
}

int kfen_POST_request(char* host, int port, char* path, std::string body, std::string& response,
                      long timeout, bool, bool, int, char**) {
    return perform(Method::Post, host, port, path, nullptr, &body, response, timeout);
}

int kfen_POST_request_v2(char* host, int port, char* path, query_object* query, std::string body,
                         std::string& response, long timeout, bool, bool, int, char**) {
    return perform(Method::Post, host, port, path, query, &body, response, timeout);
}

int kfen_PUT_request(char* host, int port, char* path, std::string body, std::string& response,
                     long timeout, bool, bool, int, char**) {
    return perform(Method::Put, host, port, path, nullptr, &body, response, timeout);
}

int* __kfen_errno() {
    return &t_kfen_errno;
}

const char* kfen_strerror(int n) {
    if (n >= 0 && n < 100) {
        return curl_easy_strerror(static_cast<CURLcode>(n));
    }
    switch (n) {
        case 400:
            return "HTTP status 400 (Bad Request)";
        case 401:
            return "HTTP status 401 (Unauthorized)";
        case 403:
            return "HTTP status 403 (Forbidden)";
        case 404:
            return "HTTP status 404 (Not Found)";
        case 405:
            return "HTTP status 405 (Method Not Allowed)";
        case 408:
            return "HTTP status 408 (Request Timeout)";
        case 409:
            return "HTTP status 409 (Conflict)";
        case 413:
            return "HTTP status 413 (Payload Too Large)";
        case 415:
            return "HTTP status 415 (Unsupported Media Type)";
        case 429:
            return "HTTP status 429 (Too Many Requests)";
        case 500:
            return "HTTP status 500 (Internal Server Error)";
        case 501:
            return "HTTP status 501 (Not Implemented)";
        case 502:
            return "HTTP status 502 (Bad Gateway)";
        case 503:
            return "HTTP status 503 (Service Unavailable)";
        case 504:
            return "HTTP status 504 (Gateway Timeout)";
        default:
            break;
    }
    if (n >= 100 && n <= 599) {
        return "HTTP error status";
    }
    return "unknown error";
}
