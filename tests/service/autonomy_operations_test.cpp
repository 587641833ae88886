// Loading the federation settings and the member-server notifications, end to end over HTTP.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <mutex>

#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/NotifyLocks.h"
#include "json/CFdrUtilParser.h"
#include "support/LocalServices.h"
#include "support/LogFiles.h"
#include "support/TestData.h"

namespace {

using fdrtest::LocalServices;
using fdrtest::ReadTestData;
using Record = DravoAgentData::AutonomyList::AutonomyListObj;
using Lines = std::vector<std::string>;

// A default record followed by one whose numbers need every bit on the wire.
DravoAgentData::AutonomyList BigNumberList() {
    auto record = std::make_shared<Record>();
    record->autonomy_lid = "lid-9";
    record->health_status = UINT64_MAX;
    record->ch_num = -12;
    DravoAgentData::AutonomyList list;
    list.autonomy_list = {std::make_shared<Record>(), record};
    return list;
}

// A default-record golden text turned into that of BigNumberList()'s second record.
std::string WithBigNumbers(std::string text) {
    const std::pair<std::string, std::string> changes[] = {
        {"\"autonomy_lid\":\"\"", "\"autonomy_lid\":\"lid-9\""},
        {"\"autonomy_health_status\":0", "\"autonomy_health_status\":18446744073709551615"},
        {"\"autonomy_ch_num\":\"0\"", "\"autonomy_ch_num\":\"-12\""}};
    for (const auto& [from, to] : changes) {
        const size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        text.replace(std::min(at, text.size()), from.size(), to);
    }
    return text;
}

struct Observed {
    int result;
    std::string console;
    Lines center;
    Lines center_debug;
};

Observed Observe(const std::function<int()>& operation) {
    auto center = fdrtest::WatchCenterLog();
    auto debug = fdrtest::WatchCenterDebugLog();
    testing::internal::CaptureStdout();
    const int result = operation();
    return {result, testing::internal::GetCapturedStdout(), center.NewLines(), debug.NewLines()};
}

class AutonomyOperations : public testing::Test {
  protected:
    LocalServices services;
    CFederateUtil util;
    void SetUp() override {
        ASSERT_TRUE(services.started());
        util.SetDebugSwitchForTesting(true);  // msg() lines land in the centre log
    }
};

// Every notification: its body (where it goes is the slot-table test's), and what it reports
// with the service up and once it is gone (the client's code 3).
TEST_F(AutonomyOperations, NotificationsSendTheirBodiesAndReportFailures) {
    DravoAgentData::AutonomyList list = BigNumberList();
    std::string lid = "lid \"7\"";
    std::string token_body = "raw {token} text";
    const std::string fresh = ReadTestData("autonomy/rest_default.json");
    const std::string add = "{\"autonomy_list\":[" + fresh + "," + WithBigNumbers(fresh) + "]}";
    const std::string change =
        WithBigNumbers(ReadTestData("autonomy/arbitrator_change_default.json"));
    const std::string dravo = WithBigNumbers(ReadTestData("autonomy/dravo_change_default.json"));
    const std::string remove = ReadTestData("autonomy/arbitrator_remove_body.json");
    const std::string error = "\r[error]n_ret=3\n";
    const std::string log_remove = "NotifyLogRemoveAutonomy lid \"7\" ";
    const Lines remove_lines = {"NotifyArbitratorRemoveAutonomy start: " + remove,
                                "NotifyArbitratorRemoveAutonomy end"};
    const Lines change_lines = {"NotifyArbitratorAutonomyChange start: " + change,
                                "NotifyArbitratorAutonomyChange end"};
    struct Case {
        const char* name;
        std::function<int()> call;
        std::string body;
        Lines lines;          // centre log after a success
        int failure_result;   // once the service is gone
        Lines failure_lines;  // centre log after the failure
        std::string failure_console;
        Lines failure_debug;  // centre debug log after the failure
    };
    const std::string debug = "[src/FederateUtil:NotifyLog";
    const Lines remove_ok = {log_remove + "start", log_remove + "start", log_remove + "end",
                             log_remove + "end, n_ret=0"};
    const Lines remove_failed = {log_remove + "start", log_remove + "start", log_remove + "end",
                                 log_remove + "end, n_ret=3", "\r[error]n_ret=3"};
    // clang-format off
    const Case cases[] = {
        {"log add", [&] { return util.NotifyLogAddAutonomy(list); }, add,
         {}, 3, {}, "", {debug + "AddAutonomy](183) [error] n_ret=3"}},
        {"log update", [&] { return util.NotifyLogUpdateAutonomy(list); }, add,
         {}, 3, {}, "", {debug + "UpdateAutonomy](214) [error] n_ret=3"}},
        // The one error line written through msg() instead of the console.
        {"log remove", [&] { return util.NotifyLogRemoveAutonomy(lid); },
         ReadTestData("autonomy/log_remove_body.json"), remove_ok, 3, remove_failed, "", {}},
        {"token change", [&] { return util.NotifyLogTokenChange(token_body); }, token_body,
         {}, 3, {}, error, {}},
        {"arbitrator remove", [&] { return util.NotifyArbitratorRemoveAutonomy(lid); }, remove,
         remove_lines, 3, remove_lines, error, {}},
        // The two locked notifications hide a failed delivery from the host.
        {"arbitrator change", [&] { return util.NotifyArbitratorAutonomyChange(list); }, change,
         change_lines, 0, change_lines, error, {}},
        {"dravo change", [&] { return util.NotifyDravoServerAutonomyChange(list); }, dravo,
         {}, 0, {}, error, {}},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        services.ClearRequests();
        Observed ok = Observe(c.call);
        EXPECT_EQ(ok.result, 0);
        EXPECT_EQ(ok.console, "");
        EXPECT_EQ(ok.center, c.lines);
        EXPECT_EQ(ok.center_debug, Lines{});
        EXPECT_EQ(services.OnlyRequest().body, c.body);
    }
    services.Stop();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Observed failed = Observe(c.call);
        EXPECT_EQ(failed.result, c.failure_result);
        EXPECT_EQ(failed.console, c.failure_console);
        EXPECT_EQ(failed.center, c.failure_lines);
        EXPECT_EQ(failed.center_debug, c.failure_debug);
    }
}

