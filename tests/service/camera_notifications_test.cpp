// The camera notifications end to end against the local-services fixture: what each one sends
// where, its debug and console lines, the pass-through of the host's notice, and which
// notification lock is held while the request is in flight.
#include <gtest/gtest.h>

#include <functional>
#include <mutex>
#include <vector>

#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/NotifyLocks.h"
#include "support/LocalServices.h"
#include "support/LogFiles.h"
#include "support/TestData.h"

namespace {

using ChannelObj = DravoAgentData::ChannelInformation::ChannelObj;
using ChannelStatusObj = DravoAgentData::RealtimeEvent::ChannelStatusObj;
using fdrtest::LocalServices;
using fdrtest::ReadTestData;

std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const auto& line : lines) {
        text += line + "\n";
    }
    return text;
}

ChannelStatusObjList OneStatus() {
    auto status = std::make_shared<ChannelStatusObj>();
    // A whole frame rate beyond 2^53 still goes out digit for digit.
    status->living_status = {std::make_shared<ChannelStatusObj::LivingStatusObj>(
        ChannelStatusObj::LivingStatusObj{1, 1.5, 9007199254740992.0, 0})};
    status->recorded_statistic = {1, 2, 3, 4};
    status->channel_guid = "g";
    status->channel_index = 5;
    return {status};
}

ChannelObjList OneChannel() {
    auto channel = std::make_shared<ChannelObj>();
    channel->manufacturer.umsid = "ABCDEF";
    channel->channel_guid = "g";
    channel->retrieve = 1;
    return {channel};
}

struct NotificationCase {
    const char* name;
    std::function<int(CFederateUtil&)> notify;
    int port;
    const char* path;
    std::string body;
    const char* start;  // debug start text without the body; null for none
    const char* end;
    std::mutex* lock;  // the notification lock held during the request; null for none
};

class CameraNotifications : public testing::Test {
  protected:
    LocalServices services;
    CFederateUtil util;
    void SetUp() override { ASSERT_TRUE(services.started()); }

    static std::vector<NotificationCase> Cases() {
        return {
            {"status",
             [](CFederateUtil& u) {
                 auto statuses = OneStatus();
                 return u.NotifyArbitratorCameraStatusChange("lid-7", statuses);
             },
             10228, "/channel_status_changed",
             "{\"autonomy_list\":[{\"autonomy_lid\":\"lid-7\",\"channel_status_list\":[{"
             "\"retrieve\":2,\"channel_index\":5,\"channel_guid\":\"g\",\"living_status\":[{"
             "\"connection_status\":1,\"current_bitrate\":1.5,\"current_fps\":9007199254740992,"
             "\"idx\":0}],"
             "\"recorded_statistic\":{\"alarm_rec_days\":1,\"alarm_rec_size\":2,"
             "\"normal_rec_days\":3,\"normal_rec_size\":4}}]}]}",
             nullptr, "NotifyArbitratorCameraStatusChange end", nullptr},
            {"list change",
             [](CFederateUtil& u) {
                 auto channels = OneChannel();
                 return u.NotifyArbitratorCameraListChange("lid-7", channels);
             },
             10228, "/channel_info_changed",
             "{\"autonomy_list\":[{\"autonomy_lid\":\"lid-7\",\"channel_list\":[{"
             "\"channel_guid\":\"g\",\"retrieve\":1,\"channel_index\":0,\"channel_name\":\"\","
             "\"manufacturer\":{\"camera_brand\":\"ABC\",\"camera_model\":\"DEF\","
             "\"camera_brand_text\":\"\",\"camera_model_text\":\"\"},"
             "\"network_setting\":{\"lan_addr\":\"\"}}]}]}",
             "NotifyArbitratorCameraListChange start: ", "NotifyArbitratorCameraListChange end",
             nullptr},
            {"list refresh",
             [](CFederateUtil& u) { return u.NotifyArbitratorCameraListRefresh("lid-7"); }, 10228,
             "/channel_info_refresh", "{\"autonomy_lid\":\"lid-7\"}",
             "NotifyArbitratorCameraListRefresh start: ", "NotifyArbitratorCameraListRefresh end",
             nullptr},
            {"refresh ready", [](CFederateUtil& u) { return u.NotifyArbitratorRefreshReady(); },
             10228, "/autonomy_refresh_ready", "", "NotifyArbitratorRefreshReady start: ",
             "NotifyArbitratorRefreshReady end", &m_notify_lock1},
            {"dravo data",
             [](CFederateUtil& u) {
                 return u.NotifyDravoData(
                     "lid-7",
                     "{\"server\":{\"notice_reason\":{\"kind\":\"motion\"},"
                     "\"id\":18446744073709551615,\"big\":-9223372036854775808,\"ratio\":0.5,"
                     "\"tags\":[1,2]},\"outer\":true}");
             },
             10223, "/dravoService/notify", ReadTestData("channels/dravo_server_notice.json"),
             "NotifyDravoData start: ", "NotifyDravoData end", &m_notify_lock2},
        };
    }
};

