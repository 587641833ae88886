#include <cstdio>
#include <cstring>
#include <utility>

#include "FederateUtil/LocalServiceCall.h"

namespace fdr {

int CallLocalService(const LocalEndpoint& endpoint, std::string& response, std::string body,
                     query_object* query) {
    // The client takes host and path as writable buffers.
    char host[sizeof(kLocalHost)];
    std::memcpy(host, kLocalHost, sizeof(kLocalHost));
    std::string path(endpoint.path);
    query_object no_parameters;
    if (query == nullptr) {
        query = &no_parameters;
    }
    const long timeout = endpoint.timeout_seconds;
    switch (endpoint.method) {
        case HttpMethod::Get:
            return kfen_GET_request(host, endpoint.port, path.data(), query, response, timeout,
                                    false, false, 0, nullptr);
        case HttpMethod::Post:
            return kfen_POST_request(host, endpoint.port, path.data(), std::move(body), response,
                                     timeout, false, false, 0, nullptr);
        case HttpMethod::PostWithQuery:
            return kfen_POST_request_v2(host, endpoint.port, path.data(), query, std::move(body),
                                        response, timeout, false, false, 0, nullptr);
        case HttpMethod::Put:
            return kfen_PUT_request(host, endpoint.port, path.data(), std::move(body), response,
                                    timeout, false, false, 0, nullptr);
    }
    return KFEN_ERR_ARGUMENT;
}

void ReportErrorToConsole(int n_ret) {
    std::printf("\r[error]n_ret=%d\n", n_ret);
    std::fflush(stdout);
}

void ReportErrorToCenterDebug(const char* operation, int line, int n_ret) {
    char buffer[512] = {};
    std::snprintf(buffer, sizeof(buffer), "[%s:%s](%d) %s", "src/FederateUtil", operation, line,
                  "[error] n_ret=%d");
    // The filled buffer is the format; the code is its one argument.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    center_log_debug(buffer, n_ret);
#pragma GCC diagnostic pop
}

}  // namespace fdr
