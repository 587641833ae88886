// The options of fdr-sim: what they set (the program cases in cases/ pin what they refuse).
#include <gtest/gtest.h>

#include "CommandLine.h"

namespace fdrsim {
namespace {

bool Parse(std::vector<const char*> args, CommandLine& out) {
    return ParseCommandLine(static_cast<int>(args.size()), args.data(), out, nullptr);
}

TEST(CommandLine, RepeatedFaultsAndPortsAccumulateByPortOrName) {
    CommandLine out;
    ASSERT_TRUE(Parse({"--fault", "10240:stall", "--fault", "token:close-early", "--port",
                       "arbitrator=0", "--port", "10229=18229", "--token-ttl=5", "-q"},
                      out));
    EXPECT_EQ(out.simulator.faults,
              (std::map<Service, FaultMode>{{Service::FederationWrites, FaultMode::Stall},
                                            {Service::Token, FaultMode::CloseEarly}}));
    EXPECT_EQ(out.simulator.ports,
              (std::map<Service, int>{{Service::Arbitrator, 0}, {Service::Token, 18229}}));
    EXPECT_EQ(out.simulator.token_ttl.count(), 5);
    EXPECT_TRUE(out.quiet);
}

TEST(CommandLine, TheControlApiTakesAFreePortBesideServicesOnFreePorts) {
    const struct {
        std::vector<const char*> args;
        int admin_port;
    } cases[] = {
        {{}, 10299},
        {{"--any-ports"}, 0},
        {{"--any-ports", "--admin-port", "18299"}, 18299},
        {{"--admin-port=0"}, 0},
    };
    for (const auto& c : cases) {
        CommandLine out;
        ASSERT_TRUE(Parse(c.args, out));
        EXPECT_EQ(out.admin_port, c.admin_port) << c.args.size();
    }
}

}  // namespace
}  // namespace fdrsim
