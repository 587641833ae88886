// Each fault mode as the reference local client sees it: its result code, its detail number and
// a bounded wait; and the record the simulator keeps of the exchange.
#include <gtest/gtest.h>

#include <thread>

#include "SimulatorClient.h"
#include "support/Timing.h"

namespace fdrsim::test {
namespace {

using std::chrono::milliseconds;

struct FaultCase {
    FaultMode mode;
    int code;    // the local client's result
    int detail;  // *__kfen_errno(): a libcurl code or an HTTP status
    milliseconds at_least;
    milliseconds at_most;
    int recorded_status;  // of the exchange in the log; -1: nothing arrives
};

TEST(Faults, EachModeAsTheLocalClientSeesIt) {
    const FaultCase cases[] = {
        {FaultMode::Refuse, 3, 7 /* couldn't connect */, milliseconds(0), milliseconds(1000), -1},
        {FaultMode::Stall, 3, 28 /* timed out */, milliseconds(900), milliseconds(3000), 0},
        {FaultMode::InternalError, 4, 500, milliseconds(0), milliseconds(1000), 500},
        {FaultMode::Garbage, 0, 0, milliseconds(0), milliseconds(1000), 200},
        {FaultMode::CloseEarly, 3, 18 /* partial file */, milliseconds(0), milliseconds(1000), 200},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(FaultName(c.mode));
        SimulatorOptions options = FreePortOptions();
        options.faults[Service::Arbitrator] = c.mode;
        auto simulator = StartSimulator(std::move(options));
        ASSERT_NE(simulator, nullptr);

        // A time-out of 1 s bounds the stalled exchange; the others get time to spare, so that
        // a slow machine never turns their answer into a time-out.
        const long timeout_seconds = c.mode == FaultMode::Stall ? 1 : 30;
        Reply reply = Put(simulator->PortOf(Service::Arbitrator), "/channel_info_refresh",
                          R"({"autonomy_lid":"1"})", timeout_seconds);
        EXPECT_EQ(reply.code, c.code);
        EXPECT_EQ(reply.detail, c.detail);
        EXPECT_GE(reply.elapsed, c.at_least);
        EXPECT_WAIT_AT_MOST(reply.elapsed, c.at_most + fdrtest::kLoadedMachineSlack);
        if (c.mode == FaultMode::Garbage) {
            EXPECT_EQ(reply.body.rfind("<html>", 0), 0u) << reply.body;
        }

        auto exchanges = simulator->Exchanges().All();
        if (c.recorded_status < 0) {
            EXPECT_TRUE(exchanges.empty());
        } else {
            ASSERT_EQ(exchanges.size(), 1u);
            EXPECT_EQ(exchanges[0].status, c.recorded_status);
            EXPECT_EQ(exchanges[0].request_body, R"({"autonomy_lid":"1"})");
            ASSERT_FALSE(exchanges[0].flags.empty());
            EXPECT_EQ(exchanges[0].flags[0].text.rfind("fault", 0), 0u);
        }

        // The other services are unaffected.
        EXPECT_EQ(
            Get(simulator->PortOf(Service::FederationWrites), "/fdr/Service", {{"type", "1"}}).code,
            0);

        // Stopping releases a stalled request at once.
        const auto start = std::chrono::steady_clock::now();
        simulator->Stop();
        EXPECT_WAIT_AT_MOST(std::chrono::steady_clock::now() - start,
                            std::chrono::seconds(1) + fdrtest::kLoadedMachineSlack);
    }
}

}  // namespace
}  // namespace fdrsim::test
