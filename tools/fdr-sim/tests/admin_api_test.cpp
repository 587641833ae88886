// The control API over an in-process simulator on free ports: each call once, and malformed
// requests refused with 400 and no change to the faults, the federation or the journal.
#include <httplib.h>

#include <gtest/gtest.h>

#include "AdminServer.h"
#include "JsonText.h"
#include "Simulator.h"

namespace fdrsim::test {
namespace {

class AdminApi : public ::testing::Test {
  protected:
    void SetUp() override {
        SimulatorOptions options;
        options.any_ports = true;
        simulator_ = std::make_unique<Simulator>(std::move(options));
        std::string error;
        ASSERT_TRUE(simulator_->Start(&error)) << error;
        admin_ = std::make_unique<admin::AdminServer>(*simulator_);
        ASSERT_TRUE(admin_->Start(0, &error)) << error;
    }

    // The answer's status and parsed body (null when it is not JSON).
    std::pair<int, Json::Value> Call(const std::string& method, const std::string& target,
                                     const std::string& body = "") {
        httplib::Client client("127.0.0.1", admin_->port());
        httplib::Result result = method == "GET"    ? client.Get(target)
                                 : method == "PUT"  ? client.Put(target, body, "application/json")
                                 : method == "POST" ? client.Post(target, body, "application/json")
                                                    : client.Delete(target);
        if (!result) {
            return {0, Json::Value()};
        }
        return {result->status, ParseJson(result->body).value_or(Json::Value())};
    }

    // A request to one of the simulated services, as the library would make it.
    int Serve(Service service, const std::string& method, const std::string& target,
              const std::string& body = "") {
        httplib::Client client("127.0.0.1", simulator_->PortOf(service));
        httplib::Headers headers = {{"X-Probe", "admin-test"}};
        auto result = method == "GET" ? client.Get(target, headers)
                                      : client.Put(target, headers, body, "application/json");
        return result ? result->status : 0;
    }

