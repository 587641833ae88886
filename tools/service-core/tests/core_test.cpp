// The service core on free ports. The exchanges are the case files in cases/: requests sent as
// raw bytes, each answer and the journal's flags of that exchange compared with the file's text.
//   == NAME                  a case; the federation, faults and scripts start afresh
//   seed JSON                the federation; "= ERROR" on the next line: refused with ERROR.
//                            Before the first case: the federation each case starts with.
//   fault SERVICE MODE k=v   status=, body=, sent=, depth=, remaining=, drip= (ms)
//   script SERVICE METHOD PATH STATUS BODY   a scripted answer
//   clock +SECONDS           moves the token service's clock
//   > METHOD SERVICE TARGET  a request; the lines up to "<" are its body, joined by newlines
//   >raw SERVICE BYTES       a request sent as written ("\r", "\n" escaped)
//   < STATUS BODY            the answer ("*" stands for any text; "\r", "\n" escaped)
//   <raw BYTES               the answer's bytes as written; nothing when the port refuses
//   ! TEXT / . TEXT          a problem / a note of that exchange, in order; none when none given
// "$rtN" in a request stands for the Nth refresh token the token service gave in this file.
// The tests below the runner are about time and threads: stalls, the journal, concurrent writes,
// a port taken.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <utility>

#include "JsonText.h"
#include "Simulator.h"
#include "support/Text.h"
#include "support/Threads.h"
#include "support/Timing.h"

