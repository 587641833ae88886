// The options of fdr-sim: what they set, and the edges of what they refuse (the program cases
// in cases/ pin the messages as printed).
#include <gtest/gtest.h>

#include "CommandLine.h"

namespace fdrsim {
namespace {

bool Parse(std::vector<const char*> args, CommandLine& out, std::string* error = nullptr) {
    return ParseCommandLine(static_cast<int>(args.size()), args.data(), out, error);
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

TEST(CommandLine, RefusesTheEdgesOfEachValue) {
    const struct {
        std::vector<const char*> args;
        const char* error;
    } cases[] = {
        {{"--port", "token=000080"},
         "--port needs SERVICE=PORT, e.g. token=18229 (0: any free port)"},
        {{"--admin-port", "65536"}, "--admin-port needs a port number (0: any free port)"},
        {{"--ready-file="}, "--ready-file needs a file name"},
        {{"-h=1"}, "unknown option -h=1"},
    };
    for (const auto& c : cases) {
        CommandLine out;
        std::string error;
        EXPECT_FALSE(Parse(c.args, out, &error)) << c.error;
        EXPECT_EQ(error, c.error);
    }
}

}  // namespace
}  // namespace fdrsim
