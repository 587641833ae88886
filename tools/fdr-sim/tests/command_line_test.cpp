// The options of fdr-sim: what they set, and how a bad one is refused.
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

TEST(CommandLine, RefusesBadArgumentsWithAReason) {
    const struct {
        std::vector<const char*> args;
        const char* error;
    } cases[] = {
        {{"--fault", "10240"}, "bad --fault \"10240\": expected PORT:MODE"},
        {{"--fault", "9999:stall"},
         "bad --fault \"9999:stall\": no service on port or named \"9999\""},
        {{"--fault"}, "--fault needs PORT:MODE"},
        {{"--token-ttl", "0"}, "--token-ttl needs a whole number of seconds above 0"},
        {{"--refresh-ttl=99999999999999999999"},
         "--refresh-ttl needs a whole number of seconds above 0"},
        {{"--port", "token=70000"},
         "--port needs SERVICE=PORT, e.g. token=18229 (0: any free port)"},
        {{"--port", "printer=1"}, "--port needs SERVICE=PORT, e.g. token=18229 (0: any free port)"},
        {{"--port", "token=000080"},
         "--port needs SERVICE=PORT, e.g. token=18229 (0: any free port)"},
        {{"--seed"}, "--seed needs a file name"},
        {{"--ready-file="}, "--ready-file needs a file name"},
        {{"--verbose"}, "unknown option --verbose"},
        {{"-h=1"}, "unknown option -h=1"},
        {{"--admin-port", "65536"}, "--admin-port needs a port number (0: any free port)"},
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
