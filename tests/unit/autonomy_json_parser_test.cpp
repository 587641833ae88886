// Readers of the federation service's setting, error and member-list answers (answers nested
// too deep, cut short or huge are the fault-injection suite's).
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "json/CFdrUtilParser.h"
#include "support/LogFiles.h"

namespace {

using Record = DravoAgentData::AutonomyList::AutonomyListObj;
using RecordList = std::vector<std::shared_ptr<Record>>;
constexpr unsigned int kNotJson = CFdrUtilParser::kAnswerNotJson;

struct Outcome {
    unsigned int code;
    std::string out;  // what the parser printed on standard output
};

template <typename Parse>
Outcome CaptureParse(Parse parse) {
    testing::internal::CaptureStdout();
    const unsigned int code = parse();
    return {code, testing::internal::GetCapturedStdout()};
}

// Codes, standard-output diagnostics and the records read from whole answers.
TEST(AutonomyListParser, AnswersYieldTheirCodesAndRecords) {
    struct Case {
        const char* text;
        unsigned int code;
        std::vector<std::string> lids;  // of the appended records
        std::string out;
    };
    // clang-format off
    const Case cases[] = {
        {nullptr, kNotJson, {}, ""},
        {"", kNotJson, {}, ""},
        {"not json", kNotJson, {}, ""},
        {"{}", kNotJson, {}, ""},
        {"[{\"autonomy_list\":[]}]", kNotJson, {}, ""},
        {"{\"err_code\":5}", kNotJson, {}, ""},
        {"{\"autonomy_list\":[]}", 0, {}, ""},
        {"{\"autonomy_list\":null}", 0, {}, ""},
        {"{\"autonomy_list\":\"a\"}", 0, {}, ""},
        {"{\"autonomy_list\":[\"x\",7,{\"autonomy_lid\":\"a\"},[],{}]}", 0, {"a", ""}, ""},
        // An object's members are read like an array's elements.
        {R"({"autonomy_list":{"k":{"autonomy_lid":"a"},"n":1,"m":{"autonomy_lid":"b"}}})", 0,
         {"a", "b"}, ""},
        {"{\"autonomy_list\":[],\"err_code\":5}", 5, {}, "err_code : 5\n"},
        {"{\"err_code\":-1,\"autonomy_list\":[]}", 0xFFFFFFFF, {}, "err_code : 4294967295\n"},
        {"{\"autonomy_list\":[],\"err_code\":4294967301}", 5, {}, "err_code : 5\n"},
        {"{\"autonomy_list\":[],\"err_code\":\"5\"}", 0, {}, ""},
        {R"({"err_code":9,"err_str":"boom","err_no":"E1","autonomy_list":[{"autonomy_lid":"kept"}]})",
         9, {"kept"}, "err_no : E1\nerr_str : boom\nerr_code : 9\n"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text == nullptr ? "(null)" : std::string(c.text).substr(0, 80));
        RecordList list = {std::make_shared<Record>()};
        const auto before = list.front();
        Outcome got = CaptureParse([&] { return CFdrUtilParser::ParseAutonomyList(c.text, list); });
        EXPECT_EQ(got.code, c.code);
        EXPECT_EQ(got.out, c.out);
        ASSERT_EQ(list.size(), c.lids.size() + 1);
        EXPECT_EQ(list.front(), before);  // appended after what the list held
        for (size_t i = 0; i < c.lids.size(); ++i) {
            EXPECT_EQ(list[i + 1]->autonomy_lid, c.lids[i]);
        }
    }
}

TEST(AutonomyListParser, ReadsItsKeysAndKeepsEveryOtherDefault) {
    const char* text =
        "{\"autonomy_list\":[{\"group_list\":[{\"id\":7},{\"id\":8}],\"add_time\":\"t\","
        "\"autonomy_lid\":\"l\",\"autonomy_id\":\"i\",\"autonomy_lname\":\"n\",\"address\":\"a\","
        "\"username\":\"u\",\"password\":\"p\",\"server_mode\":\"s\",\"mac\":\"m\","
        "\"sys_health\":\"bad\",\"retrieve\":4,\"health_status\":9,\"machine_name\":\"x\"}]}";
    RecordList list;
    ASSERT_EQ(CFdrUtilParser::ParseAutonomyList(text, list), 0u);
    ASSERT_EQ(list.size(), 1u);
    const Record& r = *list[0];
    EXPECT_EQ(r.group_id, 7);
    const std::vector<std::string> read = {r.add_time,       r.autonomy_lid, r.autonomy_id,
                                           r.autonomy_lname, r.address,      r.username,
                                           r.password,       r.server_mode,  r.mac};
    EXPECT_EQ(read, (std::vector<std::string>{"t", "l", "i", "n", "a", "u", "p", "s", "m"}));
    EXPECT_EQ(r.sys_health, "good");
    EXPECT_EQ(r.retrieve, -1);
    EXPECT_EQ(r.health_status, 0u);
    EXPECT_EQ(r.machine_name, "");
    EXPECT_TRUE(r.host_flag1 && r.is_support_enable_app && r.is_support_update_fw &&
                r.is_support_add_server);
}

TEST(AutonomyListParser, WrongTypesCountAsAbsent) {
    struct Case {
        const char* member;  // the element's text inside "autonomy_list"
        int32_t group_id;
        const char* password;
    };
    // clang-format off
    const Case cases[] = {
        {R"({"group_list":[],"password":5})", 1, ""},
        {R"({"group_list":[5,{"id":3}],"password":["p"]})", 1, ""},
        {R"({"group_list":[{"id":"3"}],"password":null})", 1, ""},
        {R"({"group_list":{"id":3},"password":{}})", 1, ""},
        {R"({"group_list":[{"id":4294967297}],"password":""})", 1, ""},
        {R"({"group_list":[{"id":-7}]})", -7, ""},
        {R"({"group_list":[{"id":2.9}],"password":"ok"})", 2, "ok"},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.member);
        RecordList list;
        const std::string text = std::string("{\"autonomy_list\":[") + c.member + "]}";
        ASSERT_EQ(CFdrUtilParser::ParseAutonomyList(text.c_str(), list), 0u);
        ASSERT_EQ(list.size(), 1u);
        EXPECT_EQ(list[0]->group_id, c.group_id);
        EXPECT_EQ(list[0]->password, c.password);
    }
}

