// Starting and stopping the simulator, with stand-in programs: every wait is bounded and every
// failure says what the program said. Nothing here binds a port.
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>

#include "Errors.h"
#include "ProgramRun.h"
#include "SimulatorProcess.h"
#include "support/Timing.h"

namespace fedutil {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// A stand-in simulator: a shell script given as its body; "$5" is the ready file's name.
std::string Script(const std::string& folder, const std::string& body) {
    const std::string path = folder + "/stand-in.sh";
    test::WriteFile(path, "#!/bin/sh\n" + body + "\n");
    chmod(path.c_str(), 0700);
    return path;
}

TEST(SimulatorProcess, ReturnsOnceTheReadyFileExistsAndStopsTheProgram) {
    const std::string folder = test::NewFolder();
    const std::string program =
        Script(folder, "echo '{\"admin\":{\"port\":10299}}' > \"$5\"\nexec sleep 30");
    auto simulator = SimulatorProcess::Start(program, folder, fdrtest::kEventuallyLimit);
    ASSERT_NE(simulator, nullptr);
    EXPECT_EQ(simulator->TranscriptPath(), folder + "/transcript.jsonl");
    EXPECT_EQ(simulator->AdminPort(), 10299);
    const pid_t pid = simulator->Pid();
    const auto started = Clock::now();
    simulator->Stop();
    // Stopped, not waited for: the script would sleep for 30 s.
    EXPECT_LT(Clock::now() - started, 15s);
    EXPECT_NE(kill(pid, 0), 0) << "the program still runs";
}

TEST(SimulatorProcess, ReportsWhatTheProgramSaidWhenItEndsFirst) {
    const std::string folder = test::NewFolder();
    const std::string program =
        Script(folder, "echo 'fdr-sim: cannot listen on 127.0.0.1:10228' >&2\nexit 1");
    try {
        SimulatorProcess::Start(program, folder, fdrtest::kEventuallyLimit);
        ADD_FAILURE() << "started";
    } catch (const UnavailableError& error) {
        const std::string message = error.what();
        EXPECT_NE(message.find("exited with status 1 before it was ready"), std::string::npos);
        EXPECT_NE(message.find("cannot listen on 127.0.0.1:10228"), std::string::npos) << message;
    }
}

TEST(SimulatorProcess, GivesUpOnAProgramThatNeverGetsReady) {
    const std::string folder = test::NewFolder();
    const std::string program = Script(folder, "exec sleep 30");
    const auto started = Clock::now();
    try {
        SimulatorProcess::Start(program, folder, 300ms);
        ADD_FAILURE() << "started";
    } catch (const UnavailableError& error) {
        EXPECT_NE(std::string(error.what()).find("did not get ready"), std::string::npos);
    }
    EXPECT_LT(Clock::now() - started, 15s);  // given up, not waited for the 30 s sleep
}

TEST(SimulatorProcess, AnExplicitProgramMustBeExecutable) {
    EXPECT_THROW(FindSimulator(test::DataFile("members.json")), UnavailableError);
    EXPECT_EQ(FindSimulator("/bin/sh"), "/bin/sh");
}

}  // namespace
}  // namespace fedutil
