// The core's run-time control on free ports: faults set and cleared while serving, faults for N
// requests, scripts in place of routes, the journal's filter, wait and cap, and the federation
// replaced, checked and reset.
#include <gtest/gtest.h>

#include <thread>

#include "SimulatorClient.h"

namespace fdrsim::test {
namespace {

constexpr char kPath[] = "/channel_info_refresh";
constexpr char kBody[] = R"({"autonomy_lid":"1"})";

Fault Of(FaultMode mode) {
    Fault fault;
    fault.mode = mode;
    return fault;
}

Reply PutArbitrator(Simulator& simulator) {
    return Put(simulator.PortOf(Service::Arbitrator), kPath, kBody);
}

TEST(Control, FaultsComeAndGoWhileServing) {
    Fault status = Of(FaultMode::Status);
    status.status = 503;
    status.body = "busy";
    Fault cut = Of(FaultMode::ResetEarly);
    cut.body = R"({"err_code":0,"padding":"xxxxxxxx"})";
    cut.sent_bytes = 5;
    Fault drip = Of(FaultMode::Drip);
    drip.drip_interval = std::chrono::milliseconds(1);
    struct Case {
        Fault fault;
        int code;
        int detail;
    };
    const Case cases[] = {
        {Of(FaultMode::Refuse), 3, 7 /* couldn't connect */},
        {status, 4, 503},
        {Of(FaultMode::NotFound), 4, 404},
        {cut, 3, 56 /* receive error */},
        {Of(FaultMode::InvalidHttp), 3, 1 /* unsupported protocol */},
        {drip, 0, 0},
    };
    auto simulator = StartSimulator(FreePortOptions());
    ASSERT_NE(simulator, nullptr);
    for (const auto& c : cases) {
        SCOPED_TRACE(FaultName(c.fault.mode));
        simulator->SetFault(Service::Arbitrator, c.fault);
        const Reply faulty = PutArbitrator(*simulator);
        EXPECT_EQ(faulty.code, c.code);
        EXPECT_EQ(faulty.detail, c.detail);
        if (c.code == 0) {
            EXPECT_EQ(faulty.body, "{}") << "slow, but the whole answer";
        }
        simulator->ClearFault(Service::Arbitrator);
        const Reply cleared = PutArbitrator(*simulator);
        EXPECT_EQ(cleared.code, 0);
        EXPECT_EQ(cleared.body, "{}");
    }
    const auto journal = simulator->Exchanges().List();
    ASSERT_EQ(journal.size(), 11u) << "the refused request never arrives";
    EXPECT_EQ(journal[1].fault, "status");
    EXPECT_EQ(journal[2].fault, "");
}

TEST(Control, AFaultForNRequestsWearsOff) {
    auto simulator = StartSimulator(FreePortOptions());
    ASSERT_NE(simulator, nullptr);
    Fault twice = Of(FaultMode::InternalError);
    twice.remaining = 2;
    simulator->SetFault(Service::Arbitrator, twice);
    EXPECT_EQ(PutArbitrator(*simulator).detail, 500);
    EXPECT_EQ(simulator->FaultOf(Service::Arbitrator).remaining, 1);
    EXPECT_EQ(PutArbitrator(*simulator).detail, 500);
    EXPECT_EQ(PutArbitrator(*simulator).code, 0);
    EXPECT_EQ(simulator->FaultOf(Service::Arbitrator).mode, FaultMode::None);
}

TEST(Control, AStalledRequestIsAnsweredOnceTheFaultIsCleared) {
    auto simulator = StartSimulator(FreePortOptions());
    ASSERT_NE(simulator, nullptr);
    simulator->SetFault(Service::Arbitrator, Of(FaultMode::Stall));
    Reply reply;
    std::thread waiting(
        [&] { reply = Put(simulator->PortOf(Service::Arbitrator), kPath, kBody, 60); });
    ASSERT_TRUE(simulator->Exchanges().WaitFor({}, std::chrono::seconds(30)));
    simulator->ClearFault(Service::Arbitrator);
    waiting.join();
    EXPECT_EQ(reply.code, 0);
    EXPECT_EQ(reply.body, "{}");
}

TEST(Control, ScriptsStandInForRoutesUntilCleared) {
    auto simulator = StartSimulator(FreePortOptions());
    ASSERT_NE(simulator, nullptr);
    simulator->Script(Service::Arbitrator, "PUT", kPath, {503, "later", "text/plain", {}});
    EXPECT_EQ(PutArbitrator(*simulator).detail, 503);
    simulator->ScriptWith(Service::Arbitrator, "PUT", kPath, [](const IncomingRequest& request) {
        std::string type;
        for (const auto& [name, value] : request.headers) {
            type = name == "Content-Type" ? value : type;
        }
        return ScriptedAnswer{200, request.body + "|" + type, "application/json", {}};
    });
    EXPECT_EQ(PutArbitrator(*simulator).body, std::string(kBody) + "|application/json");
    simulator->ClearScripts();
    EXPECT_EQ(PutArbitrator(*simulator).body, "{}");

    SimulatorOptions recorder = FreePortOptions();
    recorder.recorder_only = true;
    auto plain = StartSimulator(std::move(recorder));
    ASSERT_NE(plain, nullptr);
    const Reply unscripted = Get(plain->PortOf(Service::FederationWrites), "/fdr/Autonomies");
    EXPECT_EQ(unscripted.code, 0);
    EXPECT_EQ(unscripted.body, "");
}

TEST(Control, TheJournalFiltersWaitsAndKeepsTheNewest) {
    SimulatorOptions options = FreePortOptions();
    options.journal_capacity = 3;
    auto simulator = StartSimulator(std::move(options));
    ASSERT_NE(simulator, nullptr);
    for (int i = 0; i < 4; ++i) {
        PutArbitrator(*simulator);
    }
    Get(simulator->PortOf(Service::FederationWrites), "/fdr/Service", {{"type", "1"}});
    ExchangeLog& journal = simulator->Exchanges();
    EXPECT_EQ(journal.LastId(), 5u);
    EXPECT_EQ(journal.Dropped(), 2u);
    ASSERT_EQ(journal.List().size(), 3u);
    EXPECT_EQ(journal.List().front().id, 3u);
    ExchangeFilter writes;
    writes.service = Service::FederationWrites;
    writes.path = "/fdr/Service";
    ASSERT_EQ(journal.List(writes).size(), 1u);
    EXPECT_EQ(journal.List(writes)[0].target, "/fdr/Service?type=1");
    ExchangeFilter later;
    later.method = "PUT";
    later.after_id = 4;
    EXPECT_TRUE(journal.List(later).empty());

    journal.Clear();
    later.after_id = journal.LastId();
    std::thread sender([&] { PutArbitrator(*simulator); });
    const auto arrived = journal.WaitFor(later, std::chrono::seconds(30));
    sender.join();
    ASSERT_TRUE(arrived);
    EXPECT_EQ(arrived->id, 6u) << "ids go on after a clear";
    EXPECT_EQ(arrived->request_body, kBody);
}

TEST(Control, TheFederationIsReplacedOnlyByAValidSeedAndResetToTheFirst) {
    auto simulator = StartSimulator(FreePortOptions());
    ASSERT_NE(simulator, nullptr);
    const std::string sample = simulator->FederationJson();
    const struct {
        const char* seed;
        const char* error;
    } bad[] = {
        {R"({"members":[]})", R"("guid" is missing)"},
        {R"({"guid":"g","members":[{"autonomy_lid":"1"},{"autonomy_lid":"1"}]})",
         R"(members[1]: autonomy_lid "1" appears twice)"},
        {R"({"guid":"g","users":[{"name":"u","privileges":[1]}]})", "users[0].privileges[0]"},
        {"{", "not JSON"},
    };
    for (const auto& c : bad) {
        std::string error;
        EXPECT_FALSE(simulator->ReplaceFederation(c.seed, &error));
        EXPECT_NE(error.find(c.error), std::string::npos) << error;
    }
    EXPECT_EQ(simulator->FederationJson(), sample);

    std::string error;
    ASSERT_TRUE(simulator->ReplaceFederation(
        R"({"guid":"fed-2","clients":[{"client_id":"c","client_secret":"s"}],
            "members":[{"autonomy_lid":"7","channels":[{"guid":"ch","data":"odd text"}]}]})",
        &error))
        << error;
    const Reply service =
        Get(simulator->PortOf(Service::FederationWrites), "/fdr/Service", {{"type", "1"}});
    EXPECT_NE(service.body.find("fed-2"), std::string::npos) << service.body;
    const std::string replaced = simulator->FederationJson();
    ASSERT_TRUE(simulator->ReplaceFederation(replaced, &error)) << error;
    EXPECT_EQ(simulator->FederationJson(), replaced) << "a seed document reads back as it is";

    simulator->ResetFederation();
    EXPECT_EQ(simulator->FederationJson(), sample);
}

}  // namespace
}  // namespace fdrsim::test
