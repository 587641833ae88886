// The simulator's default: every service on its fixed port. Holds the fixed-port lock in CTest.
#include <gtest/gtest.h>

#include "Simulator.h"

namespace fdrsim {
namespace {

TEST(FixedPorts, DefaultOptionsListenOnEveryFixedPort) {
    Simulator simulator(SimulatorOptions{});
    std::string error;
    ASSERT_TRUE(simulator.Start(&error)) << error;
    std::vector<int> ports;
    for (const auto& info : AllServices()) {
        ports.push_back(simulator.PortOf(info.id));
    }
    EXPECT_EQ(ports, (std::vector<int>{10223, 10227, 10228, 10229, 10235, 10240, 10241, 10250}));
}

}  // namespace
}  // namespace fdrsim
