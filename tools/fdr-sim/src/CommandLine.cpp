#include "CommandLine.h"

#include <map>

#include "WholeNumber.h"

namespace fdrsim {

// usage.txt, compiled in (Texts.cpp.in); "{services}" stands for the list of services.
const std::string& UsageTemplate();

namespace {

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

}  // namespace

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

}  // namespace fdrsim