// Both loads against scripted answers; the outputs start as "old" and change only on success
// (apart from a GUID that came with an error code). What the parsers read from each answer is
// their own tests', a service that is gone the fault-injection suite's.
TEST_F(AutonomyOperations, LoadsFillTheirOutputsOnlyFromGoodAnswers) {
    const int list_not_json = static_cast<int>(CFdrUtilParser::kAnswerNotJson);
    const std::string two =
        "{\"autonomy_list\":[{\"autonomy_lid\":\"a\"},{\"autonomy_lid\":\"b\"}]}";
    const std::string failed = "{\"autonomy_list\":[{\"autonomy_lid\":\"c\"}],\"err_code\":5}";
    const std::string parse_error = "[fedutil] LoadFdrAutonomyListSetting Parse Error: ";
    const std::string call_error =
        "[fedutil] LoadFdrAutonomyListSetting call /fdr/Autonomies error, ret: ";
    const Lines msg = {"LoadFdrFederateSetting start: old", "LoadFdrFederateSetting end"};
    const Lines msg_and_error = {msg[0], msg[1], "[fedutil] LoadFederateSetting err_code: 0x3"};
    struct Case {
        const char* name;
        const char* path;
        fdrtest::ScriptedAnswer answer;
        int result;
        const char* output;  // the GUID, or the lids of the list joined by ","
        std::string console;
        Lines log;
    };
    const std::string setting_error = "LoadFdrFederateSetting Error:\n";
    const int setting_code = static_cast<int>(CFdrUtilParser::kSettingError);
    const int setting_not_json = static_cast<int>(CFdrUtilParser::kSettingNotJson);
    const std::string list_error_body = "{\"autonomy_list\":[";
    // clang-format off
    const Case cases[] = {
        {"guid", "/fdr/Service", {200, "{\"serviceInfo\":{\"GUID\":\"fed-1\"}}"},
         0, "fed-1", "", msg},
        {"setting error", "/fdr/Service",
         {200, "{\"serviceInfo\":{\"GUID\":\"fed-2\"},\"err_code\":3}"},
         setting_code, "fed-2", setting_error, msg_and_error},
        {"setting not json", "/fdr/Service", {200, "<html>"},
         setting_not_json, "old", setting_error, msg},
        {"setting http 500", "/fdr/Service", {500, "{\"serviceInfo\":{\"GUID\":\"no\"}}"},
         4, "old", "\r[error]n_ret=4\n", msg},
        {"two records", "/fdr/Autonomies", {200, two}, 0, "a,b", "", {}},
        {"list error", "/fdr/Autonomies", {200, failed}, 5, "old", "err_code : 5\n",
         {parse_error + "5, response: " + failed}},
        {"list not json", "/fdr/Autonomies", {200, list_error_body}, list_not_json, "old", "",
         {parse_error + std::to_string(list_not_json) + ", response: " + list_error_body}},
        {"list http 503", "/fdr/Autonomies", {503, "busy"}, 4, "old", "",
         {call_error + "4, response: busy"}},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        services.Answer(10240, "GET", c.path, c.answer);
        const bool setting = std::string(c.path) == "/fdr/Service";
        std::string guid = "old";
        DravoAgentData::AutonomyList list;
        list.autonomy_list = {std::make_shared<Record>()};
        list.autonomy_list[0]->autonomy_lid = "old";
        Observed got = Observe([&] {
            return setting ? util.LoadFdrFederateSetting(guid)
                           : util.LoadFdrAutonomyListSetting(list);
        });
        EXPECT_EQ(got.result, c.result);
        EXPECT_EQ(got.console, c.console);
        EXPECT_EQ(got.center, c.log);
        std::string output = guid;
        if (!setting) {
            output.clear();
            for (const auto& record : list.autonomy_list) {
                output += (output.empty() ? "" : ",") + record->autonomy_lid;
            }
        }
        EXPECT_EQ(output, c.output);
    }
}

