// Host threads calling many operations at once on one object, which a case file (one thread, one
// call after another) cannot: every call gets its own right answer, every request arrives intact,
// the notifications that share a lock never overlap at their receivers, and everything else does
// run side by side.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "FederateUtil/CFederateUtil.h"
#include "Simulator.h"
#include "support/LocalServices.h"

namespace {

using Clock = std::chrono::system_clock;  // the simulator stamps arrivals with it
using Record = DravoAgentData::AutonomyList::AutonomyListObj;

// Runs `calls` on each of `threads` threads at once and joins them.
void OnThreads(int threads, const std::function<void(int thread)>& calls) {
    std::vector<std::thread> running;
    for (int t = 0; t < threads; ++t) {
        running.emplace_back(calls, t);
    }
    for (auto& thread : running) {
        thread.join();
    }
}

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
    fdrsim::SimulatorOptions options;
    const fdrsim::FederationSeed seed = options.federation;
    fdrsim::Simulator simulator(options);
    std::vector<Span> spans;
    // Sinks run one at a time, as each exchange is recorded: just before its answer goes out.
    simulator.Exchanges().AddSink([&spans](const fdrsim::Exchange& e) {
        spans.push_back({e.time, Clock::now(), LockOf(e)});
    });
    std::string error;
    ASSERT_TRUE(simulator.Start(&error)) << error;

    // What the host hands over, shared read-only by every thread.
    DravoAgentData::AutonomyList members, member2;
    for (const char* lid : {"1", "2", "3"}) {
        members.autonomy_list.push_back(std::make_shared<Record>());
        members.autonomy_list.back()->autonomy_lid = lid;
        members.autonomy_list.back()->health_status = UINT64_MAX;
    }
    member2.autonomy_list = {members.autonomy_list[1]};
    ChannelObjList channels2;
    for (const char* guid : {"d2e8b1c4-0001-47aa-8f10-3b2c1d0e9f11", "d2e8b1c4-new"}) {
        channels2.push_back(std::make_shared<DravoAgentData::ChannelInformation::ChannelObj>());
        channels2.back()->channel_guid = guid;
        channels2.back()->owner_lid = "2";
    }
    ChannelStatusObjList statuses = {
        std::make_shared<DravoAgentData::RealtimeEvent::ChannelStatusObj>()};
    statuses[0]->channel_guid = "c1f0a7e2-0001-4b8e-9d3a-5e6f7a8b9c01";
    const FederateBoxType::AutonomyInfo info{"3", "Front Office", "admin", "pa ss", "10.0.0.3", 2};
    std::vector<std::string> lids, guids1;
    for (const auto& member : seed.members) {
        lids.push_back(member.autonomy_lid);
    }
    for (const auto& channel : seed.members[0].channels) {
        guids1.push_back(channel.guid);
    }
    const std::string lid1 = seed.members[0].autonomy_lid;

    // Each true when the result and the outputs are as the sample federation makes them.
    using U = CFederateUtil;
    const std::vector<std::function<bool(U&)>> operations = {
        [&](U& u) {
            std::string guid;
            return u.LoadFdrFederateSetting(guid) == 0 && guid == seed.guid;
        },
        [&](U& u) {
            DravoAgentData::AutonomyList list;
            std::vector<std::string> got;
            const int r = u.LoadFdrAutonomyListSetting(list);
            for (const auto& record : list.autonomy_list) {
                got.push_back(record->autonomy_lid);
            }
            return r == 0 && got == lids;
        },
        [&](U& u) {
            ChannelObjList channels;
            std::vector<std::string> got;
            const int r = u.LoadFdrChannelSetting(lid1, channels);
            for (const auto& channel : channels) {
                got.push_back(channel->channel_guid);
            }
            return r == 0 && got == guids1;
        },
        [](U& u) {
            std::string user = "guard", second, result;
            return u.GetFdrPrivilegeByUser(user, second, result) == 0 &&
                   result.find(R"("identify":"guard")") != std::string::npos;
        },
        [&](U& u) {
            std::string timestamp;
            return u.GetFdrPrivilegeTime(timestamp) == 0 &&
                   timestamp == seed.config.at("fdrsystem").at("priv_last_ts");
        },
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
        [&](U& u) { return u.SaveFdrAllChannelsSetting(member2, channels2) == 0; },
        [&](U& u) { return u.NotifyLogAddAutonomy(members) == 0; },
        [](U& u) {
            std::string lid = "3";
            return u.NotifyArbitratorRemoveAutonomy(lid) == 0;
        },
        [&](U& u) { return u.NotifyArbitratorCameraStatusChange("1", statuses) == 0; },
        [](U& u) { return u.NotifyArbitratorCameraListRefresh("1") == 0; },
        [&](U& u) { return u.NotifyArbitratorAutonomyChange(members) == 0; },
        [](U& u) { return u.NotifyArbitratorRefreshReady() == 0; },
        [&](U& u) { return u.NotifyArbitratorAutoModeChange(info, "autonomy") == 0; },
        [&](U& u) { return u.NotifyDravoServerAutonomyChange(members) == 0; },
        [](U& u) {
            return u.NotifyDravoData("1",
                                     R"({"notice_reason":{"type":5,"id":9007199254740993}})") == 0;
        },
    };
    constexpr int kThreads = 8, kCallsPerThread = 1000;
    CFederateUtil util;
    std::vector<std::vector<int>> wrong(kThreads, std::vector<int>(operations.size(), 0));
    testing::internal::CaptureStdout();  // the save prints the service's error triple
    OnThreads(kThreads, [&](int t) {
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
    OnThreads(8, [&](int t) {
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
