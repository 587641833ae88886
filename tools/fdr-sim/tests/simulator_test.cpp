// The simulator end to end on free ports: a write read back, concurrent writes, the transcript,
// and a port that is taken. What the library reads from the sample federation, and that the
// token service takes the library's forms, is the library's concurrency test's.
#include <gtest/gtest.h>

#include <thread>

#include "JsonText.h"
#include "SimulatorClient.h"
#include "Transcript.h"

namespace fdrsim::test {
namespace {

Json::Value Parsed(const Reply& reply) {
    EXPECT_EQ(reply.code, 0) << reply.detail;
    return ParseJson(reply.body).value_or(Json::Value());
}

TEST(Simulator, StoresWritesAndServesChannelsOnTheReadPortOnly) {
    auto simulator = StartSimulator(FreePortOptions());
    ASSERT_NE(simulator, nullptr);
    const int writes = simulator->PortOf(Service::FederationWrites);
    const int reads = simulator->PortOf(Service::FederationReads);
    Json::Value members = Parsed(Get(writes, "/fdr/Autonomies"))["autonomy_list"];
    ASSERT_EQ(members.size(), 3u);
    EXPECT_TRUE(members[0]["group_list"][0]["id"].isInt());

    const std::string lid = members[1]["autonomy_lid"].asString();
    Json::Value channels = Parsed(Get(reads, "/fdr/CmsChannel", {{"autonomy_lid", lid}}));
    ASSERT_GE(channels["channel_list"].size(), 1u);
    const Json::Value first = channels["channel_list"][0];
    const std::string body = R"({"autonomy_list":[{"autonomy_lid":")" + lid +
                             R"(","mode":"replace","channel_list":[)" + CompactJson(first) + "]}]}";
    EXPECT_EQ(Parsed(Put(writes, "/fdr/CmsChannel", body))["err_code"].asInt(), 0);
    Json::Value after = Parsed(Get(reads, "/fdr/CmsChannel", {{"autonomy_lid", lid}}));
    ASSERT_EQ(after["channel_list"].size(), 1u);
    EXPECT_EQ(after["channel_list"][0], first);

    EXPECT_EQ(Get(writes, "/fdr/CmsChannel", {{"autonomy_lid", lid}}).detail, 405);
    EXPECT_EQ(simulator->Exchanges().Count(), 5u);
}

TEST(Simulator, ConcurrentWritesAreAllAppliedAndRecorded) {
    auto simulator = StartSimulator(FreePortOptions());
    ASSERT_NE(simulator, nullptr);
    const size_t before = simulator->Federation().Channels("1")->size();
    const int port = simulator->PortOf(Service::FederationWrites);
    std::vector<std::thread> writers;
    for (int w = 0; w < 6; ++w) {
        writers.emplace_back([port, w] {
            for (int i = 0; i < 10; ++i) {
                const std::string guid = "w" + std::to_string(w) + "-" + std::to_string(i);
                Put(port, "/fdr/CmsChannel",
                    R"({"autonomy_list":[{"autonomy_lid":"1","mode":"add","channel_list":[)"
                    R"({"guid":")" +
                        guid + R"(","name":"n","data":"{\"channel_guid\":\")" + guid +
                        R"(\"}"}]}]})");
            }
        });
    }
    for (auto& writer : writers) {
        writer.join();
    }
    EXPECT_EQ(simulator->Federation().Channels("1")->size(), before + 60);
    const auto exchanges = simulator->Exchanges().All();
    ASSERT_EQ(exchanges.size(), 60u);
    for (const auto& exchange : exchanges) {
        EXPECT_TRUE(exchange.ok()) << TranscriptLine(exchange);
    }
}

TEST(Transcript, RendersTheWholeExchangeAsOneJsonLineAndOneReadableLine) {
    Exchange answered;
    answered.time = std::chrono::system_clock::time_point(std::chrono::milliseconds(1715679000123));
    answered.service = Service::Aggregator;
    answered.port = 10235;
    answered.method = "PUT";
    answered.target = "/aggreatorService/system_info";
    answered.request_body = "mode=\"x\"";
    answered.status = 200;
    answered.answer_body = "{}";
    answered.flags = {{"not JSON", true}, {"a note", false}};
    Exchange stalled = answered;
    stalled.status = 0;
    stalled.answer_body.clear();
    stalled.flags = {{"fault stall: not answered", false}};

    EXPECT_EQ(TranscriptLine(answered),
              R"({"time":"2024-05-14T09:30:00.123Z","service":"aggregator","port":10235,)"
              R"("method":"PUT","target":"/aggreatorService/system_info","request":"mode=\"x\"",)"
              R"("status":200,"answer":"{}","flags":["not JSON","a note"],"ok":false})");
    EXPECT_NE(TranscriptLine(stalled).find(
                  R"("status":null,"answer":"","flags":["fault stall: not answered"],"ok":true})"),
              std::string::npos);
    // Local time first, then the rest.
    EXPECT_EQ(ReadableLine(answered).substr(12),
              "  aggregator        PUT  /aggreatorService/system_info  200  in 8 B  out 2 B  "
              "[!not JSON; a note]");
    EXPECT_NE(ReadableLine(stalled).find("system_info  ---  in 8 B  out 0 B"), std::string::npos);
}

TEST(Simulator, PortTakenFailsNamingThePortAndServiceAndReleasesTheOthers) {
    // The port is held by another simulator: two must never share a port.
    auto holder = StartSimulator(FreePortOptions());
    ASSERT_NE(holder, nullptr);
    const int taken = holder->PortOf(Service::Token);
    const int first_service_port = FreePort();
    SimulatorOptions options = FreePortOptions();
    options.ports[Service::VideoManagement] =
        first_service_port;  // started before the token service
    options.ports[Service::Token] = taken;
    Simulator simulator(std::move(options));
    std::string error;
    EXPECT_FALSE(simulator.Start(&error));
    EXPECT_NE(error.find("127.0.0.1:" + std::to_string(taken)), std::string::npos) << error;
    EXPECT_NE(error.find("token service"), std::string::npos) << error;
    EXPECT_NE(error.find("already in use"), std::string::npos) << error;

    // Nothing of the failed start keeps listening.
    SimulatorOptions again = FreePortOptions();
    again.ports[Service::VideoManagement] = first_service_port;
    EXPECT_NE(StartSimulator(std::move(again)), nullptr);
}

}  // namespace
}  // namespace fdrsim::test
