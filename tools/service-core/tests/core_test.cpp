// The core's behaviour over time and threads, on free ports: refusing and stalling, the journal's
// filter, wait and cap, scripted responders, the federation's round trip and reset, concurrent
// writes, a port that is taken, and the compiled-in sample federation.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <sstream>
#include <thread>

#include "JsonText.h"
#include "Simulator.h"
#include "support/Timing.h"

namespace fdrsim {
namespace {

using std::chrono::seconds;

// A request sent on a connection of its own; returns the answer up to the end or the time-out.
std::string Send(int port, const std::string& body, const char* path = "/channel_info_refresh") {
    const int sock = BoundLoopbackSocket(0);
    sockaddr_in address{AF_INET, htons(static_cast<uint16_t>(port)), {htonl(INADDR_LOOPBACK)}, {}};
    const std::string request = std::string("PUT ") + path +
                                " HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) +
                                "\r\n\r\n" + body;
    std::string answer;
    if (::connect(sock, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
        ::send(sock, request.data(), request.size(), MSG_NOSIGNAL);
        char buffer[4096];
        for (ssize_t n; answer.find("\r\n\r\n") == std::string::npos &&
                        (n = ::recv(sock, buffer, sizeof buffer, 0)) > 0;) {
            answer.append(buffer, static_cast<size_t>(n));
        }
    } else {
        answer = "refused";
    }
    ::close(sock);
    return answer.substr(0, answer.find("\r\n"));
}

std::unique_ptr<Simulator> Started(SimulatorOptions options = {}) {
    options.any_ports = true;
    auto core = std::make_unique<Simulator>(std::move(options));
    std::string error;
    EXPECT_TRUE(core->Start(&error)) << error;
    return core;
}

Fault Of(FaultMode mode) {
    Fault fault;
    fault.mode = mode;
    return fault;
}

TEST(Control, RefusingAndStallingComeAndGoWhileServing) {
    auto core = Started();
    const auto port = [&] { return core->PortOf(Service::Arbitrator); };
    core->SetFault(Service::Arbitrator, Of(FaultMode::Refuse));
    EXPECT_EQ(Send(port(), "{}"), "refused");
    core->ClearFault(Service::Arbitrator);
    EXPECT_EQ(Send(port(), "{}"), "HTTP/1.1 200 OK");
    EXPECT_EQ(core->Exchanges().Count(), 1u) << "the refused request never arrives";

    // A stalled request is answered once the fault is cleared, and the journal keeps its answer.
    core->SetFault(Service::Arbitrator, Of(FaultMode::Stall));
    std::string released;
    std::thread waiting([&] { released = Send(port(), R"({"autonomy_lid":"1"})"); });
    ASSERT_TRUE(core->Exchanges().WaitFor({{}, "", "", 1}, fdrtest::kEventuallyLimit));
    core->ClearFault(Service::Arbitrator);
    waiting.join();
    EXPECT_EQ(released, "HTTP/1.1 200 OK");
    const auto stalled = core->Exchanges().List().back();
    EXPECT_EQ(stalled.fault, "stall");
    EXPECT_EQ(stalled.status, 200);
    EXPECT_EQ(stalled.answer_body, "{}");

    // Stopping releases a stalled request at once.
    core->SetFault(Service::Arbitrator, Of(FaultMode::Stall));
    std::thread stopped([&] { released = Send(port(), "{}"); });
    ASSERT_TRUE(core->Exchanges().WaitFor({{}, "", "", 2}, fdrtest::kEventuallyLimit));
    const auto start = std::chrono::steady_clock::now();
    core->Stop();
    stopped.join();
    EXPECT_EQ(released, "");
    EXPECT_WAIT_AT_MOST(std::chrono::steady_clock::now() - start,
                        seconds(1) + fdrtest::kLoadedMachineSlack);
}

TEST(Control, TheJournalFiltersWaitsAndKeepsTheNewest) {
    SimulatorOptions options;
    options.journal_capacity = 3;
    auto core = Started(std::move(options));
    for (int i = 0; i < 4; ++i) {
        Send(core->PortOf(Service::Arbitrator), "{}");
    }
    Send(core->PortOf(Service::FederationWrites), "", "/fdr/Service?type=1");
    ExchangeLog& journal = core->Exchanges();
    EXPECT_EQ(journal.LastId(), 5u);
    EXPECT_EQ(journal.Dropped(), 2u);
    ASSERT_EQ(journal.List().size(), 3u);
    EXPECT_EQ(journal.List().front().id, 3u);
    const auto writes = journal.List({Service::FederationWrites, "", "/fdr/Service", 0});
    ASSERT_EQ(writes.size(), 1u);
    EXPECT_EQ(writes[0].target, "/fdr/Service?type=1");
    EXPECT_EQ(journal.List({std::nullopt, "PUT", "", 4}).size(), 1u);
    EXPECT_TRUE(journal.List({std::nullopt, "GET", "", 0}).empty());

    journal.Clear();
    std::thread sender([&] { Send(core->PortOf(Service::Arbitrator), "late"); });
    const auto arrived = journal.WaitFor({std::nullopt, "PUT", "", 5}, fdrtest::kEventuallyLimit);
    sender.join();
    ASSERT_TRUE(arrived);
    EXPECT_EQ(arrived->id, 6u) << "ids go on after a clear";
    EXPECT_EQ(arrived->request_body, "late");
}

TEST(Control, ResponderSeesTheRequestAndARecorderAnswersEmpty) {
    auto core = Started();
    core->ScriptWith(
        Service::Arbitrator, "PUT", "/channel_info_refresh", [](const IncomingRequest& request) {
            return ScriptedAnswer{201, request.body + request.headers[0].first, "text/plain", {}};
        });
    EXPECT_EQ(Send(core->PortOf(Service::Arbitrator), "{}"), "HTTP/1.1 201 Status");
    EXPECT_EQ(core->Exchanges().List().at(0).answer_body, "{}Content-Length");
    SimulatorOptions recorder;
    recorder.recorder_only = true;
    auto plain = Started(std::move(recorder));
    Send(plain->PortOf(Service::FederationWrites), "", "/fdr/Autonomies");
    EXPECT_EQ(plain->Exchanges().List().at(0).answer_body, "");
    EXPECT_EQ(plain->Exchanges().List().at(0).status, 200);
}

TEST(Federation, ReadsBackAsItIsAndResetsToTheFirst) {
    auto core = Started();
    const std::string sample = core->FederationJson();
    std::string error;
    ASSERT_TRUE(core->ReplaceFederation(
        R"({"guid":"fed-2","clients":[{"client_id":"c","client_secret":"s"}],"users":[{"name":"u",
        "is_domain":true,"privileges":["p"]}],"config":{"s":{"k":"v"}},"members":[{"autonomy_lid":
        "7","group_id":2,"channels":[{"guid":"ch","data":"odd text"}]}]})",
        &error))
        << error;
    const std::string replaced = core->FederationJson();
    EXPECT_EQ(replaced,
              R"({"clients":[{"client_id":"c","client_secret":"s"}],"config":{"s":{"k":"v"}},)"
              R"("guid":"fed-2","members":[{"add_time":"","address":"","autonomy_id":"",)"
              R"("autonomy_lid":"7","autonomy_lname":"","channels":[{"data":"odd text",)"
              R"("guid":"ch","name":""}],"group_id":2,"mac":"","password":"","server_mode":"",)"
              R"("username":""}],"users":[{"is_domain":true,"members":[],"name":"u",)"
              R"("privileges":["p"]}]})");
    ASSERT_TRUE(core->ReplaceFederation(replaced, &error)) << error;
    EXPECT_EQ(core->FederationJson(), replaced);
    core->ResetFederation();
    EXPECT_EQ(core->FederationJson(), sample);
}

