// The libcurl connection object as the tests drive it, and the ways a connect can hang.
#pragma once

#include <gtest/gtest.h>
#include <netdb.h>

#include <memory>
#include <string>

#include "federateutil/RestConnectInfo.h"
#include "rest/ConnectMode.h"

namespace fdrtest {

// A connection to 127.0.0.1:port with the resolved address it keeps a pointer to.
struct Connection {
    addrinfo* address = nullptr;
    std::shared_ptr<CRestConnectInfo> rest = std::make_shared<CRestConnectInfo>();
    explicit Connection(int port, const char* user = "") {
        getaddrinfo("127.0.0.1", std::to_string(port).c_str(), nullptr, &address);
        EXPECT_EQ(rest->SetConnectionParam(user, "", "127.0.0.1", false, port, 90, 120, address),
                  0);
    }
    ~Connection() {
        rest.reset();
        freeaddrinfo(address);
    }
    int Post(const std::string& path, std::string& response) {
        return rest->DoRequestPostText(path, "", "", "", "b=1", response);
    }
    int Get(const std::string& path, std::string& response) {
        return rest->DoRequestGetText(path, "", "", "", "", response);
    }
};

// A connect to a listener whose accept queue is full, whoever connects the socket, and what it
// ends with once given up (an abort or the time-out): ConnectSocket alone with false, a request
// with -3.
struct HangingConnect {
    fdr::rest::ConnectMode mode;
    enum { kConnectOnly, kPost, kGet } request;
    int result;
    int Run(Connection& connection, std::string& response) const {
        return request == kConnectOnly ? connection.rest->ConnectSocket()
               : request == kPost      ? connection.Post("/", response)
                                       : connection.Get("/", response);
    }
};
inline constexpr HangingConnect kHangingConnects[] = {
    {fdr::rest::ConnectMode::kObjectConnects, HangingConnect::kConnectOnly, 0},
    {fdr::rest::ConnectMode::kObjectConnects, HangingConnect::kPost, -3},
    {fdr::rest::ConnectMode::kObjectConnects, HangingConnect::kGet, -3},
    {fdr::rest::ConnectMode::kLibcurlConnects, HangingConnect::kPost, -3},
    {fdr::rest::ConnectMode::kLibcurlConnects, HangingConnect::kGet, -3},
};

}  // namespace fdrtest
