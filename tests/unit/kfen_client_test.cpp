// The reference REST client against the service core on a free port. A refused connection and a
// time-out are the fault-injection and stall suites' (through the library).
#include <curl/curl.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/kfen_client.h"
#include "support/LocalServices.h"
#include "support/Threads.h"

namespace {

using fdrsim::Service;

// "/status/N" answers N with "status body N"; every other request 200 with an empty body.
class KfenClientTest : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const int status : {204, 302, 404, 500}) {
            const std::string path = "/status/" + std::to_string(status);
            for (const char* method : {"GET", "PUT"}) {
                services_->Script(Service::Token, method, path,
                                  {status, "status body " + std::to_string(status)});
            }
        }
        port_ = services_->PortOf(Service::Token);
    }
    fdrsim::Exchange Last() { return services_->Exchanges().List().back(); }
    static char* c(const char* s) { return const_cast<char*>(s); }

    std::unique_ptr<fdrsim::Simulator> services_ = fdrtest::StartRecorder({}, true);
    int port_ = 0;
    char* host_ = c("127.0.0.1");
};

TEST_F(KfenClientTest, QueryIsAppendedInMapOrderAndPercentEncoded) {
    query_object q;
    q.parameters = {{"b", "1/2"}, {"a", "x y&z=\xC3\xA9"}, {"c d", ""}};
    query_object empty;
    const std::string encoded = "a=x%20y%26z%3D%C3%A9&b=1%2F2&c%20d=";
    const struct {
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
        ASSERT_EQ(KFEN_OK, kfen_GET_request(host_, port_, c(tc.path), tc.query, response, 5, false,
                                            false, 0, nullptr));
        EXPECT_EQ("", response);
        EXPECT_EQ(0, *__kfen_errno());
        EXPECT_EQ("GET " + tc.target, Last().method + " " + Last().target);
    }
}

TEST_F(KfenClientTest, BodyArrivesByteExactWithoutExpect) {
    std::string big(2 * 1024 * 1024, '\0');
    for (size_t i = 0; i < big.size(); ++i) {
        big[i] = static_cast<char>(i * 7 % 256);
    }
    for (const std::string& body : {std::string(), std::string("{\"a\":1}"), big}) {
        for (const std::string method : {"POST", "PUT"}) {
            std::string response;
            const auto request = method == "PUT" ? kfen_PUT_request : kfen_POST_request;
            ASSERT_EQ(KFEN_OK,
                      request(host_, port_, c("/b"), body, response, 5, false, false, 0, nullptr))
                << method << " " << body.size();
            const fdrsim::Exchange e = Last();
            EXPECT_EQ(method + " /b", e.method + " " + e.target);
            EXPECT_TRUE(e.request_body == body) << method << " body of " << body.size() << " bytes";
            std::string headers;
            for (const auto& [name, value] : e.request_headers) {
                headers += name == "Expect" || name == "Content-Type" ? name + ": " + value : "";
            }
            EXPECT_EQ("Content-Type: application/json", headers);
        }
    }
}

TEST_F(KfenClientTest, NonSuccessStatusKeepsBodyAndReportsStatus) {
    for (int status : {404, 500, 302}) {
        const std::string path = "/status/" + std::to_string(status);
        std::string response = "stale";
        EXPECT_EQ(KFEN_ERR_HTTP_STATUS, kfen_PUT_request(host_, port_, c(path.c_str()), "{}",
                                                         response, 5, false, false, 0, nullptr));
        EXPECT_EQ(status, *__kfen_errno());
        EXPECT_EQ("status body " + std::to_string(status), response);
    }
    std::string response;
    EXPECT_EQ(KFEN_OK, kfen_GET_request(host_, port_, c("/status/204"), nullptr, response, 5, false,
                                        false, 0, nullptr));
    EXPECT_EQ(0, *__kfen_errno());
}

TEST_F(KfenClientTest, BadArgumentsAndTheDetailNumberIsPerThread) {
    const struct {
        char* host;
        int port;
        const char* path;
    } cases[] = {{nullptr, port_, "/"},
                 {host_, port_, nullptr},
                 {host_, 0, "/"},
                 {host_, 65536, "/"},
                 {host_, -1, "/"}};
    for (const auto& tc : cases) {
        std::string response;
        EXPECT_EQ(KFEN_ERR_ARGUMENT, kfen_GET_request(tc.host, tc.port, c(tc.path), nullptr,
                                                      response, 5, false, false, 0, nullptr));
        EXPECT_EQ(CURLE_BAD_FUNCTION_ARGUMENT, *__kfen_errno());
    }
    std::vector<int> failures(4, 0);
    fdrtest::OnThreads(4, [this, &failures](int t) {
        const char* path = t % 2 ? "/status/404" : "/ok";
        for (int i = 0; i < 25; ++i) {
            std::string response;
            const int rc = kfen_GET_request(host_, port_, c(path), nullptr, response, 5, false,
                                            false, 0, nullptr);
            failures[t] += rc != (t % 2 ? KFEN_ERR_HTTP_STATUS : KFEN_OK) ||
                           *__kfen_errno() != (t % 2 ? 404 : 0);
        }
    });
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