TEST(AutonomyListParser, TenThousandMembers) {
    std::string text = "{\"autonomy_list\":[";
    for (int i = 0; i < 10000; ++i) {
        text += (i ? ",{\"autonomy_lid\":\"" : "{\"autonomy_lid\":\"") + std::to_string(i) + "\"}";
    }
    text += "]}";
    RecordList list;
    ASSERT_EQ(CFdrUtilParser::ParseAutonomyList(text.c_str(), list), 0u);
    ASSERT_EQ(list.size(), 10000u);
    EXPECT_EQ(list.front()->autonomy_lid, "0");
    EXPECT_EQ(list.back()->autonomy_lid, "9999");
}

TEST(AutonomyErrorParser, NeedsTheListKeyThenReportsTheTriple) {
    struct Case {
        const char* text;
        unsigned int code;
        const char* err_str;
        std::string out;
    };
    const Case cases[] = {
        {nullptr, kNotJson, "keep", ""},
        {"{\"autonomy_list\":", kNotJson, "keep", ""},
        {"{\"err_code\":7,\"err_str\":\"x\"}", kNotJson, "keep", ""},
        {"{\"autonomy_list\":null,\"err_str\":\"x\",\"err_code\":7}", 7, "x",
         "err_str : x\nerr_code : 7\n"},
        {"{\"autonomy_list\":5,\"err_no\":\"N\",\"err_str\":3}", 0, "keep", "err_no : N\n"},
        {"{\"autonomy_list\":[],\"err_code\":-2}", 0xFFFFFFFE, "keep", "err_code : 4294967294\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text == nullptr ? "(null)" : std::string(c.text).substr(0, 80));
        std::string err_str = "keep";
        Outcome got =
            CaptureParse([&] { return CFdrUtilParser::ParseFdrErrorCode(c.text, err_str); });
        EXPECT_EQ(got.code, c.code);
        EXPECT_EQ(err_str, c.err_str);
        EXPECT_EQ(got.out, c.out);
    }
}

TEST(AutonomySettingParser, ReadsTheGuidAndLogsANonZeroErrorCode) {
    struct Case {
        const char* text;
        unsigned int code;
        const char* guid;
        std::vector<std::string> log;
    };
    const unsigned int kBad = CFdrUtilParser::kSettingNotJson;
    const unsigned int kError = CFdrUtilParser::kSettingError;
    const std::string error = "[fedutil] LoadFederateSetting err_code: ";
    // clang-format off
    const Case cases[] = {
        {nullptr, kBad, "old", {}},
        {"", kBad, "old", {}},
        {"{\"serviceInfo\":{\"GUID\":\"g\"}", kBad, "old", {}},
        {"{\"serviceInfo\":{\"GUID\":\"g\"},\"err_code\":0}", 0, "g", {}},
        {"{\"serviceInfo\":{\"GUID\":\"g\"},\"err_code\":3}", kError, "g", {error + "0x3"}},
        {"{\"err_code\":-1}", kError, "old", {error + "0xffffffff"}},
        {"{\"serviceInfo\":{\"GUID\":\"g\"},\"err_code\":4294967296}", 0, "g", {}},
        {"{\"serviceInfo\":{\"GUID\":\"g\"},\"err_code\":\"3\"}", 0, "g", {}},
        {"{\"GUID\":\"g\"}", 0, "old", {}},
        {"{\"serviceInfo\":{\"GUID\":7}}", 0, "old", {}},
        {"{\"serviceInfo\":[\"GUID\",\"g\"]}", 0, "old", {}},
        {"[1,2]", 0, "old", {}},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text == nullptr ? "(null)" : std::string(c.text).substr(0, 80));
        auto log = fdrtest::WatchCenterLog();
        std::string guid = "old";
        Outcome got =
            CaptureParse([&] { return CFdrUtilParser::ParseFederateSetting(c.text, guid); });
        EXPECT_EQ(got.code, c.code);
        EXPECT_EQ(guid, c.guid);
        EXPECT_EQ(got.out, "");
        EXPECT_EQ(log.NewLines(), c.log);
    }
}

}  // namespace
