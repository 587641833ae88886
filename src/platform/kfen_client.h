// The host platform's local REST client (libkfen_client): every exchange of this library with a
// local service on 127.0.0.1, except the token request, goes through these functions.
#pragma once

#include <map>
#include <string>

// Query parameters of a GET or POST-with-query request, sent in the map's key order.
struct query_object {
    std::map<std::string, std::string> parameters;
    std::string fragment;  // left empty by every caller of this library
};

// Result codes of the request functions. 0 means the exchange succeeded with a 2xx answer and
// `response` holds the body; every other code leaves the detail in *__kfen_errno().
enum kfen_result_code {
    KFEN_OK = 0,
    KFEN_ERR_ARGUMENT = 1,     // null host or path, port out of range; detail: a libcurl code
    KFEN_ERR_SETUP = 2,        // the client could not prepare the request; detail: a libcurl code
    KFEN_ERR_TRANSPORT = 3,    // refused, reset, timed out, ...; detail: the libcurl code
    KFEN_ERR_HTTP_STATUS = 4,  // the service answered with a non-2xx status; detail: that status
};

int kfen_GET_request(char* host, int port, char* path, query_object* query, std::string& response,
                     long timeout, bool, bool, int, char**);
int kfen_POST_request(char* host, int port, char* path, std::string body, std::string& response,
                      long timeout, bool, bool, int, char**);
int kfen_POST_request_v2(char* host, int port, char* path, query_object* query, std::string body,
                         std::string& response, long timeout, bool, bool, int, char**);
int kfen_PUT_request(char* host, int port, char* path, std::string body, std::string& response,
                     long timeout, bool, bool, int, char**);

// The calling thread's detail number of its last failed request (0 after a success).
int* __kfen_errno();
// Text for a detail number: a libcurl code (below 100) or an HTTP status (100 and above).
const char* kfen_strerror(int);
