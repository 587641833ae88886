// fdr-sim: the local services of a recording server in one process, for demos, integration
// work and tests. Runs until SIGINT or SIGTERM.
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iomanip>
#include <iostream>

#include "CommandLine.h"
#include "JsonText.h"
#include "Simulator.h"
#include "Transcript.h"
#include "AdminServer.h"

using namespace fdrsim;

namespace {

int Fail(const std::string& message, int status) {
    std::cerr << "fdr-sim: " << message << std::endl;
    return status;
}

void PrintBanner(Simulator& simulator, int admin_port) {
    size_t channels = 0;
    const auto members = simulator.Federation().Members();
    for (const auto& member : members) {
        channels += simulator.Federation()
                        .Channels(member.autonomy_lid)
                        .value_or(std::vector<StoredChannel>{})
                        .size();
    }
    std::cout << "fdr-sim: federation " << simulator.Federation().Guid() << ", " << members.size()
              << " members, " << channels << " channels\n";
    for (const auto& info : AllServices()) {
        std::cout << "  " << std::setw(5) << simulator.PortOf(info.id) << "  " << std::left
                  << std::setw(18) << info.key;
        const FaultMode fault = simulator.FaultOf(info.id).mode;
        if (fault != FaultMode::None) {
            std::cout << std::setw(34) << info.name << "fault: " << FaultName(fault);
        } else {
            std::cout << info.name;
        }
        std::cout << std::right;
        std::cout << '\n';
    }
    std::cout << "fdr-sim: console and control API on http://127.0.0.1:" << admin_port << "/\n";
    std::cout << "fdr-sim: ready; Ctrl-C stops" << std::endl;
}

// Written to a temporary name and renamed, so that a waiting parent never reads half a file.
bool WriteReadyFile(const std::string& path, Simulator& simulator, int admin_port,
                    std::string* error) {
    Json::Value ready(Json::objectValue);
    ready["pid"] = static_cast<Json::Int64>(getpid());
    for (const auto& info : AllServices()) {
        Json::Value service(Json::objectValue);
        service["port"] = simulator.PortOf(info.id);
        service["fault"] = FaultName(simulator.FaultOf(info.id).mode);
        ready["services"][info.key] = service;
    }
    ready["admin"]["port"] = admin_port;
    const std::string temporary = path + ".tmp";
    {
        std::ofstream out(temporary, std::ios::trunc);
        out << CompactJson(ready) << '\n';
        if (!out.flush()) {
            *error = "cannot write the ready file " + temporary;
            return false;
        }
    }
    if (std::rename(temporary.c_str(), path.c_str()) != 0) {
        *error = "cannot create the ready file " + path;
        return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    CommandLine command;
    std::string error;
    if (!ParseCommandLine(argc - 1, argv + 1, command, &error)) {
        return Fail(error + "\nTry 'fdr-sim --help'.", 2);
    }
    if (command.help) {
        std::cout << UsageText();
        return 0;
    }
    if (command.version) {
        std::cout << "fdr-sim " << FDR_SIM_VERSION << '\n';
        return 0;
    }
    if (command.print_sample_seed) {
        std::cout << SampleSeedText();
        return 0;
    }

    SimulatorOptions options;
    if (!command.seed_path.empty() &&
        !LoadSeedFile(command.seed_path, options.federation, &error)) {
        return Fail(error, 1);
    }
    options.ports = command.ports;
    options.any_ports = command.any_ports;
    options.faults = command.faults;
    options.token_ttl = command.token_ttl;
    options.refresh_ttl = command.refresh_ttl;

    // Blocked before any thread starts, so that every thread inherits the mask and the
    // signals reach only the sigwait below.
    sigset_t stop_signals;
    sigemptyset(&stop_signals);
    sigaddset(&stop_signals, SIGINT);
    sigaddset(&stop_signals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    TranscriptFile transcript;  // outlives the simulator, whose services write to it
    Simulator simulator(std::move(options));
    if (!command.transcript_path.empty()) {
        if (!transcript.Open(command.transcript_path, &error)) {
            return Fail(error, 1);
        }
        simulator.Exchanges().AddSink([&transcript](const Exchange& e) { transcript.Write(e); });
    }
    if (!command.quiet) {
        simulator.Exchanges().AddSink(
            [](const Exchange& e) { std::cout << ReadableLine(e) << std::endl; });
    }
    if (!simulator.Start(&error)) {
        return Fail(error, 1);
    }
    admin::AdminServer admin(simulator);
    if (!admin.Start(command.admin_port, &error)) {
        simulator.Stop();
        return Fail(error, 1);
    }
    if (!command.quiet) {
        PrintBanner(simulator, admin.port());
    }
    if (!command.ready_file.empty() &&
        !WriteReadyFile(command.ready_file, simulator, admin.port(), &error)) {
        admin.Stop();
        simulator.Stop();
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
