// Eight host threads calling a thousand mixed operations each on one object, against the
// simulated local services: every operation gets its own right answer, every request arrives
// intact, the notifications that share a lock never overlap at their receivers, and everything
// else does run side by side.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "FederateUtil/CFederateUtil.h"
#include "Simulator.h"
#include "support/ReadingOperations.h"

namespace {

using Clock = std::chrono::system_clock;  // the simulator stamps arrivals with it
using Record = DravoAgentData::AutonomyList::AutonomyListObj;
using ChannelObj = DravoAgentData::ChannelInformation::ChannelObj;

constexpr int kThreads = 8;
constexpr int kCallsPerThread = 1000;

// Which notification lock an operation holds while its request is out.
enum class Lock { kNone, kArbitrator, kDravo };

// One request as its receiver saw it: from its arrival to the moment its answer was ready.
struct Span {
    Clock::time_point arrived;
    Clock::time_point answered;
    Lock lock;
};

// The lock of the operation that sent a request. "/autonomy_changed" carries both the locked
// member change and the unlocked removal, told apart by the member object's first key.
Lock LockOf(const fdrsim::Exchange& exchange) {
    const std::string& target = exchange.target;
    if (target == "/autonomy_refresh_ready" || target == "/apply_autonomies" ||
        (target == "/autonomy_changed" &&
         exchange.request_body.find("\"autonomy_group\"") != std::string::npos)) {
        return Lock::kArbitrator;
    }
    return target == "/dravoService/notify" ? Lock::kDravo : Lock::kNone;
}

struct Overlaps {
    int same_lock = 0;    // two requests of operations holding the same lock
    int free = 0;         // two requests of operations holding no lock
    int two_locks = 0;    // one request under each lock
    int locked_free = 0;  // a locked and an unlocked request
};

// Counts overlapping pairs of spans by kind.
Overlaps CountOverlaps(std::vector<Span> spans) {
    std::sort(spans.begin(), spans.end(),
              [](const Span& a, const Span& b) { return a.arrived < b.arrived; });
    Overlaps found;
    std::vector<const Span*> open;
    for (const Span& span : spans) {
        open.erase(std::remove_if(open.begin(), open.end(),
                                  [&](const Span* o) { return o->answered <= span.arrived; }),
                   open.end());
        for (const Span* other : open) {
            if (other->lock == span.lock) {
                ++(span.lock == Lock::kNone ? found.free : found.same_lock);
            } else if (other->lock != Lock::kNone && span.lock != Lock::kNone) {
                ++found.two_locks;
            } else {
                ++found.locked_free;
            }
        }
        open.push_back(&span);
    }
    return found;
}

// What the host hands over: read-only from here on, shared by every thread.
struct HostData {
    DravoAgentData::AutonomyList members;
    DravoAgentData::AutonomyList member2;  // the one member whose channels are rewritten
    ChannelObjList channels2;
    ChannelStatusObjList statuses;
    FederateBoxType::AutonomyInfo info{"3", "Front Office", "admin", "pa ss", "10.0.0.3", 2};

