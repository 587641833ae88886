// fdr-sim: the local services of a recording server in one process, for demos, integration
// work and tests. Runs until SIGINT or SIGTERM.
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iostream>

#include "AdminServer.h"
#include "CommandLine.h"
#include "JsonText.h"
#include "Transcript.h"

using namespace fdrsim;

namespace {

int Fail(const std::string& message, int status) {
    std::cerr << "fdr-sim: " << message << std::endl;
    return status;
}

void PrintBanner(Simulator& simulator, int admin_port) {
    const FederationSeed federation = simulator.Federation().Snapshot();
    size_t channels = 0;
    for (const auto& member : federation.members) {
        channels += member.channels.size();
    }
    std::cout << "fdr-sim: federation " << federation.guid << ", " << federation.members.size()
              << " members, " << channels << " channels\n";
    for (const auto& info : AllServices()) {
        const FaultMode fault = simulator.FaultOf(info.id).mode;
        std::cout << "  " << std::setw(5) << simulator.PortOf(info.id) << "  " << std::left
                  << std::setw(18) << info.key;
        if (fault != FaultMode::None) {
            std::cout << std::setw(34) << info.name << "fault: " << FaultName(fault);
        } else {
            std::cout << info.name;
        }
        std::cout << std::right << '\n';
    }
    std::cout << "fdr-sim: console and control API on http://127.0.0.1:" << admin_port << "/\n"
              << "fdr-sim: ready; Ctrl-C stops" << std::endl;
}

// Written to a temporary name and renamed, so that a waiting parent never reads half a file.
bool WriteReadyFile(const std::string& path, Simulator& simulator, int admin_port,
                    std::string* error) {
    Json::Value ready(Json::objectValue);
    ready["pid"] = static_cast<Json::Int64>(getpid());
    for (const auto& info : AllServices()) {
        ready["services"][info.key]["port"] = simulator.PortOf(info.id);
        ready["services"][info.key]["fault"] = FaultName(simulator.FaultOf(info.id).mode);
    }
    ready["admin"]["port"] = admin_port;
    const std::string temporary = path + ".tmp";
    if (!(std::ofstream(temporary, std::ios::trunc) << CompactJson(ready) << '\n').flush()) {
        *error = "cannot write the ready file " + temporary;
    } else if (std::rename(temporary.c_str(), path.c_str()) != 0) {
        *error = "cannot create the ready file " + path;
    }
    return error->empty();
}

}  // namespace

int main(int argc, char** argv) {
    CommandLine command;
    std::string error;
    if (!ParseCommandLine(argc - 1, argv + 1, command, &error)) {
        return Fail(error + "\nTry 'fdr-sim --help'.", 2);
    }
    if (command.help || command.version || command.print_sample_seed) {
        std::cout << (command.help      ? UsageText()
                      : command.version ? "fdr-sim " FDR_SIM_VERSION "\n"
                                        : SampleSeedText());
        return 0;
    }
    if (!command.seed_path.empty() &&
        !LoadSeedFile(command.seed_path, command.simulator.federation, &error)) {
        return Fail(error, 1);
    }
    // The transcript outlives the simulator, whose services write to it.
    std::ofstream transcript;
    if (!command.transcript_path.empty()) {
        transcript.open(command.transcript_path, std::ios::out | std::ios::trunc);
        if (!transcript) {
            return Fail("cannot write the transcript " + command.transcript_path + ": " +
                            std::strerror(errno),
                        1);
        }
    }

    // Blocked before any thread starts, so that every thread inherits the mask and the
    // signals reach only the sigwait below.
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGINT);
    sigaddset(&stop_signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    Simulator simulator(std::move(command.simulator));
    if (transcript.is_open()) {
        // Flushed per line, so that a reader of the file sees each exchange as it happens.
        simulator.Exchanges().AddSink(
            [&transcript](const Exchange& e) { transcript << TranscriptLine(e) << std::endl; });
    }
    if (!command.quiet) {
        simulator.Exchanges().AddSink(
            [](const Exchange& e) { std::cout << ReadableLine(e) << std::endl; });
    }
    admin::AdminServer admin(simulator);
    if (!simulator.Start(&error) || !admin.Start(command.admin_port, &error)) {
        return Fail(error, 1);
    }
    if (!command.quiet) {
        PrintBanner(simulator, admin.port());
    }
    if (!command.ready_file.empty() &&
        !WriteReadyFile(command.ready_file, simulator, admin.port(), &error)) {
        return Fail(error, 1);
    }

    int received = 0;
    sigwait(&stop_signals, &received);
    if (!command.quiet) {
        std::cout << "fdr-sim: stopping (" << (received == SIGINT ? "SIGINT" : "SIGTERM") << ")"
                  << std::endl;
    }
    admin.Stop();
    simulator.Stop();
    if (!command.ready_file.empty()) {
        std::remove(command.ready_file.c_str());
    }
    return 0;
}
