// Token acquisition and refresh against the token service on 127.0.0.1:10229 (its failures, and
// descriptors after a thousand requests, are the fault-injection suite's).
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "FederateUtil/CFederateUtil.h"
#include "support/LocalServices.h"
#include "support/LogFiles.h"
#include "support/TestData.h"

namespace {

using fdrtest::ScriptedAnswer;

const char kTokens[] = R"({"access_token":"AT1","refresh_token":"RT1"})";

class TokenOperations : public testing::Test {
  protected:
    fdrtest::LocalServices services{{10229}};
    CFederateUtil util;
    // Values that a form encoder would have escaped.
    std::string id = "fed&id=1";
    std::string secret = "s=c r+t%";
    std::string access_token;

    void Answer(ScriptedAnswer answer) { services.Answer(10229, "POST", "/token", answer); }
    void ExpectTokens(const char* access, const char* refresh) {
        EXPECT_EQ(access_token, access);
        EXPECT_EQ(util.StoredRefreshTokenForTesting(), refresh);
    }
};

TEST_F(TokenOperations, FormsAreSentUnescapedAndTheRefreshTokenIsSentBack) {
    EXPECT_EQ(util.AuthRefreshToken(id, secret, access_token), 0);  // nothing stored yet
    EXPECT_EQ(services.OnlyRequest().body, fdrtest::ReadTestData("token/refresh_body.txt"));
    Answer({200, kTokens});
    services.ClearRequests();
    EXPECT_EQ(util.AuthGetToken(id, secret, access_token), 0);
    ExpectTokens("AT1", "RT1");
    auto request = services.OnlyRequest();
    EXPECT_EQ(request.target, "/token");
    EXPECT_EQ(request.body, fdrtest::ReadTestData("token/get_body.txt"));
    EXPECT_EQ(request.headers.find("Content-Type")->second, "application/x-www-form-urlencoded");
    // The connection's empty user name and password still go out as basic credentials (":").
    ASSERT_EQ(request.headers.count("Authorization"), 1u);
    EXPECT_EQ(request.headers.find("Authorization")->second, "Basic Og==");

    services.ClearRequests();
    EXPECT_EQ(util.AuthRefreshToken(id, secret, access_token), 0);
    EXPECT_EQ(services.OnlyRequest().body, fdrtest::ReadTestData("token/refresh_body.txt") + "RT1");
}

// Which answers reach the parser is the fault-injection suite's, what each field does the
// parser's; here, that the operation keeps what the parser handed over.
TEST_F(TokenOperations, AnErrorAnswerKeepsOrReplacesTheTokensAsTheParserLeftThem) {
    Answer({200, kTokens});
    ASSERT_EQ(util.AuthGetToken(id, secret, access_token), 0);
    Answer({200, R"({"error":"invalid_client"})"});
    EXPECT_EQ(util.AuthGetToken(id, secret, access_token), 0);
    ExpectTokens("AT1", "RT1");
    Answer({200, R"({"access_token":"AT2","refresh_token":"RT2","error":"late"})"});
    auto log = fdrtest::WatchCenterLog();
    EXPECT_EQ(util.AuthGetToken(id, secret, access_token), 0);
    ExpectTokens("AT2", "RT2");
    EXPECT_EQ(log.NewLines().back(), "[fedutil] OauthAuthLoginToken error: late");
}

TEST_F(TokenOperations, ConcurrentCallsEachGetTheirOwnAnswer) {
    // The answer names the client that asked, so a crossed wire would show.
    services.AnswerWith(10229, "POST", "/token", [](const fdrtest::RecordedRequest& request) {
        const std::string client = request.body.substr(40, request.body.find('&', 40) - 40);
        return ScriptedAnswer{200, R"({"access_token":")" + client + R"(","refresh_token":"R"})"};
    });
    std::vector<std::thread> threads;
    std::vector<int> good(8, 0);
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([this, t, &good] {
            std::string client = "client" + std::to_string(t);
            for (int i = 0; i < 10; ++i) {
                std::string token;
                util.AuthGetToken(client, secret, token);
                good[t] += token == client ? 1 : 0;
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(good, std::vector<int>(8, 10));
}

}  // namespace
