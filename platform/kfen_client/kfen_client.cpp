// Reference implementation of the host's local REST client: one plain HTTP exchange per call,
// made with a fresh libcurl easy handle.
#include "platform/kfen_client.h"

#include <curl/curl.h>

#include <mutex>
#include <new>
#include <string>

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

struct EasyHandle {
    CURL* curl = curl_easy_init();
    curl_slist* headers = nullptr;
    ~EasyHandle() {
        if (curl != nullptr) {
            curl_easy_cleanup(curl);
        }
        curl_slist_free_all(headers);
    }
};

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
        EasyHandle h;
        if (h.curl == nullptr) {
            return fail(KFEN_ERR_SETUP, CURLE_FAILED_INIT);
        }
        std::string url = "http://";
        url += host;
        url += ':';
        url += std::to_string(port);
        if (*path != '/') {
            url += '/';
        }
        url += path;
        if (!append_query(h.curl, query, url)) {
            return fail(KFEN_ERR_SETUP, CURLE_OUT_OF_MEMORY);
        }

        CURLcode setup = CURLE_OK;
        auto set = [&](CURLoption option, auto value) {
            if (setup == CURLE_OK) {
                setup = curl_easy_setopt(h.curl, option, value);
            }
        };
        set(CURLOPT_URL, url.c_str());
        // The services live on 127.0.0.1: a proxy from the host's environment must not apply.
        set(CURLOPT_PROXY, "");
        set(CURLOPT_NOSIGNAL, 1L);
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
            // add "Expect: 100-continue" and wait for the service. The empty "Expect:" removes
            // the header curl adds to larger POST bodies too.
            for (const char* line : {"Content-Type: application/json", "Expect:"}) {
                curl_slist* grown = curl_slist_append(h.headers, line);
                if (grown == nullptr) {
                    return fail(KFEN_ERR_SETUP, CURLE_OUT_OF_MEMORY);
                }
                h.headers = grown;
            }
            if (method == Method::Put) {
                set(CURLOPT_CUSTOMREQUEST, "PUT");
            }
            set(CURLOPT_POSTFIELDS, body->data());  // not copied: the body outlives the exchange
            set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body->size()));
            set(CURLOPT_HTTPHEADER, h.headers);
        }
        if (setup != CURLE_OK) {
            return fail(KFEN_ERR_SETUP, setup);
        }

        const CURLcode rc = curl_easy_perform(h.curl);
        if (rc != CURLE_OK) {
            return fail(KFEN_ERR_TRANSPORT, rc);
        }
        long status = 0;
        curl_easy_getinfo(h.curl, CURLINFO_RESPONSE_CODE, &status);
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
