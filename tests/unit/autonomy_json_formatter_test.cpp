// Bodies that report member servers, compared whole against hand-written golden texts.
#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "json/AutonomyJsonFormatter.h"
#include "support/TestData.h"

namespace {

using Formatter = CAutonomyListJsonFormatter;
using Record = Formatter::Record;
using fdrtest::ReadTestData;

// Every member away from its default, the host's own members included (they are never sent).
std::shared_ptr<Record> FullRecord() {
    auto r = std::make_shared<Record>();
    r->server_mode = "standalone";
    r->address = "10.0.0.7:8080";
    r->username = "admin \"root\"";
    r->password = "p\\w\xc3\xa9";
    r->autonomy_lid = "lid-0001";
    r->autonomy_lname = "Gate\ncam";
    r->add_time = "2024-05-06 07:08:09";
    r->group_id = 42;
    r->host_text1 = "host-1";
    r->host_value1 = 11;
    r->health_status = UINT64_MAX;
    r->host_value2 = 12;
    r->firmware = "3.2.1";
    r->firmware_date = "2024-01-31";
    r->autonomy_id = "gid-9f8e";
    r->mac = "00:11:22:33:44:55";
    r->sid = "sid-abc";
    r->token = "tok/en=";
    r->machine_internal_model = "IM-77";
    r->machine_model = "NVR-8";
    r->machine_name = "recorder-east";
    r->machine_version = "v2";
    r->auth_data = "YXV0aA==";
    r->is_admin = true;
    r->cms_server_required_lower = "1.0.0";
    r->cms_server_required_upper = "9.9.9";
    r->pc_client_required_lower = "PC-LOWER-NEVER-SENT";
    r->pc_client_required_upper = "5.5.5";
    r->host_flag1 = false;
    r->ch_num = -12;
    r->host_flag2 = r->host_flag3 = r->host_flag4 = true;
    r->is_support_enable_app = r->is_support_update_fw = r->is_support_add_server = false;
    r->is_zep = r->centralized_by_another = true;
    r->host_text2 = "host-2";
    r->host_text3 = "host-3";
    r->thirdparty_support_list =
        "[ {\"brand\": \"acme\", \"ids\": [9007199254740993, 18446744073709551615]} ]";
    r->retrieve = 3;
    r->sys_health = "warning";
    return r;
}

DravoAgentData::AutonomyList ListOf(std::vector<std::shared_ptr<Record>> records) {
    DravoAgentData::AutonomyList list;
    list.autonomy_list = std::move(records);
    return list;
}

std::string Rest(std::shared_ptr<Record> record) {
    std::stringstream stream;
    stream << "before:";
    Formatter::FormatRestAutonomy(record, stream);
    return stream.str();
}

using ListFormatter = int (*)(DravoAgentData::AutonomyList&, std::string&);

std::string Format(ListFormatter formatter, DravoAgentData::AutonomyList list) {
    std::string out = "stale output";
    EXPECT_EQ(formatter(list, out), 0);
    return out;
}

TEST(AutonomyFormatter, RestObjectAppendsToTheStream) {
    EXPECT_EQ(Rest(FullRecord()), "before:" + ReadTestData("autonomy/rest_full.json"));
    EXPECT_EQ(Rest(std::make_shared<Record>()),
              "before:" + ReadTestData("autonomy/rest_default.json"));
    EXPECT_EQ(Rest(nullptr), "before:");
}

TEST(AutonomyFormatter, AddBodyHoldsEveryRecordInOrder) {
    const std::string golden = ReadTestData("autonomy/add_body.json");
    EXPECT_EQ(
        Format(Formatter::FormatterAddAutonomy, ListOf({FullRecord(), std::make_shared<Record>()})),
        golden);
    EXPECT_EQ(Format(Formatter::FormatterAddAutonomy,
                     ListOf({nullptr, FullRecord(), nullptr, std::make_shared<Record>()})),
              golden);
    EXPECT_EQ(Format(Formatter::FormatterAddAutonomy, ListOf({})), "{\"autonomy_list\":[]}");
}

// Each golden holds the member object of the last record; the records before it are dropped.
TEST(AutonomyFormatter, ChangeBodiesCarryOnlyTheLastRecord) {
    struct Case {
        const char* golden;
        ListFormatter formatter;
        std::vector<std::shared_ptr<Record>> records;
    };
    auto fresh = [] { return std::make_shared<Record>(); };
    const ListFormatter arbitrator = Formatter::FormatterArbitratorAutonomyChange;
    const ListFormatter dravo = Formatter::FormatterDravoServerAutonomyChange;
    // clang-format off
    const Case cases[] = {
        {"arbitrator_change_full", arbitrator, {FullRecord()}},
        {"arbitrator_change_full", arbitrator, {fresh(), fresh(), FullRecord(), nullptr}},
        {"arbitrator_change_default", arbitrator, {fresh()}},
        {"arbitrator_change_default", arbitrator, {FullRecord(), FullRecord(), fresh()}},
        {"dravo_change_full", dravo, {FullRecord()}},
        {"dravo_change_full", dravo, {fresh(), fresh(), FullRecord()}},
        {"dravo_change_default", dravo, {FullRecord(), fresh()}},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.golden + std::to_string(c.records.size()));
        EXPECT_EQ(Format(c.formatter, ListOf(c.records)),
                  ReadTestData(std::string("autonomy/") + c.golden + ".json"));
    }
    EXPECT_EQ(Format(Formatter::FormatterArbitratorAutonomyChange, ListOf({nullptr})),
              "{\"autonomy_list\":[]}");
    EXPECT_EQ(Format(Formatter::FormatterDravoServerAutonomyChange, ListOf({})),
              "{\"notice_reason\":{\"type\":23,\"action\":23000,\"command_id\":\"\"},"
              "\"autonomy_list\":[]}");
}

