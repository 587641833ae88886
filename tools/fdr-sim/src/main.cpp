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
#include <map>

#include "AdminServer.h"
#include "JsonText.h"
#include "Transcript.h"
#include "WholeNumber.h"

namespace fdrsim {

// usage.txt, compiled in (Texts.cpp.in); "{services}" stands for the list of services.
const std::string& UsageTemplate();

namespace {

// The control API and console: outside the eight service ports, on 127.0.0.1 only.
constexpr int kDefaultAdminPort = 10299;

struct CommandLine {
    SimulatorOptions simulator;   // the ports, faults and token lifetimes given
    std::string seed_path;        // empty: the built-in sample federation
    std::string transcript_path;  // empty: no transcript file
    std::string ready_file;       // empty: none
    // The control API's port; 0 picks a free one. Defaults to kDefaultAdminPort, or to a free
    // port with --any-ports, so that simulators on free ports never contend for it.
    int admin_port = kDefaultAdminPort;
    bool quiet = false;
    bool help = false;
    bool version = false;
    bool print_sample_seed = false;
};

// "Services: <port> <key>, ...", wrapped under its own start.
std::string ServiceList() {
    std::string out = "Services:";
    size_t line_start = 0;
    for (const ServiceInfo& info : AllServices()) {
        const std::string entry = " " + std::to_string(info.port) + " " + info.key + ",";
        if (out.size() - line_start + entry.size() > 96) {
            out += "\n";
            line_start = out.size();
            out += std::string(9, ' ');
        }
        out += entry;
    }
    out.pop_back();  // the last entry's comma
    return out;
}

// Reads the arguments after the program name. On a usage error returns false and sets `error`.
bool ParseCommandLine(int argc, const char* const* argv, CommandLine& out, std::string* error) {
    const std::map<std::string, bool*> switches = {{"--help", &out.help},
                                                   {"-h", &out.help},
                                                   {"--version", &out.version},
                                                   {"--quiet", &out.quiet},
                                                   {"-q", &out.quiet},
                                                   {"--any-ports", &out.simulator.any_ports},
                                                   {"--print-sample-seed", &out.print_sample_seed}};
    const std::map<std::string, std::string*> files = {{"--seed", &out.seed_path},
                                                       {"--transcript", &out.transcript_path},
                                                       {"--ready-file", &out.ready_file}};
    auto fail = [&](const std::string& reason) {
        if (error != nullptr) {
            *error = reason;
        }
        return false;
    };
    bool admin_port_given = false;
    for (int i = 0; i < argc; ++i) {
        const std::string arg = argv[i];
        // Options with a value take it after "=" or from the next argument.
        const size_t eq = arg.rfind("--", 0) == 0 ? arg.find('=') : std::string::npos;
        const std::string name = arg.substr(0, eq);
        std::string value = eq == std::string::npos ? "" : arg.substr(eq + 1);
        const auto take = [&]() {
            if (eq == std::string::npos && i + 1 < argc) {
                value = argv[++i];
                return true;
            }
            return eq != std::string::npos;
        };
        uint64_t number = 0;
        if (switches.count(name) != 0) {
            *switches.at(name) = true;
        } else if (files.count(name) != 0) {
            if (!take() || value.empty()) {
                return fail(name + " needs a file name");
            }
            *files.at(name) = value;
        } else if (name == "--fault") {
            if (!take()) {
                return fail("--fault needs PORT:MODE");
            }
            const auto fault = ParseFault(value, error);
            if (!fault) {
                return false;
            }
            out.simulator.faults[fault->service] = fault->mode;
        } else if (name == "--port") {
            // SERVICE=PORT, the service by its key or its fixed port.
            const size_t at = take() ? value.find('=') : std::string::npos;
            const ServiceInfo* service =
                at == std::string::npos ? nullptr : FindService(value.substr(0, at));
            if (service == nullptr || !ReadWholeNumber(value.substr(at + 1), 5, 0, 65535, number)) {
                return fail("--port needs SERVICE=PORT, e.g. token=18229 (0: any free port)");
            }
            out.simulator.ports[service->id] = static_cast<int>(number);
        } else if (name == "--admin-port") {
            if (!take() || !ReadWholeNumber(value, 5, 0, 65535, number)) {
                return fail("--admin-port needs a port number (0: any free port)");
            }
            out.admin_port = static_cast<int>(number);
            admin_port_given = true;
        } else if (name == "--token-ttl" || name == "--refresh-ttl") {
            if (!take() || !ReadWholeNumber(value, value.size(), 1, INT64_MAX, number)) {
                return fail(name + " needs a whole number of seconds above 0");
            }
            auto& ttl = name == "--token-ttl" ? out.simulator.token_ttl : out.simulator.refresh_ttl;
            ttl = std::chrono::seconds(number);
        } else {
            return fail("unknown option " + arg);
        }
    }
    if (out.simulator.any_ports && !admin_port_given) {
        out.admin_port = 0;
    }
    return true;
}

std::string UsageText() {
    std::string text = UsageTemplate();
    return text.replace(text.find("{services}"), 10, ServiceList());
}

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
}  // namespace fdrsim

using namespace fdrsim;

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
