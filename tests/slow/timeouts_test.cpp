// SLOW: services that never answer. Every reading operation, and the bare token request, gives up
// at its own fixed time-out and no earlier; a connect that never completes (the service's accept
// queue is full) ends at the request's 30-second limit, whoever connects the socket. Each test
// runs its cases side by side, so it lasts one 30-second time-out.
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "FederateUtil/CFederateUtil.h"
#include "federateutil/RestConnectInfo.h"
#include "rest/CAuthTXRX.h"
#include "support/FullListener.h"
#include "support/LocalServices.h"
#include "support/LogFiles.h"
#include "support/RestConnection.h"
#include "support/Threads.h"
#include "support/Timing.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// Runs every case on a thread of its own: each one's result and how long it took.
struct Ended {
    int result = 99;
    Clock::duration waited{};
};
std::vector<Ended> SideBySide(const std::vector<std::function<int()>>& cases) {
    std::vector<Ended> ended(cases.size());
    fdrtest::OnThreads(static_cast<int>(cases.size()), [&](int i) {
        const auto start = Clock::now();
        ended[i].result = cases[i]();
        ended[i].waited = Clock::now() - start;
    });
    return ended;
}

// `early`: how much sooner than the time-out the wait may end, as the clocks involved round.
void ExpectWaited(Clock::duration waited, std::chrono::seconds timeout,
                  std::chrono::milliseconds early = 100ms) {
    EXPECT_GE(waited, timeout - early);
    EXPECT_WAIT_AT_MOST(waited, timeout + fdrtest::kLoadedMachineSlack);
}

TEST(Timeouts, EveryReaderGivesUpAtItsOwnTimeOutAndKeepsItsOutputs) {
    const auto stall = fdrsim::FaultMode::Stall;
    const auto services = fdrtest::StartRecorder({{fdrsim::Service::Token, stall},
                                                  {fdrsim::Service::FederationWrites, stall},
                                                  {fdrsim::Service::FederationReads, stall}});
    CFederateUtil util;  // resolves the token service's address the bare request needs
    std::vector<fdrtest::Outcome> outcomes(std::size(fdrtest::kReaders));
    std::vector<int> details(outcomes.size(), -1);
    std::vector<std::function<int()>> cases;
    for (size_t i = 0; i < outcomes.size(); ++i) {
        cases.push_back([&, i] {
            outcomes[i] = fdrtest::RunReader(fdrtest::kReaders[i], &details[i]);
            return 0;
        });
    }
    cases.push_back([] {
        auto connection = std::make_shared<CRestConnectInfo>();
        connection->SetConnectionParam("", "", "127.0.0.1", false, 10229, 90, 120,
                                       CFederateUtil::m_pAddrInfo);
        std::string response;
        return CAuthTXRX().call_GetToken(connection, "grant_type=client_credentials", response);
    });
    testing::internal::CaptureStdout();
    const std::vector<Ended> ended = SideBySide(cases);
    testing::internal::GetCapturedStdout();
    for (size_t i = 0; i < outcomes.size(); ++i) {
        const fdrtest::Reader& reader = fdrtest::kReaders[i];
        SCOPED_TRACE(reader.operation);
        EXPECT_EQ(outcomes[i], reader.failed);
        if (reader.uses_client) {
            EXPECT_EQ(details[i], 28);  // libcurl: operation timed out
        }
        ExpectWaited(ended[i].waited, std::chrono::seconds(reader.timeout_seconds));
    }
    EXPECT_EQ(ended.back().result, -15);
    ExpectWaited(ended.back().waited, 30s, 1s);
    EXPECT_EQ(services->Exchanges().Count(), cases.size());
}

TEST(Timeouts, AConnectThatNeverCompletesEndsAtThirtySecondsWithNothingCountedOrLogged) {
    fdrtest::FullListener full;
    ASSERT_TRUE(full.full());
    // Each on a connection of its own, in its own mode.
    std::vector<std::function<int()>> cases;
    for (const auto& c : fdrtest::kHangingConnects) {
        cases.push_back([&full, &c] {
            const fdrtest::ScopedConnectMode pinned(c.mode);
            fdrtest::Connection connection(full.port());
            std::string response;
            return c.Run(connection, response);
        });
    }
    const unsigned counted = CRestConnectInfo::m_CGICount;
    auto log = fdrtest::WatchCenterLog();
    const std::vector<Ended> ended = SideBySide(cases);
    for (size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(ended[i].result, fdrtest::kHangingConnects[i].result);
        ExpectWaited(ended[i].waited, 30s, 1s);  // one limit for connect and transfer together
    }
    EXPECT_EQ(CRestConnectInfo::m_CGICount, counted);
    EXPECT_TRUE(log.NewLines().empty());
}

}  // namespace
