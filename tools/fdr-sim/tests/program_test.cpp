// The fdr-sim program as a parent process sees it: the ready file, the transcript, a clean stop
// on SIGTERM, and the exit status and message of each failure.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "JsonText.h"
#include "SimulatorClient.h"
#include "support/Timing.h"

namespace fdrsim::test {
namespace {

using Clock = std::chrono::steady_clock;

std::string ReadFile(const std::string& path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

bool Exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

// A fresh folder for one run's files, removed with everything in it.
class TempFolder {
  public:
    TempFolder() {
        static int count = 0;
        path_ = testing::TempDir() + "fdr-sim-test-" + std::to_string(getpid()) + "-" +
                std::to_string(++count);
        std::filesystem::create_directories(path_);
    }
    ~TempFolder() { std::filesystem::remove_all(path_); }
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

// One run of the program, its standard output and error in files of `folder`.
class Program {
  public:
    explicit Program(std::vector<std::string> args, std::string folder = "")
        : folder_(folder.empty() ? own_folder_.path() : std::move(folder)) {
        args.insert(args.begin(), FDR_SIM_PROGRAM);
        std::vector<char*> argv;
        for (auto& arg : args) {
            argv.push_back(arg.data());
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, Path("stdout").c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
        posix_spawn_file_actions_addopen(&actions, 2, Path("stderr").c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (posix_spawn(&pid_, FDR_SIM_PROGRAM, &actions, nullptr, argv.data(), environ) != 0) {
            pid_ = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
    }
    ~Program() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
    }

    std::string Path(const std::string& name) const { return folder_ + "/" + name; }
    void Signal(int signal) { kill(pid_, signal); }

    // The exit status, or -1 when the program is still running after `limit`.
    int Wait(std::chrono::seconds limit) {
        const auto deadline = Clock::now() + limit;
        while (Clock::now() < deadline) {
            int status = 0;
            if (waitpid(pid_, &status, WNOHANG) == pid_) {
                pid_ = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return -1;
    }

    bool WaitForFile(const std::string& path, std::chrono::seconds limit) const {
        const auto deadline = Clock::now() + limit;
        while (!Exists(path) && Clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return Exists(path);
    }

  private:
    TempFolder own_folder_;
    std::string folder_;
    pid_t pid_ = -1;
};

TEST(Program, WritesTheReadyFileRecordsExchangesAndStopsOnSigterm) {
    TempFolder folder;
    const std::string ready = folder.path() + "/ready.json";
    const std::string transcript = folder.path() + "/t.jsonl";
    Program run({"--any-ports", "--ready-file", ready, "--transcript", transcript}, folder.path());
    ASSERT_TRUE(run.WaitForFile(ready, fdrtest::kEventuallyLimit)) << ReadFile(run.Path("stderr"));

    auto services = ParseJson(ReadFile(ready)).value_or(Json::Value())["services"];
    const int port = services["federation"]["port"].asInt();
    ASSERT_GT(port, 0) << ReadFile(ready);
    EXPECT_EQ(services["token"]["fault"].asString(), "none");
    EXPECT_EQ(Get(port, "/fdr/Service", {{"type", "1"}}).code, 0);

    run.Signal(SIGTERM);
    EXPECT_EQ(run.Wait(fdrtest::kEventuallyLimit), 0);
    EXPECT_FALSE(Exists(ready)) << "the ready file outlived the program";
    auto line = ParseJson(ReadFile(transcript));
    ASSERT_TRUE(line.has_value());
    EXPECT_EQ((*line)["target"].asString(), "/fdr/Service?type=1");
    const std::string console = ReadFile(run.Path("stdout"));
    EXPECT_NE(console.find("federation        GET  /fdr/Service?type=1  200"), std::string::npos)
        << console;
}

TEST(Program, ExitStatusTellsUsageErrorsFromStartFailures) {
    TakenPort taken;
    const std::string port = std::to_string(taken.port());
    const struct {
        std::vector<std::string> args;
        int status;
        std::vector<std::string> message;
    } cases[] = {
        {{"--fault", "10240:explode"}, 2, {"unknown mode"}},
        {{"--bogus"}, 2, {"Try 'fdr-sim --help'"}},
        {{"--any-ports", "--seed", "/nonexistent/seed.json"}, 1, {"/nonexistent/seed.json"}},
        {{"--any-ports", "--port", "arbitrator=" + port}, 1, {"127.0.0.1:" + port, "arbitrator"}},
    };
    for (const auto& c : cases) {
        Program run(c.args);
        EXPECT_EQ(run.Wait(fdrtest::kEventuallyLimit), c.status) << c.message[0];
        for (const std::string& part : c.message) {
            EXPECT_NE(ReadFile(run.Path("stderr")).find(part), std::string::npos)
                << ReadFile(run.Path("stderr"));
        }
    }
}

}  // namespace
}  // namespace fdrsim::test
