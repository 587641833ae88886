// The receiving services: what each expects, what it accepts as a known quirk, what it flags.
// That they take the library's own bodies without a problem is shown by the library's
// concurrency test and the demo, which check every exchange.
#include <gtest/gtest.h>

#include "Receivers.h"

namespace fdrsim {
namespace {

struct ReceiverCase {
    const char* behaviour;
    Service service;
    const char* method;
    const char* path;
    std::string body;
    const char* flag;  // part of the first flag's text; null when none is expected
    bool ok;
};

const char* kMember =
    R"({"autonomy_lid":"1","machine_name":"n","machine_name":"n","autonomy_group":1})";

TEST(Receivers, CheckWhatArrivesAndAcceptTheKnownQuirks) {
    const std::string one_member = std::string(R"({"autonomy_list":[)") + kMember + "]}";
    const ReceiverCase cases[] = {
        {"member records, with the repeated machine_name", Service::MemberLog, "POST",
         "/logs/updateList", one_member, nullptr, true},
        {"member record without its lid", Service::MemberLog, "POST", "/logs/autonomyList",
         R"({"autonomy_list":[{"autonomy_group":1}]})", "\"autonomy_lid\" is missing", false},
        {"removal names the lid", Service::MemberLog, "POST", "/logs/deleteList",
         R"({"autonomy_list":["1"]})", nullptr, true},
        {"removal with a number", Service::MemberLog, "POST", "/logs/deleteList",
         R"({"autonomy_list":[1]})", "expected a string", false},
        {"token change: the host's text", Service::MemberLog, "PUT", "/logs/reload_autonomy",
         "token renewed", "not JSON (expected)", true},
        {"token change: empty", Service::MemberLog, "PUT", "/logs/reload_autonomy", "",
         "empty body (expected)", true},
        {"member change with two members", Service::Arbitrator, "PUT", "/autonomy_changed",
         std::string(R"({"autonomy_list":[)") + kMember + "," + kMember + "]}",
         "expected at most one", false},
        {"camera status without its list", Service::Arbitrator, "PUT", "/channel_status_changed",
         R"({"autonomy_list":[{"autonomy_lid":"1"}]})", "\"channel_status_list\" is missing",
         false},
        {"camera list change", Service::Arbitrator, "PUT", "/channel_info_changed",
         R"({"autonomy_list":[{"autonomy_lid":"1","channel_list":[{"channel_guid":"a"}]}]})",
         nullptr, true},
        {"camera list refresh without lid", Service::Arbitrator, "PUT", "/channel_info_refresh",
         R"({"lid":"1"})", "\"autonomy_lid\" is missing", false},
        {"refresh ready: empty", Service::Arbitrator, "PUT", "/autonomy_refresh_ready", "",
         "empty body (expected)", true},
        {"refresh ready with a body", Service::Arbitrator, "PUT", "/autonomy_refresh_ready", "{}",
         "expected an empty body", false},
        {"mode change with an unescaped quote", Service::ModeArbitration, "PUT",
         "/apply_autonomies",
         R"({"autonomy_list":[{"lid":"1","lname":"North "A"","username":"admin","password":"cHc=","server_mode":"autonomy","address":"10.0.0.1","group":1}]})",
         "not JSON (expected)", true},
        {"mode change with a clear password", Service::ModeArbitration, "PUT", "/apply_autonomies",
         R"({"autonomy_list":[{"lid":"1","lname":"North","username":"admin","password":"pw!","server_mode":"autonomy","address":"10.0.0.1","group":1}]})",
         "password is not base64", false},
        {"data notice, formatted", Service::VideoManagement, "PUT", "/dravoService/notify",
         "{\n\t\"notice_reason\":\t{\n\t\t\"input\":\t{\n\t\t\t\"autonomy_lid\":\t\"1\"\n\t\t}\n\t}"
         "\n}",
         "formatted JSON (expected)", true},
        {"data notice without a lid", Service::VideoManagement, "PUT", "/dravoService/notify",
         R"({"a":1})", "\"autonomy_lid\" is missing", false},
        {"system info", Service::Aggregator, "PUT", "/aggreatorService/system_info",
         R"({"server_mode":"autonomy"})", nullptr, true},
        {"system info that is not JSON", Service::Aggregator, "PUT",
         "/aggreatorService/system_info", "mode=autonomy", "not JSON", false},
    };
    for (const auto& c : cases) {
        RouteTable routes;
        AddReceiverRoutes(c.service, routes);
        ServiceAnswer answer = routes.Dispatch({c.method, c.path, c.path, {}, c.body, {}});
        EXPECT_EQ(answer.status, 200) << c.behaviour;
        EXPECT_EQ(answer.body, "{}") << c.behaviour;
        Exchange exchange;
        exchange.flags = answer.flags;
        EXPECT_EQ(exchange.ok(), c.ok) << c.behaviour;
        if (c.flag == nullptr) {
            EXPECT_TRUE(answer.flags.empty()) << c.behaviour << ": " << answer.flags[0].text;
        } else {
            ASSERT_FALSE(answer.flags.empty()) << c.behaviour;
            EXPECT_NE(answer.flags[0].text.find(c.flag), std::string::npos)
                << c.behaviour << ": " << answer.flags[0].text;
        }
    }
}

TEST(Receivers, AnswerUnknownPathsAndWrongMethodsWithTheirStatus) {
    RouteTable routes;
    AddReceiverRoutes(Service::Arbitrator, routes);
    ServiceAnswer wrong_method = routes.Dispatch({"POST", "/autonomy_changed", "", {}, "", {}});
    EXPECT_EQ(wrong_method.status, 405);
    ASSERT_EQ(wrong_method.flags.size(), 1u);
    EXPECT_TRUE(wrong_method.flags[0].problem);
    EXPECT_NE(wrong_method.flags[0].text.find("expected PUT"), std::string::npos);
    EXPECT_EQ(routes.Dispatch({"PUT", "/logs/autonomyList", "", {}, "", {}}).status, 404);
}

}  // namespace
}  // namespace fdrsim
