// A local service that accepts the request and never answers: the request gives up at its
// fixed time-out, and no earlier than that.
#include <gtest/gtest.h>

#include <chrono>

#include "FederateUtil/LocalServiceCall.h"
#include "support/LocalServices.h"
#include "support/Timing.h"

namespace {

TEST(LocalServiceSilent, RequestTimesOutAfterFiveSeconds) {
    fdrtest::LocalServices services({10240});
    ASSERT_TRUE(services.started());
    services.Answer(10240, "GET", "/fdr/Service",
                    {200, "{}", "application/json", std::chrono::seconds(30)});
    auto start = std::chrono::steady_clock::now();
    std::string response;
    int n_ret = fdr::CallLocalService(fdr::endpoint::kServiceInfo, response);
    auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(n_ret, KFEN_ERR_TRANSPORT);
    EXPECT_EQ(*__kfen_errno(), 28) << "libcurl's operation-timed-out code";
    EXPECT_GE(waited, std::chrono::milliseconds(4900));
    EXPECT_WAIT_AT_MOST(waited, std::chrono::seconds(5) + fdrtest::kLoadedMachineSlack);
}

}  // namespace
