// Token acquisition from many threads at once against the token service on 127.0.0.1:10229. Kept
// in C++: a case file makes its calls one after another on one thread. (The forms, the stored
// refresh token and error answers are tests/cases/token-*.case.)
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "FederateUtil/CFederateUtil.h"
#include "support/LocalServices.h"

namespace {

using fdrtest::ScriptedAnswer;

TEST(TokenOperations, ConcurrentCallsEachGetTheirOwnAnswer) {
    fdrtest::LocalServices services{{10229}};
    CFederateUtil util;
    std::string secret = "s";
    // The answer names the client that asked, so a crossed wire would show.
    services.AnswerWith(10229, "POST", "/token", [](const fdrtest::RecordedRequest& request) {
        const std::string client = request.body.substr(40, request.body.find('&', 40) - 40);
        return ScriptedAnswer{200, R"({"access_token":")" + client + R"(","refresh_token":"R"})"};
    });
    std::vector<std::thread> threads;
    std::vector<int> good(8, 0);
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&util, &secret, t, &good] {
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
