// The reference REST client against a local cpp-httplib server on an ephemeral port.
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <httplib.h>

#include <chrono>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/kfen_client.h"

namespace {

struct Seen {
    std::string method, target, body, content_type;
    bool has_expect = false;
};

// Replies 200 "reply to METHOD"; "/status/N" replies N. A refused connection and a time-out are
// the fault-injection and stall suites' (through the library), and the simulator's fault tests'.
class KfenClientTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        server_ = new httplib::Server;
        server_->set_tcp_nodelay(true);
        // One request a connection: stopping the server then never waits out a kept-alive one.
        server_->set_keep_alive_max_count(1);
        auto handler = [](const httplib::Request& req, httplib::Response& res) {
            {
                std::lock_guard<std::mutex> lock(mutex_);
                seen_ = {req.method, req.target, req.body, req.get_header_value("Content-Type"),
                         req.has_header("Expect")};
            }
            if (req.path.rfind("/status/", 0) == 0) {
                res.status = std::stoi(req.path.substr(8));
                res.set_content("status body " + req.path.substr(8), "text/plain");
                return;
            }
            res.set_content("reply to " + req.method, "text/plain");
        };
        server_->Get(".*", handler);
        server_->Post(".*", handler);
        server_->Put(".*", handler);
        port_ = server_->bind_to_any_port("127.0.0.1");
        ASSERT_GT(port_, 0);
        thread_ = std::thread([] { server_->listen_after_bind(); });
        for (int i = 0; i < 10000 && !server_->is_running(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        ASSERT_TRUE(server_->is_running());
    }
    static void TearDownTestSuite() {
        server_->stop();
        thread_.join();
        delete server_;
    }
    static Seen seen() {
        std::lock_guard<std::mutex> lock(mutex_);
        return seen_;
    }
    static char* host() { return const_cast<char*>("127.0.0.1"); }
    static char* c(const char* s) { return const_cast<char*>(s); }

    static inline httplib::Server* server_ = nullptr;
    static inline std::thread thread_;
    static inline int port_ = 0;
    static inline std::mutex mutex_;
    static inline Seen seen_;
};

TEST_F(KfenClientTest, QueryIsAppendedInMapOrderAndPercentEncoded) {
    query_object q;
    q.parameters = {{"b", "1/2"}, {"a", "x y&z=\xC3\xA9"}, {"c d", ""}};
    query_object empty;
    const std::string encoded = "a=x%20y%26z%3D%C3%A9&b=1%2F2&c%20d=";
    struct Case {
        const char* path;
        query_object* query;
        std::string target;
    } cases[] = {
        {"/q", &q, "/q?" + encoded},
        {"/cgi-bin/x.cgi?action=failover_info", &q,
         "/cgi-bin/x.cgi?action=failover_info&" + encoded},
        {"/q", &empty, "/q"},  // no query at all, and a POST's: the local-service-call test
    };
    for (const auto& tc : cases) {
        std::string response = "stale";
        ASSERT_EQ(KFEN_OK, kfen_GET_request(host(), port_, c(tc.path), tc.query, response, 5, false,
                                            false, 0, nullptr));
        EXPECT_EQ("reply to GET", response);
        EXPECT_EQ(0, *__kfen_errno());
        EXPECT_EQ(tc.target, seen().target);
        EXPECT_EQ("GET", seen().method);
    }
}

TEST_F(KfenClientTest, BodyArrivesByteExactWithoutExpect) {
    std::string big(2 * 1024 * 1024, '\0');
    for (size_t i = 0; i < big.size(); ++i) {
        big[i] = static_cast<char>(i * 7 % 256);
    }
    for (const std::string& body : {std::string(), std::string("{\"a\":1}"), big}) {
        for (const char* method : {"POST", "PUT"}) {
            std::string response;
            const int rc = std::string(method) == "PUT"
                               ? kfen_PUT_request(host(), port_, c("/b"), body, response, 5, false,
                                                  false, 0, nullptr)
                               : kfen_POST_request(host(), port_, c("/b"), body, response, 5, false,
                                                   false, 0, nullptr);
            ASSERT_EQ(KFEN_OK, rc) << method << " " << body.size();
            const Seen s = seen();
            EXPECT_EQ(method, s.method);
            EXPECT_EQ("/b", s.target);
            EXPECT_TRUE(s.body == body) << method << " body of " << body.size() << " bytes";
            EXPECT_EQ("application/json", s.content_type);
            EXPECT_FALSE(s.has_expect);
            EXPECT_EQ(std::string("reply to ") + method, response);
        }
    }
}

TEST_F(KfenClientTest, NonSuccessStatusKeepsBodyAndReportsStatus) {
    for (int status : {404, 500, 302}) {
        const std::string path = "/status/" + std::to_string(status);
        std::string response = "stale";
        EXPECT_EQ(KFEN_ERR_HTTP_STATUS, kfen_PUT_request(host(), port_, c(path.c_str()), "{}",
                                                         response, 5, false, false, 0, nullptr));
        EXPECT_EQ(status, *__kfen_errno());
        EXPECT_EQ("status body " + std::to_string(status), response);
    }
    std::string response;
    EXPECT_EQ(KFEN_OK, kfen_GET_request(host(), port_, c("/status/204"), nullptr, response, 5,
                                        false, false, 0, nullptr));
    EXPECT_EQ(0, *__kfen_errno());
}

TEST_F(KfenClientTest, BadArguments) {
    struct Case {
        char* host;
        int port;
        const char* path;
    } cases[] = {{nullptr, port_, "/"},
                 {host(), port_, nullptr},
                 {host(), 0, "/"},
                 {host(), 65536, "/"},
                 {host(), -1, "/"}};
    for (const auto& tc : cases) {
        std::string response;
        EXPECT_EQ(KFEN_ERR_ARGUMENT, kfen_GET_request(tc.host, tc.port, c(tc.path), nullptr,
                                                      response, 5, false, false, 0, nullptr));
        EXPECT_EQ(CURLE_BAD_FUNCTION_ARGUMENT, *__kfen_errno());
    }
}

TEST_F(KfenClientTest, DetailNumberIsPerThread) {
    std::vector<std::thread> threads;
    std::vector<int> failures(4, 0);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([t, &failures] {
            const std::string path = t % 2 ? "/status/404" : "/ok";
            for (int i = 0; i < 25; ++i) {
                std::string response;
                const int rc = kfen_GET_request(host(), port_, c(path.c_str()), nullptr, response,
                                                5, false, false, 0, nullptr);
                if (rc != (t % 2 ? KFEN_ERR_HTTP_STATUS : KFEN_OK) ||
                    *__kfen_errno() != (t % 2 ? 404 : 0)) {
                    ++failures[t];
                }
            }
        });
    }
    for (auto& th : threads) {
        th.join();
    }
    EXPECT_EQ(std::vector<int>(4, 0), failures);
}

TEST(KfenStrerror, TextsAreStatic) {
    EXPECT_STREQ(curl_easy_strerror(CURLE_OPERATION_TIMEDOUT), kfen_strerror(28));
    EXPECT_STREQ("HTTP status 404 (Not Found)", kfen_strerror(404));
    EXPECT_STREQ("HTTP error status", kfen_strerror(418));
    for (int n : {-1, 600, 100000}) {
        EXPECT_STREQ("unknown error", kfen_strerror(n));
    }
    EXPECT_EQ(kfen_strerror(500), kfen_strerror(500));
}

}  // namespace
