// fedutil against the local services on their fixed ports: operations through the library
// against the simulator, failures as a host sees them, and the demo from start to end.
#include <arpa/inet.h>
#include <dirent.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <json/json.h>

#include <chrono>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include "ProgramRun.h"
#include "support/Timing.h"

namespace fedutil::test {
namespace {

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

Json::Value ParseJson(const std::string& text) {
    Json::Value root;
    std::istringstream(text) >> root;
    return root;
}

// The simulator on the fixed ports for the life of the object.
class Simulator {
  public:
    explicit Simulator(std::vector<std::string> extra = {}) {
        const std::string ready = NewFolder() + "/ready.json";
        std::vector<std::string> words = {FDR_SIM_PROGRAM, "--quiet", "--ready-file", ready};
        words.insert(words.end(), extra.begin(), extra.end());
        std::vector<char*> argv;
        for (auto& word : words) {
            argv.push_back(word.data());
        }
        argv.push_back(nullptr);
        if (posix_spawn(&pid_, FDR_SIM_PROGRAM, nullptr, nullptr, argv.data(), environ) != 0) {
            pid_ = -1;
            return;
        }
        const auto limit = std::chrono::steady_clock::now() + fdrtest::kEventuallyLimit;
        while (access(ready.c_str(), F_OK) != 0 && std::chrono::steady_clock::now() < limit) {
            if (waitpid(pid_, nullptr, WNOHANG) == pid_) {  // ended without getting ready
                pid_ = -1;
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ready_ = access(ready.c_str(), F_OK) == 0;
    }
    ~Simulator() {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            waitpid(pid_, nullptr, 0);
        }
    }
    bool Ready() const { return ready_; }

  private:
    pid_t pid_ = -1;
    bool ready_ = false;
};

TEST(AgainstTheSimulator, LoadsMembersRoundTripsChannelsAndExplainsTheServicesError) {
    Simulator simulator;
    ASSERT_TRUE(simulator.Ready());
    const ProgramResult members = RunFedutil({"--json", "LoadFdrAutonomyListSetting"});
    ASSERT_EQ(members.status, 0) << members.err;
    const Json::Value listed = ParseJson(members.out)["outputs"]["members"]["autonomy_list"];
    ASSERT_EQ(listed.size(), 3u) << members.out;
    EXPECT_EQ(listed[0]["autonomy_lname"].asString(), "Warehouse North");

    // What a load prints is a channel file: store it back as member 2's channels.
    const ProgramResult loaded = RunFedutil({"--json", "LoadFdrChannelSetting", "--lid", "1"});
    ASSERT_EQ(loaded.status, 0) << loaded.err;
    const std::string file = NewFolder() + "/channels.json";
    Json::StreamWriterBuilder writer;
    WriteFile(file, Json::writeString(writer, ParseJson(loaded.out)["outputs"]["channels"]));
    const ProgramResult stored =
        RunFedutil({"RefreshFdrChannelSetting", "--lid", "2", "--channels", file});
    ASSERT_EQ(stored.status, 0) << stored.err << stored.out;

    const ProgramResult reloaded = RunFedutil({"--json", "LoadFdrChannelSetting", "--lid", "2"});
    ASSERT_EQ(reloaded.status, 0) << reloaded.err;
    const Json::Value before = ParseJson(loaded.out)["outputs"]["channels"]["channel_list"];
    const Json::Value after = ParseJson(reloaded.out)["outputs"]["channels"]["channel_list"];
    ASSERT_EQ(after.size(), before.size());
    for (Json::ArrayIndex i = 0; i < before.size(); ++i) {
        EXPECT_EQ(after[i]["guid"], before[i]["guid"]);
        EXPECT_EQ(after[i]["name"], before[i]["name"]);
    }
    // The service's own error is the exit status, and is explained.
    const ProgramResult unknown = RunFedutil({"LoadFdrChannelSetting", "--lid", "9"});
    EXPECT_EQ(unknown.status, 3);
    EXPECT_TRUE(
        Contains(unknown.out, "the federation service's err_code 3: unknown autonomy_lid 9"))
        << unknown.out;
}

TEST(WithoutServices, FailedRequestsShowAsTheHostWouldSeeThem) {
    // The request code is the exit status...
    const ProgramResult load = RunFedutil({"LoadFdrChannelSetting", "--lid", "1"});
    EXPECT_EQ(load.status, 3);
    EXPECT_TRUE(Contains(load.out, "result 3 (0x00000003)  local client: transport failure"))
        << load.out;
    // ...while an operation that always returns 0 shows the failure only on its console.
    const ProgramResult notice =
        RunFedutil({"--json", "NotifyArbitratorCameraListRefresh", "--lid", "1"});
    EXPECT_EQ(notice.status, 0) << notice.err;
    const Json::Value console = ParseJson(notice.out)["library_console"];
    ASSERT_EQ(console.size(), 1u) << notice.out;
    EXPECT_EQ(console[0].asString(), "[error]n_ret=3");
}

std::vector<std::string> WorkFolders(const std::string& folder) {
    std::vector<std::string> found;
    if (DIR* dir = opendir(folder.c_str())) {
        while (dirent* entry = readdir(dir)) {
            if (std::string(entry->d_name).rfind("fedutil-demo-", 0) == 0) {
                found.emplace_back(entry->d_name);
            }
        }
        closedir(dir);
    }
    return found;
}

TEST(Demo, PlaysEveryStepAndCleansUp) {
    const std::string temporary = NewFolder();
    const ProgramResult run = RunFedutil({"demo"}, {"TMPDIR=" + temporary});
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_TRUE(Contains(run.out, "demo: 23 steps, 23 ok")) << run.out;
    EXPECT_TRUE(Contains(run.out, "What each service received")) << run.out;
    for (const char* service :
         {"token", "federation", "federation-reads", "arbitrator", "member-log", "video-management",
          "mode-arbitration", "aggregator"}) {
        EXPECT_TRUE(Contains(run.out, std::string("\n  ") + service + " ")) << service;
    }
    EXPECT_FALSE(Contains(run.out, "\033[")) << "no colour when the output is not a terminal";
    EXPECT_TRUE(WorkFolders(temporary).empty());
}

TEST(Demo, JudgesStepsByWhatTheServicesDid) {
    // A simulator already running (the demo uses it), with an arbitrator that answers 500: the
    // arbitrator's notifications return 0 by design, and still fail their steps.
    Simulator simulator({"--fault", "arbitrator:500"});
    ASSERT_TRUE(simulator.Ready());
    // A failed demo keeps its work folder for a look: keep it out of the shared temp folder.
    const std::string temporary = NewFolder();
    const ProgramResult run = RunFedutil({"demo"}, {"TMPDIR=" + temporary});
    EXPECT_EQ(run.status, 1) << run.out;
    EXPECT_TRUE(Contains(run.out, "already running")) << run.out;
    EXPECT_EQ(WorkFolders(temporary).size(), 1u);
    EXPECT_TRUE(Contains(run.out, "demo: 23 steps, 17 ok, 6 failed (7, 8, 9, 10, 12, 15)"))
        << run.out;
}

TEST(Demo, SaysWhichPortIsTakenWhenTheSimulatorCannotStart) {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(fd, 0);
    // Earlier tests leave connections in TIME_WAIT on the port; a listener may bind over them.
    const int yes = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(10250);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_EQ(listen(fd, 1), 0);
    const ProgramResult run = RunFedutil({"demo"});
    close(fd);
    EXPECT_EQ(run.status, 69) << run.out << run.err;
    EXPECT_TRUE(Contains(run.err, "10250")) << run.err;
}

}  // namespace
}  // namespace fedutil::test
