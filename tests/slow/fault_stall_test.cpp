// SLOW: every reading operation against services that accept the request and never answer.
// All wait side by side, so the test lasts one 30-second time-out, not eight time-outs.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "Simulator.h"
#include "platform/kfen_client.h"
#include "support/ReadingOperations.h"
#include "support/Timing.h"

namespace {

using fdrsim::Service;
using namespace std::chrono_literals;

constexpr int kTimedOut = 28;  // libcurl's operation-timed-out code

TEST(FaultStall, EveryReaderGivesUpAtItsOwnTimeOutAndKeepsItsOutputs) {
    const std::vector<fdrtest::Reader> readers = fdrtest::Readers();
    fdrsim::SimulatorOptions options;
    options.recorder_only = true;
    for (const Service service :
         {Service::Token, Service::FederationWrites, Service::FederationReads}) {
        options.faults[service] = fdrsim::FaultMode::Stall;
    }
    fdrsim::Simulator services(std::move(options));
    std::string error;
    ASSERT_TRUE(services.Start(&error)) << error;
    std::vector<fdrtest::Call> calls(readers.size());
    {
        fdrtest::QuietStdout quiet;
        std::vector<std::thread> threads;
        for (size_t i = 0; i < readers.size(); ++i) {
            threads.emplace_back([&, i] { calls[i] = fdrtest::RunOnce(readers[i]); });
        }
        for (auto& thread : threads) {
            thread.join();
        }
    }
    for (size_t i = 0; i < readers.size(); ++i) {
        const fdrtest::Reader& reader = readers[i];
        SCOPED_TRACE(reader.name);
        const fdrtest::Outcome failed{reader.returns_code ? KFEN_ERR_TRANSPORT : 0,
                                      reader.untouched};
        EXPECT_EQ(calls[i].outcome, failed);
        EXPECT_EQ(calls[i].detail, reader.uses_client ? kTimedOut : fdrtest::kNoDetail);
        EXPECT_GE(calls[i].waited, reader.timeout - 100ms);
        EXPECT_WAIT_AT_MOST(calls[i].waited, reader.timeout + fdrtest::kLoadedMachineSlack);
    }
    EXPECT_EQ(services.Exchanges().Count(), readers.size());
}

}  // namespace