// The notification lock each one holds while its request is out (that requests under one lock
// never overlap, and that the two locks' do, is the concurrency suite's).
TEST_F(AutonomyOperations, ChangesHoldTheirReceiversLockAndARemovalNone) {
    DravoAgentData::AutonomyList list = BigNumberList();
    std::string lid = "lid-1";
    const struct {
        const char* name;
        std::function<int()> notify;
        int port;
        const char* path;
        std::vector<bool> held;  // m_notify_lock1, m_notify_lock2
    } cases[] = {
        // clang-format off
        {"arbitrator change", [&] { return util.NotifyArbitratorAutonomyChange(list); }, 10228,
         "/autonomy_changed", {true, false}},
        {"dravo change", [&] { return util.NotifyDravoServerAutonomyChange(list); }, 10223,
         "/dravoService/notify", {false, true}},
        {"removal", [&] { return util.NotifyArbitratorRemoveAutonomy(lid); }, 10228,
         "/autonomy_changed", {false, false}},  // and neither is left held
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<bool> held;
        services.AnswerWith(c.port, "PUT", c.path, [&held](const fdrtest::RecordedRequest&) {
            for (std::mutex* lock : {&m_notify_lock1, &m_notify_lock2}) {
                held.push_back(!lock->try_lock());
                if (!held.back()) {
                    lock->unlock();
                }
            }
            return fdrtest::ScriptedAnswer{};
        });
        EXPECT_EQ(Observe(c.notify).result, 0);
        EXPECT_EQ(held, c.held);
    }
}

}  // namespace