TEST(Federation, ConcurrentWritesAreAllAppliedAndRecorded) {
    auto core = Started();
    const size_t before = core->Federation().Channels("1")->size();
    std::vector<std::thread> writers;
    for (int w = 0; w < 6; ++w) {
        writers.emplace_back([&core, w] {
            for (int i = 0; i < 10; ++i) {
                const std::string guid = std::to_string(w) + "-" + std::to_string(i);
                Send(core->PortOf(Service::FederationWrites),
                     R"({"autonomy_list":[{"autonomy_lid":"1","mode":"add","channel_list":[)"
                     R"({"guid":")" +
                         guid + R"(","name":"n","data":"{}"}]}]})",
                     "/fdr/CmsChannel");
            }
        });
    }
    for (auto& writer : writers) {
        writer.join();
    }
    EXPECT_EQ(core->Federation().Channels("1")->size(), before + 60);
    for (const auto& exchange : core->Exchanges().All()) {
        EXPECT_TRUE(exchange.ok()) << exchange.request_body;
    }
}

TEST(Listener, APortTakenFailsNamingItAndReleasesTheOthers) {
    auto holder = Started();
    const int taken = holder->PortOf(Service::Token);
    const std::string port = std::to_string(taken);
    // A port found free can be taken by a test running beside this one before the simulator
    // binds it; such a round says so in its error and is played again with another port.
    for (int round = 0; round < 5; ++round) {
        const int sock = BoundLoopbackSocket(0);
        const int free_port = PortOfSocket(sock);
        ::close(sock);
        SimulatorOptions options;
        options.any_ports = true;
        options.ports[Service::VideoManagement] = free_port;  // started before the token service
        options.ports[Service::Token] = taken;
        std::string error;
        EXPECT_FALSE(Simulator(std::move(options)).Start(&error));
        if (error.find(std::to_string(free_port)) != std::string::npos) {
            continue;
        }
        EXPECT_EQ(error, "cannot listen on 127.0.0.1:" + port + " for the token service (" + port +
                             "): the port is already in use (is another simulator or the real "
                             "service running?)");
        SimulatorOptions retry;
        retry.ports[Service::VideoManagement] = free_port;
        retry.any_ports = true;
        auto again = std::make_unique<Simulator>(std::move(retry));
        if (!again->Start(&error)) {
            EXPECT_NE(error.find(std::to_string(free_port)), std::string::npos) << error;
            continue;  // taken again from beside
        }
        EXPECT_EQ(again->PortOf(Service::VideoManagement), free_port);
        return;
    }
    ADD_FAILURE() << "every free port was taken from beside the test";
}

