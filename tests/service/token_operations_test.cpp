// Token acquisition and refresh against the token service on 127.0.0.1:10229.
#include <dirent.h>
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

    services.ClearRequests();
    EXPECT_EQ(util.AuthRefreshToken(id, secret, access_token), 0);
    EXPECT_EQ(services.OnlyRequest().body, fdrtest::ReadTestData("token/refresh_body.txt") + "RT1");
}

// What each field of an answer does is the parser's (see its unit test); here, which answers
// reach it at all.
TEST_F(TokenOperations, OnlyA200AnswerIsReadAndItsErrorIsLogged) {
    const struct {
        ScriptedAnswer answer;
        const char* access;
        bool error_logged;
    } cases[] = {
        {{200, R"({"access_token":"AT2","refresh_token":"RT2","error":"late"})"}, "AT2", true},
        {{200, R"({"error":"invalid_client"})"}, "AT1", true},
        {{404, R"({"access_token":"AT2","refresh_token":"RT2"})"}, "AT1", false},
        {{500, R"({"access_token":"AT2","refresh_token":"RT2"})"}, "AT1", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.answer.body);
        CFederateUtil fresh;
        Answer({200, kTokens});
        ASSERT_EQ(fresh.AuthGetToken(id, secret, access_token), 0);
        Answer(c.answer);
        auto log = fdrtest::WatchCenterLog();
        EXPECT_EQ(fresh.AuthGetToken(id, secret, access_token), 0);
        EXPECT_EQ(access_token, c.access);
        EXPECT_EQ(fresh.StoredRefreshTokenForTesting(),
                  std::string(c.access) == "AT2" ? "RT2" : "RT1");
        EXPECT_EQ(log.NewLines().back().rfind("[fedutil] OauthAuthLoginToken error: ", 0) == 0,
                  c.error_logged);
    }
}

TEST_F(TokenOperations, ServiceNotListeningChangesNothing) {
    Answer({200, kTokens});
    util.AuthGetToken(id, secret, access_token);
    services.Stop();
    EXPECT_EQ(util.AuthGetToken(id, secret, access_token), 0);
    EXPECT_EQ(util.AuthRefreshToken(id, secret, access_token), 0);
    ExpectTokens("AT1", "RT1");
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

TEST_F(TokenOperations, ThousandRequestsLeaveNoDescriptorOpen) {
    auto open_descriptors = [] {
        size_t count = 0;
        DIR* dir = opendir("/proc/self/fd");
        while (readdir(dir) != nullptr) {
            ++count;
        }
        closedir(dir);
        return count;
    };
    Answer({200, kTokens});
    util.AuthGetToken(id, secret, access_token);
    const size_t before = open_descriptors();
    for (int i = 0; i < 1000; ++i) {
        access_token.clear();
        util.AuthGetToken(id, secret, access_token);
        ASSERT_EQ(access_token, "AT1") << "request " << i;
    }
    // The fixture, in this process too, closes its side of each exchange in its own time.
    for (int i = 0; i < 250 && open_descriptors() > before; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_LE(open_descriptors(), before);  // the warm-up's server side may close late
}

}  // namespace
