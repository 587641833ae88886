// Failover information, autonomy-mode switching, access privileges and the privilege timestamp,
// end to end against the local-services fixture.
#include <gtest/gtest.h>
#include <json/json.h>

#include <string>
#include <vector>

#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/NotifyLocks.h"
#include "platform/kfen_client.h"
#include "support/LocalServices.h"
#include "support/LogFiles.h"
#include "support/TestData.h"

namespace {

using fdrtest::ReadTestData;
using Lines = std::vector<std::string>;
using Record = std::shared_ptr<DravoAgentData::AutonomyList::AutonomyListObj>;

Record MakeRecord(const char* lid, const char* firmware, const char* date, const char* mac,
                  const char* model) {
    auto record = std::make_shared<DravoAgentData::AutonomyList::AutonomyListObj>();
    record->autonomy_lid = lid;
    record->firmware = firmware;
    record->firmware_date = date;
    record->mac = mac;
    record->machine_model = model;
    return record;
}

// "METHOD port target body" of the one request the fixture received.
std::string OnlyRequestLine(const fdrtest::LocalServices& services) {
    auto request = services.OnlyRequest();
    return request.method + " " + std::to_string(request.port) + " " + request.target + " " +
           request.body;
}

class LocalServicesTest : public testing::Test {
  protected:
    fdrtest::LocalServices services;
    CFederateUtil util;
};
class FailoverOperations : public LocalServicesTest {};
class AutonomyModeOperations : public LocalServicesTest {};
class PrivilegeOperations : public LocalServicesTest {};

TEST_F(FailoverOperations, BodyJoinsEntriesByRecordIdentityAndIsSavedUnchanged) {
    const Record a = MakeRecord("L1", "2.1.0", "2024-01-31", "00:11:22:33:44:55", "NVR-8");
    const Record b = MakeRecord("L2", "2.2.1", "2024-06-30", "66:77:88:99:AA:BB", "NVR-16");
    const Record c = MakeRecord("L3", "1.9", "2023-12-01", "CC:DD:EE:FF:00:11", "NVR-32");
    const struct {
        const char* golden;
        std::vector<Record> entries;
    } cases[] = {
        {"failover/empty_list.json", {}},
        {"failover/three_records.json", {nullptr, a, b, nullptr, c}},
        {"failover/last_entry_empty.json", {a, b, nullptr}},
        {"failover/last_record_repeated.json", {a, b, a}},
        {"failover/raw_members.json", {MakeRecord("L\"1", "", "", "", "a\\b")}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.golden);
        DravoAgentData::AutonomyList list;
        list.autonomy_list = c.entries;
        std::string body = "previous text";
        EXPECT_EQ(util.FormatFailOverBody(list, body), 0);
        EXPECT_EQ(body, ReadTestData(c.golden));

        services.ClearRequests();
        auto log = fdrtest::WatchCenterLog();
        EXPECT_EQ(util.SaveFailOverInfo(body), 0);
        EXPECT_EQ(OnlyRequestLine(services),
                  "PUT 10240 /cgi-bin/zelprocms/apis/fdr_cluster.cgi?action=failover_info " + body);
        EXPECT_TRUE(log.NewLines().empty());
    }
    services.Answer(10240, "PUT", "/cgi-bin/zelprocms/apis/fdr_cluster.cgi", {503, "busy"});
    auto log = fdrtest::WatchCenterLog();
    EXPECT_EQ(util.SaveFailOverInfo("{}"), KFEN_ERR_HTTP_STATUS);
    EXPECT_EQ(log.NewLines(), Lines{"[fedutil] save failover info fail 0x4, busy"});
}

TEST_F(AutonomyModeOperations, NoticeSendsTheHandBuiltBodyAndAlwaysReturnsZero) {
    FederateBoxType::AutonomyInfo lobby{"L-7", "Lobby West", "admin", "pa:ss", "198.51.100.7", -7};
    FederateBoxType::AutonomyInfo raw;
    raw.lid = "a\"b";
    EXPECT_EQ(util.NotifyArbitratorAutoModeChange(raw, ""), 0);
    EXPECT_EQ(services.OnlyRequest().body,
              ReadTestData("autonomy_mode/apply_body_raw_members.json"));

    services.ClearRequests();
    services.Answer(10227, "PUT", "/apply_autonomies", {500, "no arbiter"});
    util.SetDebugSwitchForTesting(true);
    auto log = fdrtest::WatchCenterLog();
    EXPECT_EQ(util.NotifyArbitratorAutoModeChange(lobby, "auto mode"), 0);
    const std::string body = ReadTestData("autonomy_mode/apply_body.json");
    EXPECT_EQ(OnlyRequestLine(services), "PUT 10227 /apply_autonomies " + body);
    EXPECT_EQ(log.NewLines(),
              (Lines{"NotifyArbitratorAutoModeChange start",
                     "NotifyArbitratorAutoModeChange request start: " + body,
                     "NotifyArbitratorAutoModeChange request end, n_ret=4, no arbiter",
                     "[error]n_ret=4"}));
    ASSERT_TRUE(m_notify_lock1.try_lock());  // released on the way out
    m_notify_lock1.unlock();
}

TEST_F(AutonomyModeOperations, ChangeForwardsTheBodyAndReturnsTheCode) {
    const std::string path = "/aggreatorService/system_info";
    const struct {
        const char* body;
        fdrtest::ScriptedAnswer answer;
        int result;
        const char* outcome;
    } cases[] = {
        {R"({"mode":"autonomy"})", {200, "ok"}, 0, "[fedutil] change autonomy mode ok"},
        {"", {500, "down"}, KFEN_ERR_HTTP_STATUS, "[fedutil] change autonomy mode fail 0x4, down"},
    };
    for (const auto& c : cases) {
        services.ClearRequests();
        services.Answer(10235, "PUT", path, c.answer);
        auto log = fdrtest::WatchCenterLog();
        EXPECT_EQ(util.ChangeAutonomyMode(c.body), c.result);
        EXPECT_EQ(OnlyRequestLine(services), "PUT 10235 " + path + " " + c.body);
        EXPECT_EQ(log.NewLines(),
                  (Lines{"[fedutil] change autonomy mode " + std::string(c.body), c.outcome}));
    }
}

TEST_F(PrivilegeOperations, ReportPostsTheUserAndKeepsTheResultOnFailure) {
    services.Answer(10240, "POST", "/fdr/CmsAccessPrivilegeReport", {200, R"({"rights":[1]})"});
    std::string user = "alice";
    std::string second = "ignored";
    std::string result;
    EXPECT_EQ(util.GetFdrPrivilegeByUser(user, second, result), 0);
    EXPECT_EQ(result, R"({"rights":[1]})");
    EXPECT_EQ(OnlyRequestLine(services),
              "POST 10240 /fdr/CmsAccessPrivilegeReport?operator=admin " +
                  ReadTestData("privilege/user_body.json"));

    // Only a failed exchange (code 3) adds the client's detail line.
    services.Answer(10240, "POST", "/fdr/CmsAccessPrivilegeReport", {500, "failed"});
    for (int code : {KFEN_ERR_HTTP_STATUS, KFEN_ERR_TRANSPORT}) {
        if (code == KFEN_ERR_TRANSPORT) {
            services.Stop();
        }
        auto log = fdrtest::WatchCenterLog();
        testing::internal::CaptureStdout();
        EXPECT_EQ(util.GetFdrPrivilegeByUser(user, second, result), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "\r[error]n_ret=" + std::to_string(code) + "\n");
        EXPECT_EQ(result, R"({"rights":[1]})");
        Lines expected{"[fedutil] GetFdrPrivilegeByUser KFEN failed: " + std::to_string(code)};
        if (code == KFEN_ERR_TRANSPORT) {
            expected.push_back("[fedutil] GetFdrPrivilegeByUser kfen_errno = 7(" +
                               std::string(kfen_strerror(7)) + ")");
        }
        EXPECT_EQ(log.NewLines(), expected);
    }
}

TEST_F(PrivilegeOperations, TimeReadsConfigFromTheReadPortWhateverTheErrorCode) {
    const struct {
        int status;
        const char* answer;
        const char* result;
        const char* aggregator_line;  // "" for none
    } cases[] = {
        {200, R"({"err_code":0,"config":"1700000000"})", "1700000000", ""},
        {200, R"({"err_code":0})", "", ""},
        {200, R"({"err_code":5,"config":"stale"})", "stale",
         R"(get privilege time from fdr failed, res={"config":"stale","err_code":5})"},
        {200, "not json", "", "get privilege time from fdr failed, res=null"},
        // JSON that is not an object, or an "err_code" that is no integer: an error answer.
        {200, "[1,2]", "", "get privilege time from fdr failed, res=[1,2]"},
        {200, R"({"err_code":"0","config":"t"})", "t",
         R"(get privilege time from fdr failed, res={"config":"t","err_code":"0"})"},
        {404, R"({"err_code":0,"config":"x"})", "previous", ""},  // request failed: untouched
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.answer);
        services.ClearRequests();
        services.Answer(10241, "GET", "/fdr/Config", {c.status, c.answer});
        auto aggregator = fdrtest::WatchAggregatorLog();
        auto center = fdrtest::WatchCenterLog();
        std::string timestamp = "previous";
        EXPECT_EQ(util.GetFdrPrivilegeTime(timestamp), 0);
        EXPECT_EQ(timestamp, c.result);
        EXPECT_EQ(OnlyRequestLine(services),
                  "GET 10241 /fdr/Config?key=priv_last_ts&section=fdrsystem ");
        EXPECT_EQ(aggregator.NewLines(), *c.aggregator_line ? Lines{c.aggregator_line} : Lines{});
        EXPECT_EQ(center.NewLines(), c.status == 200
                                         ? Lines{}
                                         : Lines{"[fedutil] GetFdrPrivilegeTime KFEN failed: 4"});
    }
    // jsoncpp's own error for a "config" that is no text is not caught, as it never was.
    services.Answer(10241, "GET", "/fdr/Config", {200, R"({"err_code":0,"config":[1]})"});
    std::string timestamp;
    EXPECT_THROW(util.GetFdrPrivilegeTime(timestamp), Json::LogicError);
}

}  // namespace
