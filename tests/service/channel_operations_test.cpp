// The channel settings operations end to end against the local-services fixture: bodies,
// results, and the console and log lines they leave (ports and paths are the slot-table test's).
#include <gtest/gtest.h>

#include "FederateUtil/CFederateUtil.h"
#include "support/LocalServices.h"
#include "support/LogFiles.h"
#include "support/TestData.h"

namespace {

using DravoAgentData::AutonomyList;
using ChannelObj = DravoAgentData::ChannelInformation::ChannelObj;
using fdrtest::LocalServices;
using fdrtest::ReadTestData;

constexpr int kRead = 10241;
constexpr int kWrite = 10240;
constexpr char kPath[] = "/fdr/CmsChannel";

std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            escaped += '\\';
        }
        escaped += c;
    }
    return escaped;
}

std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& line : lines) {
        text += line + "\n";
    }
    return text;
}

class ChannelOperations : public testing::Test {
  protected:
    LocalServices services;
    CFederateUtil util;
    void SetUp() override { ASSERT_TRUE(services.started()); }
};

struct LoadCase {
    const char* name;
    int status;
    std::string answer;
    int result;
    size_t added;
    std::string log_line;  // "" for none
};

TEST_F(ChannelOperations, LoadSendsTheLidAndParsesTheAnswer) {
    const std::string full = ReadTestData("channels/channel_full_service.json");
    const std::string two =
        "{\"channel_list\":[{\"data\":\"" + Escaped(full) + "\"},{\"data\":\"{}\"}]";
    const LoadCase cases[] = {
        {"answer", 200, two + "}", 0, 2, ""},
        {"service error keeps the channels", 200, two + ",\"err_code\":3}", 3, 2,
         "[fedutil][LoadFdrChannelSetting] Parse Error: 3, response: " + two + ",\"err_code\":3}"},
        {"not JSON", 200, "busy", static_cast<int>(0xD3020400), 0,
         "[fedutil][LoadFdrChannelSetting] Parse Error: -754842624, response: busy"},
        {"request fails", 500, "{\"channel_list\":[]}", 4, 0,
         "[fedutil][LoadFdrChannelSetting] call /fdr/Autonomies error, ret: 4, response: "
         "{\"channel_list\":[]}"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        services.ClearRequests();
        services.Answer(kRead, "GET", kPath, {c.status, c.answer});
        auto log = fdrtest::WatchCenterLog();
        ChannelObjList channels = {std::make_shared<ChannelObj>()};
        testing::internal::CaptureStdout();
        EXPECT_EQ(util.LoadFdrChannelSetting("srv lid&1", channels), c.result);
        testing::internal::GetCapturedStdout();
        EXPECT_EQ(channels.size(), 1 + c.added);
        EXPECT_EQ(Joined(log.NewLines()), c.log_line.empty() ? "" : c.log_line + "\n");
        const auto request = services.OnlyRequest();
        ASSERT_EQ(request.query.size(), 1u);
        EXPECT_EQ(request.query[0],
                  (std::pair<std::string, std::string>("autonomy_lid", "srv lid&1")));
    }
}

// The servers and channels of the grouped golden body.
void GroupedFederation(AutonomyList& servers, ChannelObjList& channels) {
    for (const char* lid : {"lid-A", "lid-B", "lid-C", "lid-A"}) {
        servers.autonomy_list.push_back(std::make_shared<AutonomyList::AutonomyListObj>());
        servers.autonomy_list.back()->autonomy_lid = lid;
    }
    const char* const owned[][3] = {{"lid-A", "g1", "one"},
                                    {"lid-B", "g2", "two"},
                                    {"lid-Q", "g3", "three"},
                                    {"lid-A", "g4", "four"}};
    for (const auto& o : owned) {
        channels.push_back(std::make_shared<ChannelObj>());
        channels.back()->owner_lid = o[0];
        channels.back()->channel_guid = o[1];
        channels.back()->channel_name = o[2];
    }
}

struct SaveCase {
    const char* name;
    int status;
    const char* answer;
    int result;
    const char* console;
};

TEST_F(ChannelOperations, SaveAllPutsTheGroupedBodyAndReturnsTheServicesCode) {
    const std::string body = ReadTestData("channels/grouped_body.json");
    AutonomyList servers;
    ChannelObjList channels;
    GroupedFederation(servers, channels);
    const SaveCase cases[] = {
        {"stored", 200, "{\"autonomy_list\":[]}", 0, ""},
        {"service error", 200, "{\"autonomy_list\":null,\"err_str\":\"full\",\"err_code\":9}", 9,
         "err_str : full\nerr_code : 9\n"},
        {"error answer without the list key", 200, "{\"err_code\":9}", static_cast<int>(0xD3020100),
         ""},
        {"request fails", 503, "{\"autonomy_list\":[]}", 4, "\r[error]n_ret=4\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        services.ClearRequests();
        services.Answer(kWrite, "PUT", kPath, {c.status, c.answer});
        auto log = fdrtest::WatchCenterLog();
        testing::internal::CaptureStdout();
        EXPECT_EQ(util.SaveFdrAllChannelsSetting(servers, channels), c.result);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.console);
        EXPECT_TRUE(log.NewLines().empty());  // debug lines stay off
        EXPECT_EQ(services.OnlyRequest().body, body);
    }
    util.SetDebugSwitchForTesting(true);  // (msg() cuts a line at 2 kB: a short body here)
    services.Answer(kWrite, "PUT", kPath, {200, cases[0].answer});
    auto log = fdrtest::WatchCenterLog();
    AutonomyList none;
    util.SaveFdrAllChannelsSetting(none, channels);
    EXPECT_EQ(Joined(log.NewLines()),
              "SaveFdrAllChannelsSetting start: {\"autonomy_list\":[]}\n"
              "SaveFdrAllChannelsSetting end\n");
}

using Write = int (CFederateUtil::*)(std::string&, ChannelObjList&);

struct WriteCase {
    const char* name;
    Write write;
    const char* mode;
    bool data;
    const char* start;  // debug lines; null for none
    const char* end;
};

const WriteCase kWrites[] = {
    {"add", &CFederateUtil::AddFdrChannelSetting, "add", true,
     "AddFdrChannelSetting start: ", "AddFdrChannelSetting end"},
    {"update", &CFederateUtil::UpdateFdrChannelSetting, "update", true,
     "UpdateFdrChannelSetting start: ", "UpdateChannelSetting end"},
    {"remove", &CFederateUtil::RemoveFdrChannelSetting, "remove", false,
     "RemoveFdrChannelSetting start: ", "RemoveFdrChannelSetting end"},
    {"refresh", &CFederateUtil::RefreshFdrChannelSetting, "replace", true, nullptr, nullptr},
};

TEST_F(ChannelOperations, OneServerWritesPutTheirBodyAndAlwaysReturnZero) {
    util.SetDebugSwitchForTesting(true);
    auto channel = std::make_shared<ChannelObj>();
    const std::string data = Escaped(ReadTestData("channels/channel_default.json"));
    for (const auto& c : kWrites) {
        for (const bool fails : {false, true}) {
            SCOPED_TRACE(std::string(c.name) + (fails ? " failing" : ""));
            services.ClearRequests();
            services.Answer(kWrite, "PUT", kPath, {fails ? 500 : 200, "{\"err_code\":1}"});
            std::string lid = "srv-lid-1";
            ChannelObjList channels = {channel};
            auto log = fdrtest::WatchCenterLog();
            testing::internal::CaptureStdout();
            EXPECT_EQ((util.*c.write)(lid, channels), 0);
            const std::string console = testing::internal::GetCapturedStdout();

            const std::string body =
                "{\"autonomy_list\":[{\"autonomy_lid\":\"srv-lid-1\",\"mode\":\"" +
                std::string(c.mode) +
                "\",\"channel_list\":[{\"guid\":\"\",\"name\":\"\",\"data\":\"" +
                (c.data ? data : "") + "\"}]}]}";
            EXPECT_EQ(services.OnlyRequest().body, body);

            std::string expected_console = c.write == &CFederateUtil::AddFdrChannelSetting
                                               ? "SaveChannelsSetting size = 1\n"
                                               : "";
            std::string expected_log =
                c.start == nullptr ? "" : std::string(c.start) + body + "\n" + c.end + "\n";
            if (fails) {
                if (c.write == &CFederateUtil::RemoveFdrChannelSetting) {
                    expected_log += "[fedutil] RemoveFdrChannelSetting req: " + body + "\n";
                } else {
                    expected_console += "\r[error]n_ret=4\n";
                }
            }
            EXPECT_EQ(console, expected_console);
            EXPECT_EQ(Joined(log.NewLines()), expected_log);
        }
    }
}

TEST_F(ChannelOperations, AddOfAnEmptyListStillSendsAndCounts) {
    std::string lid = "l";
    ChannelObjList none;
    testing::internal::CaptureStdout();
    EXPECT_EQ(util.AddFdrChannelSetting(lid, none), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "SaveChannelsSetting size = 0\n");
    EXPECT_EQ(
        services.OnlyRequest().body,
        "{\"autonomy_list\":[{\"autonomy_lid\":\"l\",\"mode\":\"add\",\"channel_list\":[]}]}");
}

}  // namespace