TEST(SampleFederation, IsTheShippedFileWithFisheyeAndPlainCamerasOnEveryMember) {
    std::ifstream in(FDR_SIM_SAMPLE_SEED_FILE);
    std::ostringstream text;
    text << in.rdbuf();
    EXPECT_EQ(text.str(), SampleSeedText()) << "rebuild: the compiled-in sample is stale";
    const FederationSeed seed = SampleFederation();
    ASSERT_EQ(seed.members.size(), 3u);
    for (const auto& member : seed.members) {
        std::string kinds;
        for (const auto& channel : member.channels) {
            const Json::Value data = ParseJson(channel.data).value_or(Json::Value());
            EXPECT_EQ(data["channel_guid"].asString(), channel.guid);
            EXPECT_EQ(data["channel_name"].asString(), channel.name);
            kinds += data["fisheye"]["fisheye_type"].asInt() >= 0 ? "f" : "p";
        }
        EXPECT_NE(kinds.find('f'), std::string::npos) << member.autonomy_lid;
        EXPECT_NE(kinds.find('p'), std::string::npos) << member.autonomy_lid;
    }
}

TEST(FormText, DecodesFieldsInOrder) {
    EXPECT_EQ(ParseForm("a=1&b=x%3Dy+z&c&d=&&e=%zz"),
              (FormFields{{"a", "1"}, {"b", "x=y z"}, {"c", ""}, {"d", ""}, {"e", "%zz"}}));
}

}  // namespace
}  // namespace fdrsim
