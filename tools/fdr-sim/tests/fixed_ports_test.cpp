// The simulator's default: every service on its fixed port. Holds the fixed-port lock in CTest.
#include <gtest/gtest.h>

#include "SimulatorClient.h"

namespace fdrsim::test {
namespace {

TEST(FixedPorts, DefaultOptionsListenOnEveryFixedPort) {
    auto simulator = StartSimulator(SimulatorOptions{});
    ASSERT_NE(simulator, nullptr);
    for (const auto& info : AllServices()) {
        EXPECT_EQ(simulator->PortOf(info.id), info.fixed_port) << info.key;
    }
    EXPECT_EQ(Get(10240, "/fdr/Service", {{"type", "1"}}).code, 0);
    EXPECT_EQ(Get(10241, "/fdr/Config", {{"section", "fdrsystem"}, {"key", "priv_last_ts"}}).code,
              0);
    EXPECT_EQ(Put(10228, "/autonomy_refresh_ready", "").code, 0);
    EXPECT_EQ(PostToken(10229,
                        "grant_type=client_credentials&client_id=recorder&client_secret="
                        "s3cret&undefined=")
                  .status,
              200);
    EXPECT_EQ(simulator->Exchanges().Count(), 4u);
}

}  // namespace
}  // namespace fdrsim::test
