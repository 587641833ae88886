// Host threads calling many operations at once on one object, which a case file (one thread, one
// call after another) cannot: every call gets its own right answer, every request arrives intact,
// the notifications that share a lock never overlap at their receivers, and everything else does
// run side by side.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "FederateUtil/CFederateUtil.h"
#include "Simulator.h"
#include "support/LocalServices.h"
#include "support/Threads.h"

namespace {

using Clock = std::chrono::system_clock;  // the simulator stamps arrivals with it

// Which notification lock an operation holds while its request is out. "/autonomy_changed"
// carries both the locked member change and the unlocked removal, told apart by a member key.
enum Lock { kNone, kArbitrator, kDravo };
Lock LockOf(const fdrsim::Exchange& e) {
    if (e.target == "/autonomy_refresh_ready" || e.target == "/apply_autonomies" ||
        (e.target == "/autonomy_changed" &&
         e.request_body.find("\"autonomy_group\"") != std::string::npos)) {
        return kArbitrator;
    }
    return e.target == "/dravoService/notify" ? kDravo : kNone;
}

// One request at its receiver: from arrival until its answer was ready.
struct Span {
    Clock::time_point arrived, answered;
    Lock lock;
};

// Overlapping pairs: [0] under the same lock, [1] both unlocked, [2] one under each lock,
// [3] a locked and an unlocked one.
std::vector<int> CountOverlaps(std::vector<Span> spans) {
    std::sort(spans.begin(), spans.end(),
              [](const Span& a, const Span& b) { return a.arrived < b.arrived; });
    std::vector<int> found(4, 0);
    std::vector<const Span*> open;
    for (const Span& span : spans) {
        open.erase(std::remove_if(open.begin(), open.end(),
                                  [&](const Span* o) { return o->answered <= span.arrived; }),
                   open.end());
        for (const Span* other : open) {
            const bool both_locked = other->lock != kNone && span.lock != kNone;
            ++found[other->lock == span.lock ? (span.lock == kNone ? 1 : 0)
                                             : (both_locked ? 2 : 3)];
        }
        open.push_back(&span);
    }
    return found;
}

TEST(Concurrency, EightThreadsOfMixedOperationsKeepLocksAndAnswersApart) {
    fdrsim::Simulator simulator{fdrsim::SimulatorOptions{}};
    std::vector<Span> spans;
    // Sinks run one at a time, as each exchange is recorded: just before its answer goes out.
    simulator.Exchanges().AddSink([&spans](const fdrsim::Exchange& e) {
        spans.push_back({e.time, Clock::now(), LockOf(e)});
    });
    std::string error;
    ASSERT_TRUE(simulator.Start(&error)) << error;

    // Each true when the result is 0 and the output named holds the text the sample federation
    // gives that call. Arguments as the case files give them; each call takes a fresh copy.
    using U = CFederateUtil;
    using Args = decltype(fdrcase::CallData::args);
    const auto named = [](const char* operation, Args args, const char* output = "",
                          const char* holds = "") {
        return [operation, args, output, holds](U& u) {
            fdrcase::CallData call;
            call.args = args;
            return fdrcase::OperationNamed(operation)(u, call) == 0 &&
                   call.outputs[output].find(holds) != std::string::npos;
        };
    };
    const std::string members = R"({"autonomy_list":[{"autonomy_lid":"1"},{"autonomy_lid":"2"},)"
                                R"({"autonomy_lid":"3","health_status":18446744073709551615}]})";
    const std::vector<std::function<bool(U&)>> operations = {
        named("LoadFdrFederateSetting", {}, "guid", "8d3f6c2a-4b1e-4f7a-9c55-2e91a0b7d403"),
        named("LoadFdrAutonomyListSetting", {{"list", {"{}"}}}, "lids", "1,2,3"),
        named("LoadFdrChannelSetting", {{"lid", {"1"}}}, "channel_texts",
              "c1f0a7e2-0003-4b8e-9d3a-5e6f7a8b9c03"),
        named("GetFdrPrivilegeByUser", {{"user", {"guard"}}, {"second", {""}}}, "result",
              R"("identify":"guard")"),
        named("GetFdrPrivilegeTime", {}, "timestamp", "1715679000"),
        [](U& u) {
            std::string id = "recorder", secret = "s3cret", token;
            return u.AuthGetToken(id, secret, token) == 0 && token.rfind("at-", 0) == 0;
        },
        // Concurrent refreshes race for the one stored refresh token; losers keep their token.
        [](U& u) {
            std::string id = "recorder", secret = "s3cret", token = "kept";
            return u.AuthRefreshToken(id, secret, token) == 0 &&
                   (token == "kept" || token.rfind("at-", 0) == 0);
        },
        named("SaveFdrAllChannelsSetting",
              {{"servers", {R"({"autonomy_list":[{"autonomy_lid":"2"}]})"}},
               {"channels",
                {R"({"autonomy_list":[{"autonomy_lid":"2","channel_list":[)"
                 R"({"data":"{\"channel_guid\":\"d2e8b1c4-0001-47aa-8f10-3b2c1d0e9f11\"}"},)"
                 R"({"data":"{\"channel_guid\":\"d2e8b1c4-new\"}"}]}]})"}}}),
        named("NotifyLogAddAutonomy", {{"list", {members}}}),
        named("NotifyArbitratorRemoveAutonomy", {{"lid", {"3"}}}),
        named("NotifyArbitratorCameraStatusChange",
              {{"lid", {"1"}},
               {"statuses", {R"([{"channel_guid":"c1f0a7e2-0001-4b8e-9d3a-5e6f7a8b9c01"}])"}}}),
        named("NotifyArbitratorCameraListRefresh", {{"lid", {"1"}}}),
        named("NotifyArbitratorAutonomyChange", {{"list", {members}}}),
        named("NotifyArbitratorRefreshReady", {}),
        named("NotifyArbitratorAutoModeChange",
              {{"lid", {"3"}}, {"password", {"pa ss"}}, {"group", {"2"}}, {"mode", {"autonomy"}}}),
        named("NotifyDravoServerAutonomyChange", {{"list", {members}}}),
        named(
            "NotifyDravoData",
            {{"lid", {"1"}}, {"json", {R"({"notice_reason":{"type":5,"id":9007199254740993}})"}}}),
    };
    constexpr int kThreads = 8, kCallsPerThread = 1000;
    CFederateUtil util;
    std::vector<std::vector<int>> wrong(kThreads, std::vector<int>(operations.size(), 0));
    testing::internal::CaptureStdout();  // the save prints the service's error triple
    fdrtest::OnThreads(kThreads, [&](int t) {
        for (int i = 0; i < kCallsPerThread; ++i) {
            // Each thread walks the operations from its own starting point.
            const size_t k = static_cast<size_t>(i + t * 5) % operations.size();
            wrong[t][k] += operations[k](util) ? 0 : 1;
        }
    });
    testing::internal::GetCapturedStdout();
    simulator.Stop();

    for (size_t k = 0; k < operations.size(); ++k) {
        int failed = 0;
        for (int t = 0; t < kThreads; ++t) {
            failed += wrong[t][k];
        }
        EXPECT_EQ(failed, 0) << "operation " << k << ": calls that did not get their answer";
    }
    const auto exchanges = simulator.Exchanges().All();
    ASSERT_EQ(exchanges.size(), static_cast<size_t>(kThreads * kCallsPerThread));
    for (const auto& e : exchanges) {
        ASSERT_TRUE(e.ok()) << e.method << " " << e.target << " " << e.request_body.substr(0, 200)
                            << ": " << e.flags.front().text;
    }
    const std::vector<int> overlaps = CountOverlaps(spans);
    EXPECT_EQ(overlaps[0], 0) << "requests under one lock overlapped";
    EXPECT_GT(overlaps[1], 0) << "unlocked requests never ran side by side";
    EXPECT_GT(overlaps[2], 0) << "the two locks' requests never ran side by side";
    EXPECT_GT(overlaps[3], 0) << "locked and unlocked requests never ran side by side";
}

// The answer names the client that asked, so a crossed wire between token calls would show.
TEST(Concurrency, ConcurrentTokenCallsEachGetTheirOwnAnswer) {
    const auto services = fdrtest::StartRecorder();
    services->ScriptWith(fdrsim::Service::Token, "POST", "/token", [](const auto& request) {
        const std::string client = request.body.substr(40, request.body.find('&', 40) - 40);
        return fdrsim::ScriptedAnswer{200, R"({"access_token":")" + client + R"("})"};
    });
    CFederateUtil util;
    std::vector<int> good(8, 0);
    fdrtest::OnThreads(8, [&](int t) {
        std::string client = "client" + std::to_string(t), secret = "s";
        for (int i = 0; i < 10; ++i) {
            std::string token;
            util.AuthGetToken(client, secret, token);
            good[t] += token == client ? 1 : 0;
        }
    });
    EXPECT_EQ(good, std::vector<int>(8, 10));
}

}  // namespace
