// The libcurl connection object against the service core on free ports.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include "federateutil/RestConnectInfo.h"
#include "support/Descriptors.h"
#include "support/FullListener.h"
#include "support/LocalServices.h"
#include "support/LogFiles.h"
#include "support/RestConnection.h"
#include "support/Timing.h"

namespace {

using fdr::rest::ConnectMode;
using fdrsim::Service;
using fdrtest::ScopedConnectMode;

using fdrtest::Connection;

// The token service answers "/N" with status N and "body N", every other path 200; the
// arbitrator's port refuses connections and the member log's takes requests and never answers.
class RestConnect : public ::testing::Test {
  protected:
    void SetUp() override {
        for (const int status : {200, 201, 302, 399, 404, 500}) {
            for (const char* method : {"GET", "POST"}) {
                services_->Script(Service::Token, method, "/" + std::to_string(status),
                                  {status, "body " + std::to_string(status)});
            }
        }
        port_ = services_->PortOf(Service::Token);
        refusing_ = services_->PortOf(Service::Arbitrator);
        stalling_ = services_->PortOf(Service::MemberLog);
    }
    size_t Count() { return services_->Exchanges().Count(); }
    fdrsim::Exchange Last() { return services_->Exchanges().List().back(); }

    std::unique_ptr<fdrsim::Simulator> services_ =
        fdrtest::StartRecorder({{Service::Arbitrator, fdrsim::FaultMode::Refuse},
                                {Service::MemberLog, fdrsim::FaultMode::Stall}},
                               true);
    int port_ = 0, refusing_ = 0, stalling_ = 0;
};

TEST_F(RestConnect, ResultsFollowTheStatusAndTheMethod) {
    Connection connection(port_);
    const int cases[][3] = {{200, 0, 0},   {404, -14, -14}, {500, -6, -6},
                            {201, -6, -6}, {302, -6, -13},  {399, -6, -13}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c[0]);
        const std::string path = "/" + std::to_string(c[0]);
        std::string response;
        EXPECT_EQ(connection.Post(path, response), c[1]);
        EXPECT_EQ(response, "body " + std::to_string(c[0]));
        auto log = fdrtest::WatchCenterLog();
        EXPECT_EQ(connection.Get(path, response), c[2]);
        // The GET names every status but 200 and 404.
        const std::string named = "[CURL] http_code=" + std::to_string(c[0]) +
                                  " http://127.0.0.1:" + std::to_string(port_) + path;
        EXPECT_EQ(log.NewLines().back() == named, c[0] != 200 && c[0] != 404);
    }
    EXPECT_EQ(Count(), 12u);  // one object, its socket reconnected for every request
}

TEST_F(RestConnect, RequestCarriesQueryHeaderCredentialsAndBodyAsGiven) {
    const auto header = [](const fdrsim::Exchange& e, const std::string& name) {
        for (const auto& [key, value] : e.request_headers) {
            if (key == name) {
                return value;
            }
        }
        return std::string("<none>");
    };
    Connection connection(port_, "operator");
    const std::string body = std::string("k=v&x=\"q\"%20") + '\0' + "z";
    std::string response;
    EXPECT_EQ(connection.rest->DoRequestPostText("/p", "X-Test: yes", "a=1", "u:p", body, response),
              0);
    EXPECT_EQ(Last().target + " " + header(Last(), "X-Test"), "/p?a=1 yes");
    EXPECT_TRUE(Last().request_body == body);
    EXPECT_EQ(header(Last(), "Authorization"), "Basic dTpw");  // u:p

    Connection plain(port_, "operator");
    EXPECT_EQ(plain.rest->DoRequestGetText("/g", "", "", "", "agent/7", response), 0);
    EXPECT_EQ(Last().target + " " + header(Last(), "User-Agent"), "/g agent/7");
    EXPECT_EQ(header(Last(), "Authorization"), "Basic b3BlcmF0b3I6");  // operator:
}

TEST_F(RestConnect, UnconnectedRequestIsMinusThreeWithNothingSentCountedOrLogged) {
    Connection refused(refusing_);
    Connection aborted(port_);
    EXPECT_EQ(aborted.rest->AbortConnection(true), 1);
    const unsigned counted = CRestConnectInfo::m_CGICount;
    auto log = fdrtest::WatchCenterLog();
    std::string response = "kept";
    for (Connection* connection : {&refused, &aborted}) {
        EXPECT_EQ(connection->Post("/x", response), -3);
        EXPECT_EQ(connection->Get("/x", response), -3);
    }
    EXPECT_EQ(response, "kept");
    EXPECT_EQ(Count(), 0u);
    EXPECT_EQ(CRestConnectInfo::m_CGICount, counted);
    EXPECT_TRUE(log.NewLines().empty());

    aborted.rest->AbortConnection(false);
    EXPECT_EQ(aborted.Post("/x", response), 0);
    EXPECT_EQ(CRestConnectInfo::m_CGICount, counted + 1);

    CRestConnectInfo unset;  // any argument null: no handle, nothing to send with
    addrinfo any{};
    EXPECT_EQ(unset.SetConnectionParam(nullptr, "", "127.0.0.1", false, 1, 90, 120, &any), -1);
    EXPECT_EQ(unset.SetConnectionParam("", nullptr, "127.0.0.1", false, 1, 90, 120, &any), -1);
    EXPECT_EQ(unset.SetConnectionParam("", "", nullptr, false, 1, 90, 120, &any), -1);
    EXPECT_EQ(unset.SetConnectionParam("", "", "127.0.0.1", false, 1, 90, 120, nullptr), -1);
    EXPECT_EQ(unset.DoRequestPostText("/x", "", "", "", "", response), -6);
}

