// The simulator's default: every service on its fixed port. Holds the fixed-port lock in CTest.
// The library's concurrency test talks to such a simulator through every service it uses.
#include <gtest/gtest.h>

#include "SimulatorClient.h"

namespace fdrsim::test {
namespace {

TEST(FixedPorts, DefaultOptionsListenOnEveryFixedPort) {
    auto simulator = StartSimulator(SimulatorOptions{});
    ASSERT_NE(simulator, nullptr);
    for (const auto& info : AllServices()) {
        EXPECT_EQ(simulator->PortOf(info.id), info.port) << info.key;
    }
}

}  // namespace
}  // namespace fdrsim::test