TEST(AutonomyFormatter, RemoveBodies) {
    std::string lid = "lid \"7\"";
    std::string out = "stale";
    Formatter::FormatterRemoveAutonomyInfo(lid, out);
    EXPECT_EQ(out, ReadTestData("autonomy/log_remove_body.json"));
    Formatter::FormatterArbitratorRemoveAutonomyInfo(lid, out);
    EXPECT_EQ(out, ReadTestData("autonomy/arbitrator_remove_body.json"));

    std::string empty;
    Formatter::FormatterRemoveAutonomyInfo(empty, out);
    EXPECT_EQ(out, "{\"autonomy_list\":[\"\"]}");
    Formatter::FormatterArbitratorRemoveAutonomyInfo(empty, out);
    EXPECT_EQ(out, "{\"autonomy_list\":[{\"autonomy_lid\":\"\",\"retrieve\":1}]}");
}

// Health codes and channel counts across their ranges, in every body that carries them; the add
// body prints, parses and prints them again.
TEST(AutonomyFormatter, NumbersReachTheBodiesExactly) {
    struct Case {
        uint64_t health;
        int32_t ch_num;
        const char* health_text;
        const char* ch_text;
    };
    const Case cases[] = {
        {0, 0, "0", "\"0\""},
        {2147483647, 12, "2147483647", "\"12\""},
        {2147483648, -1, "2147483648", "\"-1\""},
        {9007199254740993, INT32_MAX, "9007199254740993", "\"2147483647\""},
        {uint64_t{1} << 63, INT32_MIN, "9223372036854775808", "\"-2147483648\""},
        {UINT64_MAX, 0, "18446744073709551615", "\"0\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.health_text);
        auto record = std::make_shared<Record>();
        record->health_status = c.health;
        record->ch_num = c.ch_num;
        const std::string health = std::string("\"autonomy_health_status\":") + c.health_text;
        const std::string ch = std::string("\"autonomy_ch_num\":") + c.ch_text;
        for (const std::string& body :
             {Rest(record), Format(Formatter::FormatterAddAutonomy, ListOf({record})),
              Format(Formatter::FormatterArbitratorAutonomyChange, ListOf({record})),
              Format(Formatter::FormatterDravoServerAutonomyChange, ListOf({record}))}) {
            EXPECT_NE(body.find(health + ","), std::string::npos) << body;
            EXPECT_NE(body.find(ch + ","), std::string::npos) << body;
        }
    }
}

// The third-party list travels as the JSON it holds, or not at all.
TEST(AutonomyFormatter, ThirdpartyListIsInsertedAsJson) {
    const std::string deep(2000, '[');
    struct Case {
        std::string text;
        const char* sent;  // null: the key is left out
    };
    const Case cases[] = {
        {"", nullptr},
        {"not json", nullptr},
        {"[{\"brand\":\"acme\"}", nullptr},
        {deep + std::string(2000, ']'), nullptr},
        {"[]", "[]"},
        {" { \"a\" : [ 1 , 2.5 ] } ", "{\"a\":[1,2.5]}"},
        {"\"text\"", "\"text\""},
    };
    const std::string base = ReadTestData("autonomy/arbitrator_change_default.json");
    const std::string tail = ",\"sys_health\":\"good\"}]}";
    ASSERT_EQ(base.substr(base.size() - tail.size()), tail);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text.substr(0, 40));
        auto record = std::make_shared<Record>();
        record->thirdparty_support_list = c.text;
        std::string expected = base.substr(0, base.size() - tail.size());
        if (c.sent != nullptr) {
            expected += std::string(",\"thirdparty_support_list\":") + c.sent;
        }
        EXPECT_EQ(Format(Formatter::FormatterArbitratorAutonomyChange, ListOf({record})),
                  expected + tail);
    }
}

}  // namespace