TEST_F(RestConnect, AbortFromAnotherThreadEndsAStalledRequestPromptly) {
    for (const bool get : {false, true}) {
        Connection connection(stalling_);
        fdrsim::ExchangeFilter arrived;
        arrived.after_id = services_->Exchanges().LastId();
        int result = 0;
        std::string response;
        std::thread request(
            [&] { result = get ? connection.Get("/", response) : connection.Post("/", response); });
        EXPECT_TRUE(services_->Exchanges().WaitFor(arrived, fdrtest::kEventuallyLimit));
        const auto aborted = std::chrono::steady_clock::now();
        connection.rest->AbortConnection(true);
        request.join();
        // Promptly: long before the transfer's time-out would have ended it.
        EXPECT_WAIT_AT_MOST(std::chrono::steady_clock::now() - aborted, std::chrono::seconds(10));
        // Ended by the shut-down socket (a failed exchange) or by the abort check (a time-out).
        EXPECT_TRUE(result == -6 || result == -15) << result;
    }
}

TEST_F(RestConnect, ConnectSocketSaysWhetherItConnected) {
    for (const ConnectMode mode : {ConnectMode::kObjectConnects, ConnectMode::kLibcurlConnects}) {
        SCOPED_TRACE(static_cast<int>(mode));
        const ScopedConnectMode pinned(mode);
        Connection refused(refusing_);
        EXPECT_FALSE(refused.rest->ConnectSocket());
        Connection reached(port_);
        EXPECT_TRUE(reached.rest->ConnectSocket());
        EXPECT_TRUE(reached.rest->ConnectSocket());  // the same socket connects again
        reached.rest->AbortConnection(true);
        EXPECT_FALSE(reached.rest->ConnectSocket());
        reached.rest->AbortConnection(false);
        EXPECT_TRUE(reached.rest->ConnectSocket());
    }
    CRestConnectInfo never_set_up;  // no address and no socket: nothing to do
    EXPECT_TRUE(never_set_up.ConnectSocket());
}

// A connect that hangs (the service's accept queue is full) ends as soon as another thread
// aborts, whoever connects: the bare ConnectSocket with false, a request with -3 and nothing
// counted or logged. Unaborted, each would wait out the 30-second limit.
TEST(RestConnectHanging, AbortEndsAHangingConnectWithNothingSent) {
    fdrtest::FullListener full;
    ASSERT_TRUE(full.full());
    std::string response = "kept";
    for (const auto& c : fdrtest::kHangingConnects) {
        SCOPED_TRACE(&c - fdrtest::kHangingConnects);
        const ScopedConnectMode pinned(c.mode);
        Connection connection(full.port());
        const unsigned counted = CRestConnectInfo::m_CGICount;
        auto log = fdrtest::WatchCenterLog();
        int result = 99;
        std::chrono::steady_clock::time_point ended;
        std::thread request([&] {
            const ScopedConnectMode pinned_here(c.mode);
            result = c.Run(connection, response);
            ended = std::chrono::steady_clock::now();
        });
        // Normally the connect is hanging by then; an abort that comes first gives the same.
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        const auto aborted = std::chrono::steady_clock::now();
        connection.rest->AbortConnection(true);
        request.join();
        EXPECT_EQ(result, c.result);
        EXPECT_WAIT_AT_MOST(ended - aborted, std::chrono::seconds(10));
        EXPECT_EQ(CRestConnectInfo::m_CGICount, counted);
        EXPECT_TRUE(log.NewLines().empty());
    }
    EXPECT_EQ(response, "kept");
}

TEST_F(RestConnect, CopiesHaveTheSettingsAndTheirOwnSocketAndLeakNothing) {
    std::string response;
    Connection(port_).Post("/warm-up", response);
    const size_t before = fdrtest::OpenDescriptors();
    {
        Connection original(port_, "operator");
        original.rest->AbortConnection(true);
        std::shared_ptr<CRestConnectInfo> copy;
        for (int i = 0; i < 1000; ++i) {
            ASSERT_EQ(original.rest->DupConnectInfo(copy), 0);
        }
        EXPECT_EQ(copy->GetUserNameInfo(), "operator");
        EXPECT_EQ(copy->DoRequestPostText("/x", "", "", "", "", response), -3);  // abort copied
        copy->AbortConnection(false);
        EXPECT_EQ(copy->DoRequestPostText("/copy", "", "", "", "", response), 0);
        EXPECT_EQ(Last().target, "/copy");
    }
    // The service closes its side of each exchange in its own time.
    EXPECT_TRUE(services_->WaitUntilIdle(fdrtest::kEventuallyLimit));
    EXPECT_LE(fdrtest::OpenDescriptors(), before);
}

}  // namespace
