#include "SimulatorProcess.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <json/json.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include "Failures.h"
#include "FederationLibrary.h"
#include "catalogue/ServiceCatalogue.h"

namespace fedutil {

namespace {

using Clock = std::chrono::steady_clock;

bool IsExecutable(const std::string& path) {
    return access(path.c_str(), X_OK) == 0;
}

std::string ReadSmallFile(const std::string& path) {
    std::ifstream in(path);
    std::ostringstream text;
    text << in.rdbuf();
    std::string content = text.str();
    while (!content.empty() && (content.back() == '\n' || content.back() == ' ')) {
        content.pop_back();
    }
    return content;
}

std::string ExitDescription(int status) {
    return WIFEXITED(status)     ? "exited with status " + std::to_string(WEXITSTATUS(status))
           : WIFSIGNALED(status) ? "was ended by signal " + std::to_string(WTERMSIG(status))
                                 : "ended";
}

}  // namespace

bool FederationServiceAnswers() {
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        return false;
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(fdr::kFederationWritePort);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const bool answers =
        connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    close(fd);
    return answers;
}

std::string FindSimulator(const std::string& explicit_path) {
    if (!explicit_path.empty()) {
        if (!IsExecutable(explicit_path)) {
            throw UnavailableError("cannot run the simulator " + explicit_path +
                                   ": not an executable file");
        }
        return explicit_path;
    }
    std::vector<std::string> tried;
    const std::string folder = ExecutableDirectory();
    if (!folder.empty()) {
        tried.push_back(folder + "/" FEDUTIL_BUILD_SIMULATOR_DIR "/fdr-sim");
        tried.push_back(folder + "/fdr-sim");
    }
    for (const auto& candidate : tried) {
        if (IsExecutable(candidate)) {
            return std::filesystem::path(candidate).lexically_normal().string();
        }
    }
    const char* path = std::getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "");
    for (std::string entry; std::getline(folders, entry, ':');) {
        const std::string candidate = (entry.empty() ? "." : entry) + "/fdr-sim";
        if (IsExecutable(candidate)) {
            return candidate;
        }
    }
    std::string message = "cannot find the simulator fdr-sim; looked at";
    for (const auto& candidate : tried) {
        message += "\n  " + candidate;
    }
    message += "\n  every folder of PATH\nUse --sim PATH to name it.";
    throw UnavailableError(message);
}

std::unique_ptr<SimulatorProcess> SimulatorProcess::Start(const std::string& program,
                                                          const std::string& folder,
                                                          std::chrono::milliseconds timeout,
                                                          bool may_outlive) {
    const std::string transcript = folder + "/transcript.jsonl";
    const std::string ready = folder + "/ready.json";
    const std::string output = folder + "/fdr-sim.out";
    const std::string errors = folder + "/fdr-sim.err";
    std::vector<std::string> args = {program,    "--quiet",      "--transcript",
                                     transcript, "--ready-file", ready};
    std::vector<char*> argv;
    for (auto& arg : args) {
        argv.push_back(arg.data());
    }
    argv.push_back(nullptr);

    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid < 0) {
        throw UnavailableError("cannot start the simulator: fork failed");
    }
    if (pid == 0) {
        // Only async-signal-safe calls until exec. The simulator ends with fedutil, however
        // fedutil ends, unless it may outlive it: then it leaves fedutil's session.
        if (may_outlive) {
            setsid();
        } else {
            prctl(PR_SET_PDEATHSIG, SIGTERM);
            if (getppid() != parent) {
                _exit(127);
            }
        }
        const int in = open("/dev/null", O_RDONLY);
        const int out = open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        const int err = open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (in < 0 || out < 0 || err < 0 || dup2(in, 0) < 0 || dup2(out, 1) < 0 ||
            dup2(err, 2) < 0) {
            _exit(127);
        }
        execv(program.c_str(), argv.data());
        static const char failed[] = "cannot execute the simulator\n";
        ssize_t ignored = write(2, failed, sizeof(failed) - 1);
        (void)ignored;
        _exit(127);
    }

    std::unique_ptr<SimulatorProcess> simulator(new SimulatorProcess(pid, transcript));
    const auto deadline = Clock::now() + timeout;
    while (access(ready.c_str(), F_OK) != 0) {
        int status = 0;
        if (waitpid(pid, &status, WNOHANG) == pid) {
            simulator->pid_ = -1;
            const std::string said = ReadSmallFile(errors);
            throw UnavailableError("the simulator " + program + " " + ExitDescription(status) +
                                   " before it was ready" + (said.empty() ? "" : ":\n  " + said));
        }
        if (Clock::now() >= deadline) {
            simulator->Stop();
            throw UnavailableError(
                "the simulator " + program + " did not get ready within " +
                std::to_string(std::chrono::duration_cast<std::chrono::seconds>(timeout).count()) +
                " s");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    // {"pid":..,"services":{..},"admin":{"port":N}}; an older simulator names no admin port.
    Json::CharReaderBuilder builder;
    Json::Value described;
    std::ifstream text(ready);
    if (Json::parseFromStream(builder, text, &described, nullptr) && described.isObject() &&
        described["admin"].isObject() && described["admin"]["port"].isInt()) {
        simulator->admin_port_ = described["admin"]["port"].asInt();
    }
    return simulator;
}

void SimulatorProcess::Stop() {
    if (pid_ <= 0) {
        return;
    }
    kill(pid_, SIGTERM);
    const auto deadline = Clock::now() + std::chrono::seconds(5);
    while (waitpid(pid_, nullptr, WNOHANG) != pid_) {
        if (Clock::now() >= deadline) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    pid_ = -1;
}

}  // namespace fedutil