namespace fdrsim {
namespace {

std::string Unescaped(const std::string& text) {
    return fdrtest::ReplaceAll(fdrtest::ReplaceAll(text, "\\r", "\r"), "\\n", "\n");
}

// Sends `request` and reads the answer: `want` bytes, or to its Content-Length, or to the end;
// "" when the port refuses.
std::string Exchange(int port, const std::string& request, size_t want = 0) {
    const int sock = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{AF_INET, htons(static_cast<uint16_t>(port)), {htonl(INADDR_LOOPBACK)}, {}};
    std::string answer;
    if (::connect(sock, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::send(sock, request.data(), request.size(), MSG_NOSIGNAL) >= 0) {
        char buffer[65536];
        for (ssize_t n; (want == 0 || answer.size() < want) &&
                        (n = ::recv(sock, buffer, sizeof buffer, 0)) > 0;) {
            answer.append(buffer, static_cast<size_t>(n));
            const size_t head = answer.find("\r\n\r\n");
            const size_t length = answer.find("Content-Length: ");
            if (want == 0 && head != std::string::npos && length < head &&
                answer.size() >= head + 4 + std::stoul(answer.substr(length + 16))) {
                break;
            }
        }
    }
    ::close(sock);
    return answer;
}

// The status line of the answer to a PUT.
std::string Put(int port, const std::string& body, const std::string& path) {
    const std::string answer = Exchange(port, "PUT " + path + " HTTP/1.1\r\nContent-Length: " +
                                                  std::to_string(body.size()) + "\r\n\r\n" + body);
    return answer.substr(0, answer.find("\r\n"));
}

Service ServiceNamed(const std::string& key) {
    const ServiceInfo* info = FindService(key);
    EXPECT_NE(info, nullptr) << key;
    return info == nullptr ? Service::Token : info->id;
}

std::unique_ptr<Simulator> Started(SimulatorOptions options = {}) {
    options.any_ports = true;
    auto core = std::make_unique<Simulator>(std::move(options));
    std::string error;
    EXPECT_TRUE(core->Start(&error)) << error;
    return core;
}

class CaseRun {
  public:
    explicit CaseRun(const std::string& file) : file_(file) {
        SimulatorOptions options;
        options.now = [this] { return now_; };
        core_ = Started(std::move(options));
    }

    void Run() {
        std::ifstream in(file_);
        std::vector<std::string> lines;
        for (std::string line; std::getline(in, line);) {
            lines.push_back(line);
        }
        for (size_t i = 0; i < lines.size(); ++i) {
            const std::string& line = lines[i];
            const std::string word = line.substr(0, line.find(' '));
            const std::string rest = line.size() > word.size() ? line.substr(word.size() + 1) : "";
            std::istringstream parts(rest);
            std::string service, method, target, body, error;
            if (word != "!" && word != ".") {
                CheckFlags();
            }
            if (word == "==") {
                name_ = rest;
                if (base_seed_.empty()) {
                    core_->ResetFederation();
                } else {
                    EXPECT_TRUE(core_->ReplaceFederation(base_seed_, &error)) << error;
                }
                core_->ClearFaults();
                core_->ClearScripts();
            } else if (word == "seed" && name_.empty()) {
                base_seed_ = rest;
            } else if (word == "seed") {
                const bool refused = i + 1 < lines.size() && lines[i + 1].rfind("= ", 0) == 0;
                EXPECT_NE(core_->ReplaceFederation(rest, &error), refused) << Where() << error;
                EXPECT_EQ(error, refused ? lines[++i].substr(2) : "") << Where();
            } else if (word == "fault") {
                SetFault(parts);
            } else if (word == "script") {
                int status = 0;
                parts >> service >> method >> target >> status >> body;
                core_->Script(ServiceNamed(service), method, target, {status, body});
            } else if (word == "clock") {
                now_ += std::chrono::seconds(std::stoi(rest));
            } else if (word == ">") {
                parts >> method >> service >> target;
                for (bool first = true; i + 1 < lines.size() && lines[i + 1].rfind("<", 0) != 0;
                     first = false) {
                    body += (first ? "" : "\n") + lines[++i];
                }
                body = Substituted(body);
                port_ = core_->PortOf(ServiceNamed(service));
                request_ = method + " " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" +
                           "Content-Type: application/json\r\nContent-Length: " +
                           std::to_string(body.size()) + "\r\n\r\n" + body;
            } else if (word == ">raw") {
                port_ = core_->PortOf(ServiceNamed(rest.substr(0, rest.find(' '))));
                request_ = Unescaped(rest.substr(rest.find(' ') + 1));
            } else if (word == "<" || word == "<raw") {
                Answer(word == "<raw", rest);
            } else if (word == "!" || word == ".") {
                expected_flags_ += word + " " + rest + "\n";
            } else if (!line.empty() && line[0] != '#') {
                ADD_FAILURE() << Where() << "unknown line: " << line;
            }
        }
        CheckFlags();
    }

  private:
    std::string Where() const { return file_ + ": " + name_ + ": "; }

    void SetFault(std::istringstream& parts) {
        std::string service, mode, setting;
        parts >> service >> mode;
        Fault fault;
        fault.mode = FaultModeNamed(mode).value_or(FaultMode::None);
        while (parts >> setting) {
            const size_t eq = setting.find('=');
            const std::string key = setting.substr(0, eq), value = setting.substr(eq + 1);
            if (key == "body") {
                fault.body = value;
            } else if (key == "drip") {
                fault.drip_interval = std::chrono::milliseconds(std::stoi(value));
            } else if (key == "sent") {
                fault.sent_bytes = std::stoul(value);
            } else {
                (key == "status"  ? fault.status
                 : key == "depth" ? fault.depth
                                  : fault.remaining) = std::stoi(value);
            }
        }
        core_->SetFault(ServiceNamed(service), fault);
    }

    std::string Substituted(std::string body) const {
        for (size_t n = refresh_tokens_.size(); n > 0; --n) {
            body = fdrtest::ReplaceAll(body, "$rt" + std::to_string(n), refresh_tokens_[n - 1]);
        }
        return body;
    }

    void Answer(bool raw, const std::string& expected) {
        const uint64_t before = core_->Exchanges().LastId();
        const std::string answer = Exchange(port_, request_, raw ? Unescaped(expected).size() : 0);
        if (raw) {
            EXPECT_EQ(answer, Unescaped(expected)) << Where();
        } else {
            const size_t head = std::min(answer.find("\r\n\r\n"), answer.size() - 4);
            const std::string body = answer.substr(head + 4);
            const std::string got = answer.substr(9, 3) + (body.empty() ? "" : " " + body);
            EXPECT_TRUE(fdrtest::GlobMatches(Unescaped(expected), got))
                << Where() << "\n  got: " << got;
            if (auto json = ParseJson(body); json && json->isMember("refresh_token")) {
                refresh_tokens_.push_back((*json)["refresh_token"].asString());
            }
        }
        exchange_ = core_->Exchanges().LastId() > before ? core_->Exchanges().Find(before + 1)
                                                         : std::nullopt;
        checking_ = true;
        expected_flags_.clear();
    }

    // The flags of the last exchange against those the file gave after its answer.
    void CheckFlags() {
        if (!std::exchange(checking_, false)) {
            return;
        }
        std::string flags;
        for (const auto& flag : exchange_ ? exchange_->flags : Flags{}) {
            flags += (flag.problem ? "! " : ". ") + flag.text + "\n";
        }
        EXPECT_TRUE(fdrtest::GlobMatches(expected_flags_, flags)) << Where() << "\n  got:\n"
                                                                  << flags;
    }

    const std::string file_;
    TokenService::Clock::time_point now_{std::chrono::hours(1)};
    std::unique_ptr<Simulator> core_;
    std::string name_, base_seed_, request_, expected_flags_;
    int port_ = 0;
    bool checking_ = false;
    std::optional<fdrsim::Exchange> exchange_;
    std::vector<std::string> refresh_tokens_;
};

TEST(CaseFiles, EachExchangeAnswersAndIsFlaggedAsWritten) {
    for (const auto& entry : std::filesystem::directory_iterator(CORE_CASE_DIR)) {
        SCOPED_TRACE(entry.path().filename().string());
        CaseRun(entry.path().string()).Run();
    }
}

// Released at once by a stop, too: the fault-injection test of a service dying mid-request.
TEST(Control, AStalledRequestIsAnsweredWhenCleared) {
    auto core = Started();
    const int port = core->PortOf(Service::Arbitrator);
    Fault stall;
    stall.mode = FaultMode::Stall;
    core->SetFault(Service::Arbitrator, stall);
    std::string released;
    std::thread waiting(
        [&] { released = Put(port, R"({"autonomy_lid":"1"})", "/channel_info_refresh"); });
    ASSERT_TRUE(core->Exchanges().WaitFor({}, fdrtest::kEventuallyLimit));
    core->ClearFault(Service::Arbitrator);
    waiting.join();
    EXPECT_EQ(released, "HTTP/1.1 200 OK");
    const auto stalled = core->Exchanges().List().back();
    EXPECT_EQ(stalled.fault + " " + std::to_string(stalled.status) + " " + stalled.answer_body,
              "stall 200 {}");
}

// Waits and ids that go on after a clear: the control API's cases.
TEST(Control, TheJournalKeepsTheNewestAndARecorderAnswersEmpty) {
    SimulatorOptions options;
    options.journal_capacity = 3;
    options.recorder_only = true;
    auto core = Started(std::move(options));
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Put(core->PortOf(Service::Arbitrator), "{}", "/any"), "HTTP/1.1 200 OK");
    }
    ExchangeLog& journal = core->Exchanges();
    EXPECT_EQ(journal.Dropped(), 2u);
    ASSERT_EQ(journal.List().size(), 3u);
    EXPECT_EQ(journal.List().front().id, 3u);
    EXPECT_EQ(journal.List().front().answer_body, "");
}

TEST(Federation, ConcurrentWritesAreAllAppliedAndRecorded) {
    auto core = Started();
    const size_t before = core->Federation().Channels("1")->size();
    fdrtest::OnThreads(6, [&core](int w) {
        for (int i = 0; i < 10; ++i) {
            Put(core->PortOf(Service::FederationWrites),
                R"({"autonomy_list":[{"autonomy_lid":"1","mode":"add","channel_list":[)"
                R"({"guid":")" +
                    std::to_string(w * 10 + i) + R"(","name":"n","data":"{}"}]}]})",
                "/fdr/CmsChannel");
        }
    });
    EXPECT_EQ(core->Federation().Channels("1")->size(), before + 60);
    for (const auto& exchange : core->Exchanges().All()) {
        EXPECT_TRUE(exchange.ok()) << exchange.request_body;
    }
}

