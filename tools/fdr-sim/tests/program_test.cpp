// The fdr-sim program as a parent process sees it: its output and exit status, the ready file,
// the transcript and a clean stop on SIGTERM (the program cases pin its messages).
#include <fcntl.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <thread>

#include "support/Timing.h"

namespace fdrsim {
namespace {

std::string ReadFile(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

// One run of the program in a new folder, its standard output and error in files there.
struct Launch {
    explicit Launch(std::vector<std::string> args) {
        folder = testing::TempDir() + "fdr-sim-XXXXXX";
        EXPECT_NE(mkdtemp(folder.data()), nullptr);
        args.insert(args.begin(), FDR_SIM_PROGRAM);
        std::vector<char*> argv;
        for (auto& arg : args) {
            arg = arg.rfind("{dir}", 0) == 0 ? folder + arg.substr(5) : arg;
            argv.push_back(arg.data());
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_addopen(&files, 1, (folder + "/out").c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
        posix_spawn_file_actions_addopen(&files, 2, (folder + "/err").c_str(),
                                         O_WRONLY | O_CREAT | O_TRUNC, 0600);
        posix_spawn(&pid, FDR_SIM_PROGRAM, &files, nullptr, argv.data(), environ);
        posix_spawn_file_actions_destroy(&files);
    }
    ~Launch() {
        Finish(std::chrono::seconds(0));
        std::filesystem::remove_all(folder);
    }
    // The exit status; -1 (and the program killed) when it still runs after `limit`.
    int Finish(std::chrono::seconds limit = fdrtest::kEventuallyLimit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        int status = 0;
        while (pid > 0 && waitpid(pid, &status, WNOHANG) == 0) {
            if (std::chrono::steady_clock::now() >= deadline) {
                kill(pid, SIGKILL);
                waitpid(pid, nullptr, 0);
                status = -1;
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        pid = -1;
        return status < 0 ? -1 : WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    std::string folder;
    pid_t pid = -1;
};

TEST(Program, WritesTheReadyFileRecordsExchangesAndStopsOnSigterm) {
    Launch run({"--any-ports", "--ready-file", "{dir}/ready", "--transcript", "{dir}/t.jsonl"});
    const std::string ready = run.folder + "/ready";
    for (auto limit = std::chrono::steady_clock::now() + fdrtest::kEventuallyLimit;
         !std::filesystem::exists(ready) && std::chrono::steady_clock::now() < limit;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    const std::string services = ReadFile(ready);
    std::smatch port;
    ASSERT_TRUE(std::regex_search(services, port,
                                  std::regex(R"("federation":\{"fault":"none","port":(\d+)\})")))
        << services << ReadFile(run.folder + "/err");
    const auto answer = httplib::Client("127.0.0.1", std::stoi(port[1])).Get("/fdr/Service?type=1");
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, 200);

    kill(run.pid, SIGTERM);
    EXPECT_EQ(run.Finish(), 0);
    EXPECT_FALSE(std::filesystem::exists(ready)) << "the ready file outlived the program";
    EXPECT_TRUE(std::regex_match(
        ReadFile(run.folder + "/t.jsonl"),
        std::regex(
            R"(\{"time":"[-\dT:.]+Z","service":"federation","port":)" + port[1].str() +
            R"(,"method":"GET","target":"/fdr/Service\?type=1","request":"","status":200,"answer":"\{.*\}","flags":\[\],"ok":true\}\n)")));
    EXPECT_TRUE(std::regex_search(
        ReadFile(run.folder + "/out"),
        std::regex(
            R"(\n\d\d:\d\d:\d\d\.\d{3}  federation        GET  /fdr/Service\?type=1  200  in 0 B  out 104 B\nfdr-sim: stopping \(SIGTERM\)\n$)")));
}

TEST(Program, PrintsTheSampleSeedAsItsFile) {
    Launch seed({"--print-sample-seed"});
    EXPECT_EQ(seed.Finish(), 0);
    EXPECT_EQ(ReadFile(seed.folder + "/out"), ReadFile(FDR_SIM_SAMPLE_SEED_FILE));
}

}  // namespace
}  // namespace fdrsim
