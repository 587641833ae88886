// The camera status notification. Kept in C++: no reader of the services builds channel status
// records, so a case file cannot give its input. The other camera notifications are
// tests/cases/camera-*.case.
#include <gtest/gtest.h>

#include <mutex>
#include <vector>

#include "FederateUtil/CFederateUtil.h"
#include "FederateUtil/NotifyLocks.h"
#include "support/LogFiles.h"
#include "support/Recorder.h"

namespace {

using ChannelStatusObj = DravoAgentData::RealtimeEvent::ChannelStatusObj;

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

// Its body, no notification lock, its one debug line (an end line only), and a failure printed but
// returning zero.
TEST(CameraNotifications, StatusChangeSendsItsBodyAndHidesAFailure) {
    const auto recorder = fdrtest::StartRecorder();
    fdrsim::Simulator& services = *recorder;
    CFederateUtil util;
    const char kPath[] = "/channel_status_changed";
    for (const int status : {200, 500}) {
        SCOPED_TRACE(status);
        services.Exchanges().Clear();
        bool locked = false;  // either notification lock, seen while the request is out
        services.ScriptWith(fdrsim::Service::Arbitrator, "PUT", kPath,
                            [&locked, status](const fdrsim::IncomingRequest&) {
                                for (std::mutex* lock : {&m_notify_lock1, &m_notify_lock2}) {
                                    if (lock->try_lock()) {
                                        lock->unlock();
                                    } else {
                                        locked = true;
                                    }
                                }
                                return fdrsim::ScriptedAnswer{status, "{}"};
                            });
        util.SetDebugSwitchForTesting(status == 200);
        auto log = fdrtest::WatchCenterLog();
        testing::internal::CaptureStdout();
        auto statuses = OneStatus();
        EXPECT_EQ(util.NotifyArbitratorCameraStatusChange("lid-7", statuses), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  status == 200 ? "" : "\r[error]n_ret=4\n");
        EXPECT_EQ(log.NewLines(),
                  status == 200 ? std::vector<std::string>{"NotifyArbitratorCameraStatusChange end"}
                                : std::vector<std::string>{});
        EXPECT_FALSE(locked);
        const auto requests = services.Exchanges().List();
        ASSERT_EQ(requests.size(), 1u);
        EXPECT_EQ(requests[0].target, kPath);
        EXPECT_EQ(
            requests[0].request_body,
            "{\"autonomy_list\":[{\"autonomy_lid\":\"lid-7\",\"channel_status_list\":[{"
            "\"retrieve\":2,\"channel_index\":5,\"channel_guid\":\"g\",\"living_status\":[{"
            "\"connection_status\":1,\"current_bitrate\":1.5,\"current_fps\":9007199254740992,"
            "\"idx\":0}],"
            "\"recorded_statistic\":{\"alarm_rec_days\":1,\"alarm_rec_size\":2,"
            "\"normal_rec_days\":3,\"normal_rec_size\":4}}]}]}");
    }
}

}  // namespace