// A refusing service keeps its port, from the start or from a fault set later: a free port given
// back could be taken by a test beside, and a client meant to be refused would be answered.
TEST(Listener, ARefusingServiceHoldsItsPort) {
    SimulatorOptions options;
    options.faults[Service::Arbitrator] = FaultMode::Refuse;
    auto core = Started(std::move(options));
    Fault refuse;
    refuse.mode = FaultMode::Refuse;
    core->SetFault(Service::FederationWrites, refuse);
    for (const Service service : {Service::Arbitrator, Service::FederationWrites}) {
        const int port = core->PortOf(service);
        EXPECT_EQ(Put(port, "{}", "/any"), "") << port;
        // Not even by a simulator beside, which binds with SO_REUSEADDR.
        const int sock = BoundLoopbackSocket(port);
        EXPECT_LT(sock, 0) << port;
        if (sock >= 0) {
            ::close(sock);
        }
    }
    core->ClearFaults();  // listening again on the port it held
    EXPECT_NE(Put(core->PortOf(Service::Arbitrator), "{}", "/any"), "");
}

TEST(Listener, APortTakenFailsNamingItAndReleasesTheOthers) {
    auto holder = Started();
    const std::string port = std::to_string(holder->PortOf(Service::Token));
    // A port found free can be taken by a test running beside this one before the simulator
    // binds it; such a round says so in its error and is played again with another port.
    for (int round = 0; round < 5; ++round) {
        const int sock = BoundLoopbackSocket(0);
        const int free_port = PortOfSocket(sock);
        ::close(sock);
        SimulatorOptions options;
        options.any_ports = true;
        options.ports[Service::VideoManagement] = free_port;  // started before the token service
        options.ports[Service::Token] = std::stoi(port);
        std::string error;
        EXPECT_FALSE(Simulator(options).Start(&error));
        if (error.find(std::to_string(free_port)) != std::string::npos) {
            continue;
        }
        EXPECT_NE(error.find("127.0.0.1:" + port + " for the token service"), std::string::npos);
        options.ports.erase(Service::Token);
        Simulator again(options);
        if (again.Start(&error)) {
            EXPECT_EQ(again.PortOf(Service::VideoManagement), free_port);
            return;
        }
        EXPECT_NE(error.find(std::to_string(free_port)), std::string::npos) << error;
    }
    ADD_FAILURE() << "every free port was taken from beside the test";
}

}  // namespace
}  // namespace fdrsim