    HostData() {
        for (const char* lid : {"1", "2", "3"}) {
            auto record = std::make_shared<Record>();
            record->autonomy_lid = lid;
            record->health_status = UINT64_MAX;
            members.autonomy_list.push_back(record);
        }
        member2.autonomy_list = {members.autonomy_list[1]};
        for (const char* guid : {"d2e8b1c4-0001-47aa-8f10-3b2c1d0e9f11", "d2e8b1c4-new"}) {
            auto channel = std::make_shared<ChannelObj>();
            channel->channel_guid = guid;
            channel->owner_lid = "2";
            channels2.push_back(channel);
        }
        auto status = std::make_shared<DravoAgentData::RealtimeEvent::ChannelStatusObj>();
        status->channel_guid = "c1f0a7e2-0001-4b8e-9d3a-5e6f7a8b9c01";
        statuses.push_back(status);
    }
};

struct Operation {
    const char* name;
    // True when the result and the outputs are as the sample federation makes them.
    std::function<bool(CFederateUtil&)> run;
};

std::vector<Operation> Operations(HostData& host, const fdrsim::FederationSeed& seed) {
    std::vector<std::string> lids;
    for (const auto& member : seed.members) {
        lids.push_back(member.autonomy_lid);
    }
    std::vector<std::string> guids1;
    for (const auto& channel : seed.members[0].channels) {
        guids1.push_back(channel.guid);
    }
    const std::string guid = seed.guid;
    const std::string timestamp = seed.config.at("fdrsystem").at("priv_last_ts");
    const std::string lid1 = seed.members[0].autonomy_lid;
    return {
        {"LoadFdrFederateSetting",
         [guid](CFederateUtil& util) {
             std::string out;
             return util.LoadFdrFederateSetting(out) == 0 && out == guid;
         }},
        {"LoadFdrAutonomyListSetting",
         [lids](CFederateUtil& util) {
             DravoAgentData::AutonomyList list;
             std::vector<std::string> got;
             const int r = util.LoadFdrAutonomyListSetting(list);
             for (const auto& record : list.autonomy_list) {
                 got.push_back(record->autonomy_lid);
             }
             return r == 0 && got == lids;
         }},
        {"LoadFdrChannelSetting",
         [guids1, lid1](CFederateUtil& util) {
             ChannelObjList channels;
             std::vector<std::string> got;
             const int r = util.LoadFdrChannelSetting(lid1, channels);
             for (const auto& channel : channels) {
                 got.push_back(channel->channel_guid);
             }
             return r == 0 && got == guids1;
         }},
        {"GetFdrPrivilegeByUser",
         [](CFederateUtil& util) {
             std::string user = "guard";
             std::string second;
             std::string result;
             return util.GetFdrPrivilegeByUser(user, second, result) == 0 &&
                    result.find(R"("identify":"guard")") != std::string::npos;
         }},
        {"GetFdrPrivilegeTime",
         [timestamp](CFederateUtil& util) {
             std::string out;
             return util.GetFdrPrivilegeTime(out) == 0 && out == timestamp;
         }},
        {"AuthGetToken",
         [](CFederateUtil& util) {
             std::string id = "recorder";
             std::string secret = "s3cret";
             std::string token;
             return util.AuthGetToken(id, secret, token) == 0 && token.rfind("at-", 0) == 0;
         }},
        // Concurrent refreshes race for the one stored refresh token; losers keep their token.
        {"AuthRefreshToken",
         [](CFederateUtil& util) {
             std::string id = "recorder";
             std::string secret = "s3cret";
             std::string token = "kept";
             return util.AuthRefreshToken(id, secret, token) == 0 &&
                    (token == "kept" || token.rfind("at-", 0) == 0);
         }},
        {"SaveFdrAllChannelsSetting",
         [&host](CFederateUtil& util) {
             return util.SaveFdrAllChannelsSetting(host.member2, host.channels2) == 0;
         }},
        {"NotifyLogAddAutonomy",
         [&host](CFederateUtil& util) { return util.NotifyLogAddAutonomy(host.members) == 0; }},
        {"NotifyArbitratorRemoveAutonomy",
         [](CFederateUtil& util) {
             std::string lid = "3";
             return util.NotifyArbitratorRemoveAutonomy(lid) == 0;
         }},
        {"NotifyArbitratorCameraStatusChange",
         [&host](CFederateUtil& util) {
             return util.NotifyArbitratorCameraStatusChange("1", host.statuses) == 0;
         }},
        {"NotifyArbitratorCameraListRefresh",
         [](CFederateUtil& util) { return util.NotifyArbitratorCameraListRefresh("1") == 0; }},
        {"NotifyArbitratorAutonomyChange",
         [&host](CFederateUtil& util) {
             return util.NotifyArbitratorAutonomyChange(host.members) == 0;
         }},
        {"NotifyArbitratorRefreshReady",
         [](CFederateUtil& util) { return util.NotifyArbitratorRefreshReady() == 0; }},
        {"NotifyArbitratorAutoModeChange",
         [&host](CFederateUtil& util) {
             return util.NotifyArbitratorAutoModeChange(host.info, "autonomy") == 0;
         }},
        {"NotifyDravoServerAutonomyChange",
         [&host](CFederateUtil& util) {
             return util.NotifyDravoServerAutonomyChange(host.members) == 0;
         }},
        {"NotifyDravoData",
         [](CFederateUtil& util) {
             return util.NotifyDravoData(
                        "1", R"({"notice_reason":{"type":5,"id":9007199254740993}})") == 0;
         }},
    };
}

TEST(Concurrency, EightThreadsOfMixedOperationsKeepLocksAndAnswersApart) {
    fdrsim::SimulatorOptions options;
    const fdrsim::FederationSeed seed = options.federation;
    fdrsim::Simulator simulator(options);
    std::vector<Span> spans;
    // Sinks run one at a time, as each exchange is recorded: just before its answer goes out.
    simulator.Exchanges().AddSink([&spans](const fdrsim::Exchange& exchange) {
        spans.push_back({exchange.time, Clock::now(), LockOf(exchange)});
    });
    std::string error;
    ASSERT_TRUE(simulator.Start(&error)) << error;

    HostData host;
    const std::vector<Operation> operations = Operations(host, seed);
    CFederateUtil util;
    std::vector<std::vector<int>> wrong(kThreads, std::vector<int>(operations.size(), 0));
    {
        fdrtest::QuietStdout quiet;  // the save prints the service's error triple
        std::vector<std::thread> threads;
        for (int t = 0; t < kThreads; ++t) {
            threads.emplace_back([&, t] {
                for (int i = 0; i < kCallsPerThread; ++i) {
                    // Each thread walks the operations from its own starting point.
                    const size_t k = static_cast<size_t>(i + t * 5) % operations.size();
                    wrong[t][k] += operations[k].run(util) ? 0 : 1;
                }
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
    }
    simulator.Stop();

    for (size_t k = 0; k < operations.size(); ++k) {
        int failed = 0;
        for (int t = 0; t < kThreads; ++t) {
            failed += wrong[t][k];
        }
        EXPECT_EQ(failed, 0) << operations[k].name << " calls that did not get their answer";
    }
    const auto exchanges = simulator.Exchanges().All();
    ASSERT_EQ(exchanges.size(), static_cast<size_t>(kThreads * kCallsPerThread));
    int problems = 0;
    for (const auto& exchange : exchanges) {
        if (!exchange.ok() && ++problems <= 3) {
            ADD_FAILURE() << exchange.method << " " << exchange.target << " "
                          << exchange.request_body.substr(0, 200) << ": "
                          << exchange.flags.front().text;
        }
    }
    EXPECT_EQ(problems, 0);

    const Overlaps overlaps = CountOverlaps(spans);
    EXPECT_EQ(overlaps.same_lock, 0) << "requests under one lock overlapped";
    EXPECT_GT(overlaps.free, 0) << "unlocked requests never ran side by side";
    EXPECT_GT(overlaps.two_locks, 0) << "the two locks' requests never ran side by side";
    EXPECT_GT(overlaps.locked_free, 0) << "locked and unlocked requests never ran side by side";
    RecordProperty("overlapping_unlocked", overlaps.free);
    RecordProperty("overlapping_across_locks", overlaps.two_locks);
    RecordProperty("overlapping_locked_unlocked", overlaps.locked_free);
}

}  // namespace