// Each: its body (where it goes is the slot-table test's), its debug lines, and the notification
// lock it holds while its request is out, released afterwards.
TEST_F(CameraNotifications, EachSendsItsBodyWritesItsLinesAndHoldsOnlyItsOwnLock) {
    util.SetDebugSwitchForTesting(true);
    for (const auto& c : Cases()) {
        SCOPED_TRACE(c.name);
        services.ClearRequests();
        std::vector<bool> held;  // m_notify_lock1, m_notify_lock2, seen from the fixture's thread
        services.AnswerWith(c.port, "PUT", c.path, [&held](const fdrtest::RecordedRequest&) {
            for (std::mutex* lock : {&m_notify_lock1, &m_notify_lock2}) {
                held.push_back(!lock->try_lock());
                if (!held.back()) {
                    lock->unlock();
                }
            }
            return fdrtest::ScriptedAnswer{};
        });
        auto log = fdrtest::WatchCenterLog();
        testing::internal::CaptureStdout();
        EXPECT_EQ(c.notify(util), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        EXPECT_EQ(held, (std::vector<bool>{c.lock == &m_notify_lock1, c.lock == &m_notify_lock2}));
        for (std::mutex* lock : {&m_notify_lock1, &m_notify_lock2}) {
            ASSERT_TRUE(lock->try_lock());
            lock->unlock();
        }
        EXPECT_EQ(services.OnlyRequest().body, c.body);
        // The status notification has only an end line.
        const std::string start = c.start == nullptr ? "" : c.start + c.body + "\n";
        EXPECT_EQ(Joined(log.NewLines()), start + c.end + "\n");
    }
}

TEST_F(CameraNotifications, FailuresArePrintedAndStillReturnZero) {
    for (const auto& c : Cases()) {
        SCOPED_TRACE(c.name);
        services.Answer(c.port, "PUT", c.path, {500, "{}"});
        auto log = fdrtest::WatchCenterLog();
        testing::internal::CaptureStdout();
        EXPECT_EQ(c.notify(util), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "\r[error]n_ret=4\n");
        EXPECT_TRUE(log.NewLines().empty());  // debug lines stay off
    }
}

struct DravoCase {
    const char* name;
    const char* json;
    std::string sent;  // "" for nothing sent
};

TEST_F(CameraNotifications, DravoDataPassesTheHostsNoticeThrough) {
    const DravoCase cases[] = {
        {"no server node", "{\"a\":1}", ReadTestData("channels/dravo_plain.json")},
        {"empty notice reason", "{\"server\":{\"notice_reason\":{}}}",
         "{\n\t\"notice_reason\":\t{\n\t\t\"input\":\t{\n\t\t\t\"autonomy_lid\":\t\"lid-7\"\n"
         "\t\t}\n\t}\n}"},
        {"notice reason at the top", "{\"notice_reason\":{\"x\":[]},\"server_id\":1}",
         "{\n\t\"notice_reason\":\t{\n\t\t\"x\":\t[],\n\t\t\"input\":\t{\n"
         "\t\t\t\"autonomy_lid\":\t\"lid-7\"\n\t\t}\n\t},\n\t\"server_id\":\t1\n}"},
        // Whole numbers go out as integers, whatever form the host wrote them in.
        {"whole numbers in any form",
         "{\"a\":9007199254740993.0,\"b\":1e18,\"c\":4e15,\"d\":1.5e3}",
         "{\n\t\"a\":\t9007199254740993,\n\t\"b\":\t1000000000000000000,\n"
         "\t\"c\":\t4000000000000000,\n\t\"d\":\t1500,\n\t\"autonomy_lid\":\t\"lid-7\"\n}"},
        {"not JSON", "{\"server\":", ""},
        {"empty text", "", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        services.ClearRequests();
        auto log = fdrtest::WatchCenterLog();
        EXPECT_EQ(util.NotifyDravoData("lid-7", c.json), 0);
        if (c.sent.empty()) {
            EXPECT_TRUE(services.Requests().empty());
            EXPECT_EQ(Joined(log.NewLines()), "[NotifyDravoData] lid-7 parse pass data failed\n");
        } else {
            EXPECT_EQ(services.OnlyRequest().body, c.sent);
            EXPECT_TRUE(log.NewLines().empty());
        }
    }
}

}  // namespace
