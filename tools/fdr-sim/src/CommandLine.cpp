#include "CommandLine.h"

#include <cerrno>
#include <cstdlib>

namespace fdrsim {

namespace {

// "Services: <port> <key>, ...", wrapped under its own start.
std::string ServiceList() {
    constexpr size_t kWidth = 96;
    std::string out;
    std::string line = "Services:";
    for (const ServiceInfo& info : AllServices()) {
        const std::string entry = " " + std::to_string(info.port) + " " + info.key + ",";
        if (line.size() + entry.size() > kWidth) {
            out += line + "\n";
            line = std::string(9, ' ');
        }
        line += entry;
    }
    line.pop_back();  // the last entry's comma
    return out + line;
}

bool ParseSeconds(const std::string& text, std::chrono::seconds& out) {
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    errno = 0;
    const long long value = std::strtoll(text.c_str(), nullptr, 10);
    if (errno != 0 || value <= 0) {
        return false;
    }
    out = std::chrono::seconds(value);
    return true;
}

// "SERVICE=PORT" or "FIXEDPORT=PORT".
bool ParsePort(const std::string& text, std::map<Service, int>& ports) {
    const size_t eq = text.find('=');
    if (eq == std::string::npos) {
        return false;
    }
    const ServiceInfo* service = FindService(text.substr(0, eq));
    const std::string number = text.substr(eq + 1);
    if (service == nullptr || number.empty() || number.size() > 5 ||
        number.find_first_not_of("0123456789") != std::string::npos) {
        return false;
    }
    const int port = std::atoi(number.c_str());
    if (port > 65535) {
        return false;
    }
    ports[service->id] = port;
    return true;
}

}  // namespace

bool ParseCommandLine(int argc, const char* const* argv, CommandLine& out, std::string* error) {
    auto fail = [&](const std::string& reason) {
        if (error != nullptr) {
            *error = reason;
        }
        return false;
    };
    for (int i = 0; i < argc; ++i) {
        const std::string arg = argv[i];
        // Options with a value take it from the next argument or after "=".
        std::string name = arg;
        std::string value;
        bool has_value = false;
        if (arg.rfind("--", 0) == 0 && arg.find('=') != std::string::npos) {
            name = arg.substr(0, arg.find('='));
            value = arg.substr(arg.find('=') + 1);
            has_value = true;
        }
        auto take = [&]() -> bool {
            if (has_value) {
                return true;
            }
            if (i + 1 >= argc) {
                return false;
            }
            value = argv[++i];
            return true;
        };
        if (name == "--help" || name == "-h") {
            out.help = true;
        } else if (name == "--version") {
            out.version = true;
        } else if (name == "--quiet" || name == "-q") {
            out.quiet = true;
        } else if (name == "--any-ports") {
            out.any_ports = true;
        } else if (name == "--print-sample-seed") {
            out.print_sample_seed = true;
        } else if (name == "--seed" || name == "--transcript" || name == "--ready-file") {
            if (!take() || value.empty()) {
                return fail(name + " needs a file name");
            }
            std::string* file = name == "--seed"         ? &out.seed_path
                                : name == "--transcript" ? &out.transcript_path
                                                         : &out.ready_file;
            *file = value;
        } else if (name == "--fault") {
            if (!take()) {
                return fail("--fault needs PORT:MODE");
            }
            auto fault = ParseFault(value, error);
            if (!fault) {
                return false;
            }
            out.faults[fault->service] = fault->mode;
        } else if (name == "--port") {
            if (!take() || !ParsePort(value, out.ports)) {
                return fail("--port needs SERVICE=PORT, e.g. token=18229 (0: any free port)");
            }
        } else if (name == "--token-ttl" || name == "--refresh-ttl") {
            if (!take() ||
                !ParseSeconds(value, name == "--token-ttl" ? out.token_ttl : out.refresh_ttl)) {
                return fail(name + " needs a whole number of seconds above 0");
            }
        } else {
            return fail("unknown option " + arg);
        }
    }
    return true;
}

std::string UsageText() {
    return R"(Usage: fdr-sim [options]

Simulates the eight local services of a recording server on 127.0.0.1, backed by an
in-memory federation, and shows every exchange.

Options:
  --seed FILE           load the federation from FILE (JSON) instead of the built-in sample
  --transcript FILE     write every exchange to FILE as one JSON line
  --ready-file FILE     write FILE once every service listens; removed again on exit
  --fault PORT:MODE     make one service misbehave; PORT is its fixed port or its name;
                        MODE is refuse, stall, status, 500, 404, garbage, close-early,
                        reset-early, drip, huge, invalid-http, deep-nesting or none
                        (repeatable)
  --token-ttl SECONDS   lifetime of access tokens (default 3600)
  --refresh-ttl SECONDS lifetime of refresh tokens (default 86400)
  --port SERVICE=PORT   listen on another port (0: any free port) (repeatable)
  --any-ports           every service on a free port (see the ready file for which)
  --quiet               print nothing but errors
  --print-sample-seed   print the built-in federation as a seed file and exit
  --version             print the version and exit
  --help                print this text and exit

)" + ServiceList() +
           R"(
Stops cleanly on SIGINT (Ctrl-C) or SIGTERM.
)";
}

}  // namespace fdrsim