    std::unique_ptr<Simulator> simulator_;
    std::unique_ptr<admin::AdminServer> admin_;
};

TEST_F(AdminApi, JournalListsFiltersShowsWaitsAndClears) {
    ASSERT_EQ(Serve(Service::FederationWrites, "GET", "/fdr/Service?type=1"), 200);
    ASSERT_EQ(Serve(Service::Arbitrator, "PUT", "/channel_info_refresh", R"({"autonomy_lid":"1"})"),
              200);

    auto [status, list] = Call("GET", "/api/exchanges");
    ASSERT_EQ(status, 200);
    ASSERT_EQ(list["exchanges"].size(), 2u);
    EXPECT_EQ(list["exchanges"][1]["service"], "arbitrator") << "newest last";
    const uint64_t first = list["exchanges"][0]["id"].asUInt64();
    EXPECT_EQ(list["last_id"].asUInt64(), first + 1);

    const auto by_service = Call("GET", "/api/exchanges?service=10228").second["exchanges"];
    ASSERT_EQ(by_service.size(), 1u);
    EXPECT_EQ(by_service[0]["target"], "/channel_info_refresh");
    EXPECT_EQ(Call("GET", "/api/exchanges?text=autonomy_lid").second["exchanges"].size(), 1u);
    EXPECT_EQ(
        Call("GET", "/api/exchanges?since=" + std::to_string(first)).second["exchanges"].size(),
        1u);

    const Json::Value whole = Call("GET", "/api/exchanges/" + std::to_string(first + 1)).second;
    EXPECT_EQ(whole["method"], "PUT");
    EXPECT_EQ(whole["request_body"], R"({"autonomy_lid":"1"})");
    EXPECT_EQ(whole["status"], 200);
    EXPECT_EQ(whole["answer_body"], "{}");
    bool probe_header = false;
    for (const auto& header : whole["request_headers"]) {
        probe_header = probe_header || (header[0] == "X-Probe" && header[1] == "admin-test");
    }
    EXPECT_TRUE(probe_header) << CompactJson(whole["request_headers"]);
    EXPECT_EQ(Call("GET", "/api/exchanges/999999").first, 404);

    // A wait finds what is already there, or what arrives within its time-out.
    EXPECT_EQ(Call("GET", "/api/exchanges/wait?method=PUT").second["id"].asUInt64(), first + 1);
    std::thread later([&] { Serve(Service::MemberLog, "PUT", "/logs/reload_autonomy"); });
    const auto waited = Call("GET",
                             "/api/exchanges/wait?service=member-log&path=/logs/"
                             "reload_autonomy&timeout_ms=60000");
    later.join();
    EXPECT_EQ(waited.first, 200);
    EXPECT_EQ(waited.second["service"], "member-log");
    EXPECT_EQ(Call("GET", "/api/exchanges/wait?service=token&timeout_ms=0").first, 408);

    EXPECT_EQ(Call("DELETE", "/api/exchanges").first, 200);
    EXPECT_EQ(Call("GET", "/api/exchanges").second["exchanges"].size(), 0u);
}

TEST_F(AdminApi, FaultsSwitchAtRunTimeForSomeRequestsOrUntilCleared) {
    auto [status, set] = Call("PUT", "/api/faults/arbitrator", R"({"mode":"500","remaining":1})");
    ASSERT_EQ(status, 200) << CompactJson(set);
    EXPECT_EQ(set["fault"]["mode"], "500");
    EXPECT_EQ(Serve(Service::Arbitrator, "PUT", "/channel_info_refresh", "{}"), 500);
    EXPECT_EQ(Serve(Service::Arbitrator, "PUT", "/channel_info_refresh", "{}"), 200)
        << "the fault was for one request";

    ASSERT_EQ(Call("PUT", "/api/faults/10240",
                   R"({"mode":"status","status":503,"body":"busy","delay_ms":1})")
                  .first,
              200);
    EXPECT_EQ(Serve(Service::FederationWrites, "GET", "/fdr/Service?type=1"), 503);
    EXPECT_EQ(Call("GET", "/api/faults").second["faults"]["federation"]["status"], 503);
    EXPECT_EQ(Call("DELETE", "/api/faults/federation").second["fault"]["mode"], "none");
    EXPECT_EQ(Serve(Service::FederationWrites, "GET", "/fdr/Service?type=1"), 200);

    ASSERT_EQ(Call("PUT", "/api/faults/token", R"({"mode":"refuse"})").first, 200);
    ASSERT_EQ(Call("PUT", "/api/faults/aggregator", R"({"mode":"garbage"})").first, 200);
    const auto cleared = Call("DELETE", "/api/faults").second["services"];
    for (const auto& service : cleared) {
        EXPECT_EQ(service["fault"]["mode"], "none") << service["key"];
    }
}

TEST_F(AdminApi, FederationIsReadReplacedAndReset) {
    const Json::Value sample = Call("GET", "/api/federation").second;
    ASSERT_TRUE(sample["guid"].isString());
    const std::string seed =
        R"({"guid":"g-1","members":[{"autonomy_lid":"7","autonomy_lname":"Only",)"
        R"("channels":[{"guid":"c-1","name":"Gate"}]}]})";
    auto [status, replaced] = Call("PUT", "/api/federation", seed);
    ASSERT_EQ(status, 200) << CompactJson(replaced);
    EXPECT_EQ(replaced["guid"], "g-1");
    EXPECT_EQ(Call("GET", "/api/federation").second["members"][0]["channels"][0]["name"], "Gate");
    EXPECT_EQ(Call("POST", "/api/federation/reset").second, sample);
}

TEST_F(AdminApi, HealthAndServicesDescribeTheSimulator) {
    const Json::Value health = Call("GET", "/api/health").second;
    EXPECT_EQ(health["status"], "ok");
    EXPECT_EQ(health["journal"]["capacity"], 10000);
    const Json::Value services = Call("GET", "/api/services").second["services"];
    ASSERT_EQ(services.size(), 8u);
    for (const auto& service : services) {
        EXPECT_EQ(service["port"].asInt(),
                  simulator_->PortOf(FindService(service["key"].asString())->id));
    }
}

TEST_F(AdminApi, RefusesMalformedRequestsWithoutChangingAnything) {
    ASSERT_EQ(Serve(Service::Token, "GET", "/token"), 405);
    const auto state = [&] {
        return CompactJson(Call("GET", "/api/faults").second) +
               CompactJson(Call("GET", "/api/federation").second) +
               CompactJson(Call("GET", "/api/exchanges").second["exchanges"]);
    };
    const std::string before = state();
    const struct {
        const char* method;
        const char* target;
        const char* body;
        const char* error;
    } cases[] = {
        {"PUT", "/api/faults/token", "{\"mode\":", "the body is not JSON"},
        {"PUT", "/api/faults/token", "[\"refuse\"]", "must be a JSON object"},
        {"PUT", "/api/faults/token", "{}", "\"mode\" is missing"},
        {"PUT", "/api/faults/token", R"({"mode":"explode"})", "unknown mode \"explode\""},
        {"PUT", "/api/faults/token", R"({"mode":7})", "\"mode\" must be a string"},
        {"PUT", "/api/faults/token", R"({"mode":"refuse","status":503})",
         "unknown key \"status\" for mode \"refuse\""},
        {"PUT", "/api/faults/token", R"({"mode":"500","delay_ms":-1})", "\"delay_ms\" must be"},
        {"PUT", "/api/faults/token", R"({"mode":"500","remaining":0})", "\"remaining\" must be"},
        {"PUT", "/api/faults/token", R"({"mode":"status","status":"503"})", "\"status\" must be"},
        {"PUT", "/api/faults/printer", R"({"mode":"refuse"})", "no service named or on port"},
        {"DELETE", "/api/faults/9", "", "no service named or on port \"9\""},
        {"GET", "/api/exchanges?since=abc", "", "\"since\" must be"},
        {"GET", "/api/exchanges?limit=0", "", "\"limit\" must be"},
        {"GET", "/api/exchanges?service=printer", "", "no service named"},
        {"GET", "/api/exchanges?method=get", "", "\"method\" must be"},
        {"GET", "/api/exchanges?colour=red", "", "unknown parameter \"colour\""},
        {"GET", "/api/exchanges/wait?timeout_ms=600000", "", "\"timeout_ms\" must be"},
        {"GET", "/api/exchanges/wait?limit=3", "", "unknown parameter \"limit\""},
        {"PUT", "/api/federation", "{\"guid\":", ""},
        {"PUT", "/api/federation", R"({"guid":"g","members":[{"autonomy_lname":"x"}]})",
         "members[0]"},
    };
    for (const auto& c : cases) {
        const auto [status, body] = Call(c.method, c.target, c.body);
        EXPECT_EQ(status, 400) << c.method << " " << c.target << " " << c.body;
        EXPECT_NE(body["error"].asString().find(c.error), std::string::npos)
            << c.target << ": " << CompactJson(body);
    }
    EXPECT_EQ(state(), before);
    // A call that does not exist is refused in JSON too.
    EXPECT_EQ(Call("GET", "/api/nothing").second["error"], "no such call: GET /api/nothing");
}

}  // namespace
}  // namespace fdrsim::test
