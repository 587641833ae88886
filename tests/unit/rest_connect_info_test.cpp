// The libcurl connection object against local servers on ephemeral ports.
#include <gtest/gtest.h>
#include <httplib.h>
#include <netdb.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "federateutil/RestConnectInfo.h"
#include "support/Descriptors.h"
#include "support/FullListener.h"
#include "support/LogFiles.h"
#include "support/Timing.h"

namespace {

// "/N" answers status N with the body "body N", any other path 200; the last request is kept.
struct StatusServer {
    httplib::Server server;
    std::thread thread;
    std::mutex mutex;
    httplib::Request last;
    std::atomic<int> count{0};
    int port = server.bind_to_any_port("127.0.0.1");
    StatusServer() {
        auto handler = [this](const httplib::Request& req, httplib::Response& res) {
            res.status = std::max(std::atoi(req.path.c_str() + 1), 200);
            res.set_content("body " + std::to_string(res.status), "text/plain");
            std::lock_guard<std::mutex> lock(mutex);
            last = req;
            ++count;
        };
        server.Get(".*", handler);
        server.Post(".*", handler);
        thread = std::thread([this] { server.listen_after_bind(); });
        while (!server.is_running()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    ~StatusServer() {
        server.stop();
        thread.join();
    }
    httplib::Request Last() {
        std::lock_guard<std::mutex> lock(mutex);
        return last;
    }
};

// A bound port that refuses connections, or (listening) takes them and never answers.
struct BarePort {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    int port = 0;
    explicit BarePort(bool listening) {
        sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
        socklen_t length = sizeof(address);
        bind(fd, reinterpret_cast<sockaddr*>(&address), length);
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
        port = ntohs(address.sin_port);
        if (listening) {
            listen(fd, 4);
        }
    }
    ~BarePort() {
        for (const int peer : accepted) {
            close(peer);
        }
        close(fd);
    }
    // Takes the next connection once its request has begun to arrive, and keeps it open,
    // unanswered; false when none came. (A connection the kernel accepted may not yet be one the
    // client has noticed, and an abort then ends it before anything was sent.)
    bool AcceptOne() {
        const auto limit = std::chrono::milliseconds(fdrtest::kEventuallyLimit);
        pollfd ready{fd, POLLIN, 0};
        if (poll(&ready, 1, static_cast<int>(limit.count())) != 1) {
            return false;
        }
        accepted.push_back(accept(fd, nullptr, nullptr));
        pollfd request{accepted.back(), POLLIN, 0};
        return accepted.back() >= 0 && poll(&request, 1, static_cast<int>(limit.count())) == 1;
    }
    std::vector<int> accepted;
};

// A connection to 127.0.0.1:port with the resolved address it keeps a pointer to.
struct Connection {
    addrinfo* address = nullptr;
    std::shared_ptr<CRestConnectInfo> rest = std::make_shared<CRestConnectInfo>();
    explicit Connection(int port, const char* user = "") {
        getaddrinfo("127.0.0.1", std::to_string(port).c_str(), nullptr, &address);
        EXPECT_EQ(rest->SetConnectionParam(user, "", "127.0.0.1", false, port, 90, 120, address),
                  0);
    }
    ~Connection() {
        rest.reset();
        freeaddrinfo(address);
    }
    int Post(const std::string& path, std::string& response) {
        return rest->DoRequestPostText(path, "", "", "", "b=1", response);
    }
    int Get(const std::string& path, std::string& response) {
        return rest->DoRequestGetText(path, "", "", "", "", response);
    }
};

using fdrtest::OpenDescriptors;

TEST(RestConnectRequest, ResultsFollowTheStatusAndTheMethod) {
    StatusServer server;
    Connection connection(server.port);
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
                                  " http://127.0.0.1:" + std::to_string(server.port) + path;
        EXPECT_EQ(log.NewLines().back() == named, c[0] != 200 && c[0] != 404);
    }
    EXPECT_EQ(server.count, 12);  // one object, its socket reconnected for every request
}

TEST(RestConnectRequest, RequestCarriesQueryHeaderCredentialsAndBodyAsGiven) {
    StatusServer server;
    Connection connection(server.port, "operator");
    const std::string body = std::string("k=v&x=\"q\"%20") + '\0' + "z";
    std::string response;
    EXPECT_EQ(connection.rest->DoRequestPostText("/p", "X-Test: yes", "a=1", "u:p", body, response),
              0);
    auto last = server.Last();
    EXPECT_EQ(last.target + " " + last.get_header_value("X-Test"), "/p?a=1 yes");
    EXPECT_EQ(last.body, body);
    EXPECT_EQ(last.get_header_value("Authorization"), "Basic dTpw");  // u:p

    Connection plain(server.port, "operator");
    EXPECT_EQ(plain.rest->DoRequestGetText("/g", "", "", "", "agent/7", response), 0);
    last = server.Last();
    EXPECT_EQ(last.target + " " + last.get_header_value("User-Agent"), "/g agent/7");
    EXPECT_EQ(last.get_header_value("Authorization"), "Basic b3BlcmF0b3I6");  // operator:
}

TEST(RestConnectRequest, UnconnectedRequestIsMinusThreeWithNothingSentCountedOrLogged) {
    BarePort refusing(false);
    StatusServer server;
    Connection refused(refusing.port);
    Connection aborted(server.port);
    EXPECT_EQ(aborted.rest->AbortConnection(true), 1);
    const unsigned counted = CRestConnectInfo::m_CGICount;
    auto log = fdrtest::WatchCenterLog();
    std::string response = "kept";
    for (Connection* connection : {&refused, &aborted}) {
        EXPECT_EQ(connection->Post("/x", response), -3);
        EXPECT_EQ(connection->Get("/x", response), -3);
    }
    EXPECT_EQ(response, "kept");
    EXPECT_EQ(server.count, 0);
    EXPECT_EQ(CRestConnectInfo::m_CGICount, counted);
    EXPECT_TRUE(log.NewLines().empty());

    aborted.rest->AbortConnection(false);
    EXPECT_EQ(aborted.Post("/x", response), 0);
    EXPECT_EQ(CRestConnectInfo::m_CGICount, counted + 1);

    CRestConnectInfo unset;  // a null address: no handle, nothing to send with
    EXPECT_EQ(unset.SetConnectionParam("", "", "127.0.0.1", false, 1, 90, 120, nullptr), -1);
    EXPECT_EQ(unset.DoRequestPostText("/x", "", "", "", "", response), -6);
}

TEST(RestConnectRequest, AbortFromAnotherThreadEndsAStalledRequestPromptly) {
    BarePort stalled(true);
    for (const bool get : {false, true}) {
        Connection connection(stalled.port);
        int result = 0;
        std::string response;
        std::thread request(
            [&] { result = get ? connection.Get("/", response) : connection.Post("/", response); });
        EXPECT_TRUE(stalled.AcceptOne());  // the request is on its way
        const auto aborted = std::chrono::steady_clock::now();
        connection.rest->AbortConnection(true);
        request.join();
        // Promptly: long before the transfer's time-out would have ended it.
        EXPECT_WAIT_AT_MOST(std::chrono::steady_clock::now() - aborted, std::chrono::seconds(10));
        // Ended by the shut-down socket (a failed exchange) or by the abort check (a time-out).
        EXPECT_TRUE(result == -6 || result == -15) << result;
    }
}

using fdr::rest::ConnectMode;
using fdrtest::ScopedConnectMode;

TEST(RestConnectSocket, SaysWhetherItConnected) {
    for (const ConnectMode mode : {ConnectMode::kObjectConnects, ConnectMode::kLibcurlConnects}) {
        SCOPED_TRACE(static_cast<int>(mode));
        const ScopedConnectMode pinned(mode);
        BarePort refusing(false);
        BarePort listening(true);
        Connection refused(refusing.port);
        EXPECT_FALSE(refused.rest->ConnectSocket());
        Connection reached(listening.port);
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
TEST(RestConnectSocket, AbortEndsAHangingConnectWithNothingSent) {
    fdrtest::FullListener full;
    ASSERT_TRUE(full.full());
    struct Case {
        const char* name;
        ConnectMode mode;
        std::function<int(Connection&)> run;
        int result;
    };
    std::string response = "kept";
    const Case kCases[] = {
        {"ConnectSocket", ConnectMode::kObjectConnects,
         [](Connection& c) { return c.rest->ConnectSocket() ? 1 : 0; }, 0},
        {"POST, object connects", ConnectMode::kObjectConnects,
         [&](Connection& c) { return c.Post("/", response); }, -3},
        {"GET, object connects", ConnectMode::kObjectConnects,
         [&](Connection& c) { return c.Get("/", response); }, -3},
        {"POST, libcurl connects", ConnectMode::kLibcurlConnects,
         [&](Connection& c) { return c.Post("/", response); }, -3},
        {"GET, libcurl connects", ConnectMode::kLibcurlConnects,
         [&](Connection& c) { return c.Get("/", response); }, -3},
    };
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        const ScopedConnectMode pinned(c.mode);
        Connection connection(full.port());
        const unsigned counted = CRestConnectInfo::m_CGICount;
        auto log = fdrtest::WatchCenterLog();
        int result = 99;
        std::chrono::steady_clock::time_point ended;
        std::thread request([&] {
            const ScopedConnectMode pinned_here(c.mode);
            result = c.run(connection);
            ended = std::chrono::steady_clock::now();
        });
        // Normally the connect is hanging by then; an abort that comes first gives the same.
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        const auto aborted = std::chrono::steady_clock::now();
        connection.rest->AbortConnection(true);
        request.join();
        EXPECT_EQ(result, c.result);
        // Far below the 30 seconds it would otherwise wait.
        EXPECT_WAIT_AT_MOST(ended - aborted, std::chrono::seconds(10));
        EXPECT_EQ(CRestConnectInfo::m_CGICount, counted);
        EXPECT_TRUE(log.NewLines().empty());
    }
    EXPECT_EQ(response, "kept");
}

TEST(RestConnectRequest, CopiesHaveTheSettingsAndTheirOwnSocketAndLeakNothing) {
    StatusServer server;
    std::string response;
    Connection(server.port).Post("/warm-up", response);
    const size_t before = OpenDescriptors();
    {
        Connection original(server.port, "operator");
        original.rest->AbortConnection(true);
        std::shared_ptr<CRestConnectInfo> copy;
        for (int i = 0; i < 1000; ++i) {
            ASSERT_EQ(original.rest->DupConnectInfo(copy), 0);
        }
        EXPECT_EQ(copy->GetUserNameInfo(), "operator");
        EXPECT_EQ(copy->DoRequestPostText("/x", "", "", "", "", response), -3);  // abort copied
        copy->AbortConnection(false);
        EXPECT_EQ(copy->DoRequestPostText("/copy", "", "", "", "", response), 0);
        EXPECT_EQ(server.Last().target, "/copy");
    }
    // The server closes its side of each exchange in its own time.
    const auto limit = std::chrono::steady_clock::now() + fdrtest::kEventuallyLimit;
    while (OpenDescriptors() > before && std::chrono::steady_clock::now() < limit) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_LE(OpenDescriptors(), before);  // the warm-up's server side may close late
}

}  // namespace
