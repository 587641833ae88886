// The local-services simulator as the demo runs it.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

namespace fedutil {

// True when something accepts connections on the federation service's main port on 127.0.0.1.
bool FederationServiceAnswers();

// `explicit_path` when given (it must exist), else "<exe dir>/../fdr-sim/fdr-sim" of the build
// tree, "<exe dir>/fdr-sim", then the first fdr-sim on PATH. Throws UnavailableError.
std::string FindSimulator(const std::string& explicit_path);

class SimulatorProcess {
  public:
    // Starts `program --quiet --transcript <folder>/transcript.jsonl --ready-file ...` and waits
    // at most `timeout` for the ready file. Throws UnavailableError with the simulator's own
    // message when it exits first, or when it does not get ready in time. Unless `may_outlive`,
    // the simulator ends with fedutil however fedutil ends.
    static std::unique_ptr<SimulatorProcess> Start(const std::string& program,
                                                   const std::string& folder,
                                                   std::chrono::milliseconds timeout,
                                                   bool may_outlive);
    ~SimulatorProcess() { Stop(); }
    SimulatorProcess(const SimulatorProcess&) = delete;
    SimulatorProcess& operator=(const SimulatorProcess&) = delete;

    // SIGTERM, then SIGKILL if it has not ended within five seconds. Idempotent.
    void Stop();
    // Leaves the simulator running after fedutil ends (started with `may_outlive`).
    void Leave() { pid_ = -1; }

    pid_t Pid() const { return pid_; }
    const std::string& TranscriptPath() const { return transcript_; }
    // The port of its control API and console, from the ready file; 0 when it names none.
    int AdminPort() const { return admin_port_; }

  private:
    SimulatorProcess(pid_t pid, std::string transcript)
        : pid_(pid), transcript_(std::move(transcript)) {}

    pid_t pid_;
    std::string transcript_;
    int admin_port_ = 0;
};

}  // namespace fedutil
