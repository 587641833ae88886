// SLOW: waits out the 30-second transfer time-out of a token service that never answers.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "FederateUtil/CFederateUtil.h"
#include "rest/CAuthTXRX.h"
#include "support/LocalServices.h"
#include "support/Timing.h"

namespace {

// The bare request and the operation around it wait side by side: one time-out, not two.
TEST(TokenTimeout, SilentServiceEndsByTheTransferTimeoutAndChangesNothing) {
    fdrtest::LocalServices services({10229});
    services.Answer(
        10229, "POST", "/token",
        {200, R"({"access_token":"late"})", "application/json", std::chrono::seconds(60)});
    CFederateUtil util;  // resolves the token service's address the bare request needs
    int result = 0;
    std::chrono::steady_clock::duration waited{};
    std::thread direct([&] {
        auto connection = std::make_shared<CRestConnectInfo>();
        connection->SetConnectionParam("", "", "127.0.0.1", false, 10229, 90, 120,
                                       CFederateUtil::m_pAddrInfo);
        std::string response;
        const auto start = std::chrono::steady_clock::now();
        result = CAuthTXRX().call_GetToken(connection, "grant_type=client_credentials", response);
        waited = std::chrono::steady_clock::now() - start;
    });
    std::string id = "id";
    std::string access_token = "before";
    EXPECT_EQ(util.AuthGetToken(id, id, access_token), 0);
    EXPECT_EQ(access_token, "before");
    direct.join();
    EXPECT_EQ(result, -15);
    EXPECT_GE(waited, std::chrono::seconds(29));
    EXPECT_WAIT_AT_MOST(waited, std::chrono::seconds(30) + fdrtest::kLoadedMachineSlack);
}

}  // namespace
