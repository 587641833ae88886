// SLOW: a connect that never completes (the service's accept queue is full) ends at the
// request's 30-second limit, whoever connects the socket, with nothing sent, counted or logged.
#include <gtest/gtest.h>
#include <netdb.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "federateutil/RestConnectInfo.h"
#include "support/FullListener.h"
#include "support/LogFiles.h"
#include "support/Timing.h"

namespace {

using fdr::rest::ConnectMode;

TEST(ConnectTimeout, AConnectThatNeverCompletesEndsAtThirtySeconds) {
    fdrtest::FullListener full;
    ASSERT_TRUE(full.full());
    addrinfo* address = nullptr;
    ASSERT_EQ(getaddrinfo("127.0.0.1", std::to_string(full.port()).c_str(), nullptr, &address), 0);
    struct Case {
        const char* name;
        ConnectMode mode;
        std::function<int(CRestConnectInfo&)> run;
        int result;
    };
    const Case kCases[] = {
        {"ConnectSocket", ConnectMode::kObjectConnects,
         [](CRestConnectInfo& c) { return c.ConnectSocket() ? 1 : 0; }, 0},
        {"POST, object connects", ConnectMode::kObjectConnects,
         [](CRestConnectInfo& c) {
             std::string response;
             return c.DoRequestPostText("/token", "", "", "", "a=1", response);
         },
         -3},
        {"GET, object connects", ConnectMode::kObjectConnects,
         [](CRestConnectInfo& c) {
             std::string response;
             return c.DoRequestGetText("/", "", "", "", "", response);
         },
         -3},
        {"POST, libcurl connects", ConnectMode::kLibcurlConnects,
         [](CRestConnectInfo& c) {
             std::string response;
             return c.DoRequestPostText("/token", "", "", "", "a=1", response);
         },
         -3},
    };
    // Each thread sets up its own connection in its own mode; all wait side by side.
    const unsigned counted = CRestConnectInfo::m_CGICount;
    auto log = fdrtest::WatchCenterLog();
    std::vector<int> results(std::size(kCases), 99);
    std::vector<std::chrono::steady_clock::duration> waited(std::size(kCases));
    std::vector<std::thread> threads;
    for (size_t i = 0; i < std::size(kCases); ++i) {
        threads.emplace_back([&, i] {
            const Case& c = kCases[i];
            const fdrtest::ScopedConnectMode pinned(c.mode);
            CRestConnectInfo connection;
            if (connection.SetConnectionParam("", "", "127.0.0.1", false, full.port(), 90, 120,
                                              address) != 0) {
                return;
            }
            const auto start = std::chrono::steady_clock::now();
            results[i] = c.run(connection);
            waited[i] = std::chrono::steady_clock::now() - start;
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (size_t i = 0; i < std::size(kCases); ++i) {
        SCOPED_TRACE(kCases[i].name);
        EXPECT_EQ(results[i], kCases[i].result);
        EXPECT_GE(waited[i], std::chrono::seconds(29));
        // One limit for connect and transfer together.
        EXPECT_WAIT_AT_MOST(waited[i], std::chrono::seconds(30) + fdrtest::kLoadedMachineSlack);
    }
    EXPECT_EQ(CRestConnectInfo::m_CGICount, counted);
    EXPECT_TRUE(log.NewLines().empty());
    freeaddrinfo(address);
}

}  // namespace
