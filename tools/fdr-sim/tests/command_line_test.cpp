// The options of fdr-sim, and what it refuses.
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
                       "arbitrator=0", "--port", "10229=18229", "--token-ttl=5"},
                      out));
    EXPECT_EQ(out.faults,
              (std::map<Service, FaultMode>{{Service::FederationWrites, FaultMode::Stall},
                                            {Service::Token, FaultMode::CloseEarly}}));
    EXPECT_EQ(out.ports,
              (std::map<Service, int>{{Service::Arbitrator, 0}, {Service::Token, 18229}}));
    EXPECT_EQ(out.token_ttl.count(), 5);
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

TEST(CommandLine, RefusesBadArgumentsWithAReason) {
    const struct {
        std::vector<const char*> args;
        const char* error;
    } cases[] = {
        {{"--fault", "10240"}, "expected PORT:MODE"},
        {{"--fault", "9999:stall"}, "no service on port or named \"9999\""},
        {{"--fault", "10240:explode"}, "unknown mode \"explode\""},
        {{"--token-ttl", "0"}, "--token-ttl needs a whole number"},
        {{"--port", "token=70000"}, "--port needs SERVICE=PORT"},
        {{"--seed"}, "--seed needs a file name"},
        {{"--verbose"}, "unknown option --verbose"},
        {{"--admin-port", "70000"}, "--admin-port needs a port number"},
    };
    for (const auto& c : cases) {
        CommandLine out;
        std::string error;
        EXPECT_FALSE(Parse(c.args, out, &error)) << c.error;
        EXPECT_NE(error.find(c.error), std::string::npos) << error;
    }
}

}  // namespace
}  // namespace fdrsim
