// What the program cases cannot hold: the exit status after SIGTERM, the sample seed printed
// whole, and the renderings of an exchange that no plain session makes (a stalled one, with a
// problem among its flags).
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <thread>

#include "Transcript.h"
#include "support/Files.h"
#include "support/Timing.h"

namespace fdrsim {
namespace {

TEST(Program, ExitsWithZeroOnSigterm) {
    const std::string ready = testing::TempDir() + "fdr-sim-" + std::to_string(getpid());
    const pid_t pid = fork();
    if (pid == 0) {
        execl(FDR_SIM_PROGRAM, FDR_SIM_PROGRAM, "--any-ports", "-q", "--ready-file", ready.c_str(),
              nullptr);
        _exit(127);
    }
    const auto limit = std::chrono::steady_clock::now() + fdrtest::kEventuallyLimit;
    while (access(ready.c_str(), F_OK) != 0 && std::chrono::steady_clock::now() < limit) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    kill(pid, SIGTERM);
    int status = -1;
    waitpid(pid, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST(Program, PrintsTheSampleSeedAsItsFile) {
    std::string printed;
    FILE* out = popen(FDR_SIM_PROGRAM " --print-sample-seed", "r");
    ASSERT_NE(out, nullptr);
    for (int c; (c = std::fgetc(out)) != EOF;) {
        printed += static_cast<char>(c);
    }
    EXPECT_EQ(pclose(out), 0);
    EXPECT_EQ(printed, fdrtest::ReadFile(FDR_SIM_SAMPLE_SEED_FILE));
}

TEST(Transcript, AnExchangeNotAnsweredWithAProblemAndANote) {
    Exchange stalled;
    stalled.time = std::chrono::system_clock::time_point(std::chrono::milliseconds(1715679000123));
    stalled.service = Service::Aggregator;
    stalled.port = 10235;
    stalled.method = "PUT";
    stalled.target = "/aggreatorService/system_info";
    stalled.request_body = "mode=\"x\"";
    stalled.flags = {{"not JSON", true}, {"a note", false}};
    EXPECT_EQ(TranscriptLine(stalled),
              R"({"time":"2024-05-14T09:30:00.123Z","service":"aggregator","port":10235,)"
              R"("method":"PUT","target":"/aggreatorService/system_info","request":"mode=\"x\"",)"
              R"("status":null,"answer":"","flags":["not JSON","a note"],"ok":false})");
    EXPECT_EQ(ReadableLine(stalled).substr(12),
              "  aggregator        PUT  /aggreatorService/system_info  ---  in 8 B  out 0 B  "
              "[!not JSON; a note]");
}

}  // namespace
}  // namespace fdrsim
